// What an effect does when the user changes one of its supervised parameters, kept in the
// document. A host tells the effect of the change (USER_CHANGED_PARAM) and runs its idle tasks;
// the effect may then write other parameters (a light-name popup writes its text), return a
// menu to "None" or add an effect (the Toolkit). Loading the edited document alone would not
// show those writes, so they are taken from the host and written into the document's JSON.
#pragma once

#include "studio/EffectTables.h"

namespace tv::studio {

// `op` is the setParam edit already applied to `doc` and loaded into `host`. Returns true when
// the document changed and has to be loaded again.
bool TakeEffectWrites(Json& doc, standalone::EmbeddedHost& host, const Json& op);

}  // namespace tv::studio
