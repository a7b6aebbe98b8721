// What a Python Document holds: the document's JSON, which edits change, and the embedded host
// it was last loaded into. Every edit goes through the document loader again, so a value set
// from Python changes a frame exactly as the same edit of the file would.
#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <shared_mutex>
#include <string>
#include <vector>

#include "standalone/EmbeddedHost.h"

namespace tv::python {

struct DocumentState {
    nlohmann::ordered_json json;
    std::string file;  // names the document in errors and anchors its relative paths
    std::unique_ptr<standalone::EmbeddedHost> host;
    std::vector<std::string> notes;  // what the last load said (values that change nothing)
    // Renders share the host; a load replaces it (and a change of scale) alone.
    std::shared_mutex mutex;
};

// Loads `json` into a fresh host; on success the state takes both, on failure it keeps what it
// had and the loader's DocumentError passes through.
void Reload(DocumentState& state, nlohmann::ordered_json json);

// Where the document's JSON holds a comp, a layer and an effect: indices, and the JSON path
// errors name. Throws std::invalid_argument naming what exists.
struct EffectPlace {
    size_t comp = 0, layer = 0, effect = 0;
    std::string path;  // e.g. $.comps[0].layers[1].effects[2]
};
size_t CompIndex(const nlohmann::ordered_json& json, const std::string& comp);
size_t LayerIndex(const nlohmann::ordered_json& json, size_t comp, const std::string& layer);
EffectPlace FindEffect(const nlohmann::ordered_json& json, const std::string& comp,
                       const std::string& layer, const std::string& effect);

}  // namespace tv::python
