// What the page shows of a loaded document, taken from the host right after it loaded (so no
// later render can change it under a reader): comps, layers, effects, each parameter's value in
// user units, its keys and whether the effect hides it. Keyed values are evaluated per request,
// at the page's current time, from the keys kept here.
#pragma once

#include <nlohmann/json.hpp>

#include <vector>

#include "standalone/EmbeddedHost.h"

namespace tv::studio {

using Json = nlohmann::ordered_json;

class SessionModel {
  public:
    // Reads the host's project; the host must outlive the model.
    explicit SessionModel(standalone::EmbeddedHost& host);
    // The model with keyed values at comp time `seconds`.
    Json at(double seconds) const;

  private:
    struct Keyed {
        Json::json_pointer where;  // the "value" member to fill
        PF_ParamType type;
        const ParamSpec* spec;
        const standalone::Comp* comp;
        std::vector<standalone::Key> keys;  // layer time
        double startTime;
    };
    standalone::EmbeddedHost& host_;
    Json json_;
    std::vector<Keyed> keyed_;
};

// "#rrggbb" of 0..1 components.
std::string HexColor(const float rgb[3]);

}  // namespace tv::studio
