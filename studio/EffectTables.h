// The installed effects and their parameter tables as the page builds its controls from them:
// made once by applying every effect to a probe layer of a host of their own (parameter setup
// runs as in any host), then only read.
#pragma once

#include <nlohmann/json.hpp>

#include <memory>
#include <string>

#include "standalone/EmbeddedHost.h"

namespace tv::studio {

using Json = nlohmann::ordered_json;

class EffectTables {
  public:
    EffectTables();
    // By display or match name; null for neither.
    const standalone::InstalledEffect* find(const std::string& name) const;
    // [{name, matchName, role, built, params: [...]}], the table rows in user units.
    const Json& json() const { return json_; }
    standalone::EmbeddedHost& host() const { return *host_; }

  private:
    std::unique_ptr<standalone::EmbeddedHost> host_;
    Json json_;
};

// One row of a table for the page: index, name, kind, default (user units), ranges, precision,
// unit, whether it can be keyframed, whether the effect supervises it, popup entries, the label
// of a button or checkbox, and which data an arbitrary-data row holds (curve, gradient, text).
Json ParamRowJson(standalone::EmbeddedHost& host, const ParamSpec& spec,
                  const standalone::Comp& comp);

// Whether a parameter can be keyframed in a document.
bool Animatable(const ParamSpec& spec);

}  // namespace tv::studio
