// A JSON Schema (draft 2020-12) of composition documents, made from the effects' parameter
// tables: effect names, parameter names, kinds, popup entries and valid ranges. An editor given
// it completes and checks the effects of a document; the loader stays the authority on the rest.
#pragma once

#include <nlohmann/json.hpp>

namespace tv::standalone {

// The schema, keys in a fixed order so that the committed file compares as text.
nlohmann::ordered_json DocumentSchema();

}  // namespace tv::standalone
