// The OBJ source's import dialog: the user picks a file (or a folder's sequence); the choice is
// stored with the instance as a path with option marks, the footage is found in the project or
// imported, and a layer of it in the comp becomes the source's "OBJ Layer".
#pragma once

#include <string>
#include <vector>

#include "host/HostServices.h"

namespace tv {

// The stored text: "|REL|", "|SEQ|", "|ALP|" in front when on, then the path.
struct StoredObjPath {
    std::string path;
    bool relative = false, sequence = false, alphabetical = false;
};
std::string FormatStoredObjPath(const StoredObjPath& p);
StoredObjPath ParseStoredObjPath(std::string text);

// `path` relative to the folder of `projectFile` (as written in the box); `path` itself when
// there is no project file.
std::string RelativeToProject(const std::string& path, const std::string& projectFile);
// A stored relative path made absolute against the project file's folder.
std::string ResolveAgainstProject(const std::string& path, const std::string& projectFile);

// The files of a sequence: every ".obj" or ".OBJ" file in the chosen file's folder, in
// alphabetical (byte) order, or else in natural order (numbers by value).
std::vector<std::string> ObjSequenceFiles(const std::string& chosen, bool alphabetical);

// After the shared step of PF_Cmd_SEQUENCE_RESETUP (its new record in `out`): the stored path
// goes on in the new record, and in a host that is not only rendering it is resolved (a relative
// one against the project's folder, wherever the project now is) and the footage of the layer of
// `layerParam` is pointed at it, a sequence at its folder's files listed again. Problems go to
// the console, not to the host.
PF_Err ObjSequenceResetup(PF_InData* in, PF_OutData* out, int32_t layerParam);

// Runs the dialog (again while it asks to reopen), stores the answer and places the footage.
PF_Err RunObjImport(PF_InData* in, PF_OutData* out, int32_t layerParam, int32_t sequenceParam);

}  // namespace tv
