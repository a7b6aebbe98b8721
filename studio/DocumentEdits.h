// The edits a person makes in the studio, each applied to the document's JSON (the session then
// loads the result, so the document stays the user's last word): parameter values and keys,
// effects added, removed, moved and switched, dialogs answered (Import OBJ, a name filter's
// text), layers added, removed, moved, switched, soloed and named, the comp's settings. Places
// are indices into the document's lists.
#pragma once

#include <nlohmann/json.hpp>

#include "studio/EffectTables.h"

namespace tv::studio {

// Applies one edit ({"op": ..., ...}) to `doc`. Throws StudioError 400 for an edit that is not
// well formed or names a place the document does not have.
void ApplyEdit(Json& doc, const Json& op, const EffectTables& tables);

// The document key of parameter `index` in an effect's "params": the key the document already
// uses for it ("#11", "Name#2" or the name), else the one `tavrin save` writes.
std::string ParamKeyIn(const Json& params, const standalone::InstalledEffect& fx, int32_t index);

// A new document: one empty comp.
Json EmptyDocument();

}  // namespace tv::studio
