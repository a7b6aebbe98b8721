// The main effect's "Export SVG" button: the save dialog through the script bridge, then one
// export pass per frame sent to this same effect, and the shapes written to the file the answer
// names, one frame or an animated sequence.
#pragma once

#include "host/HostTypes.h"

namespace tv {

// Runs on the host's main thread within PF_Cmd_USER_CHANGED_PARAM. A cancelled dialog or a file
// that cannot be opened ends it without a message; a pass that fails ends the frames there and
// what stands is written.
PF_Err RunSvgExport(PF_InData* in_data);

}  // namespace tv
