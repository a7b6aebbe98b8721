// Questions the effects put to the user through the host's scripting engine: a script opens a
// window and its last value is the answer text. A failed script answers empty, which callers
// read as Cancel.
#pragma once

#include <optional>
#include <string>

#include "host/HostServices.h"

namespace tv {

// Formats the script (printf-style; text arguments go in as they are) and runs it.
std::string RunScript(HostServices& host, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// The text dialog: OK answers the edited text, Cancel the text that went in.
std::string AskForText(HostServices& host, const std::string& title, const std::string& label,
                       const std::string& current);

// The project file's path; empty when the project was never saved.
std::string ProjectPath(HostServices& host);

// A yes-or-no question with its default answer.
bool Confirm(HostServices& host, const std::string& message, bool yes, const std::string& title);

// The OBJ import dialog and its answer: six lines ok, path, seq, alpha, rel, reopen.
struct ObjImportAnswer {
    bool ok = false;
    std::string path;
    bool sequence = false, alphabetical = false, relative = false, reopen = false;
};
std::string ObjImportScript(const std::string& absolutePath, const std::string& relativePath,
                            bool sequence, bool alphabetical, bool relative, bool reopen);
std::optional<ObjImportAnswer> ParseObjImportAnswer(const std::string& answer);

// The SVG export dialog ("Export SVG"). Its answer is empty (Cancel, or OK without a path), a
// path alone (one frame at the current time), or three lines: the path, the range (0 the whole
// comp, 1 the work area) and the frames per second.
struct SvgExportAnswer {
    std::string path;
    bool sequence = false, workArea = false;
    int32_t fps = 12;
};
std::string SvgExportScript();
// Nothing when the answer asks for no export (empty, or lines that are not one of the forms).
std::optional<SvgExportAnswer> ParseSvgExportAnswer(const std::string& answer);
// The dialog's rule for a typed path: one not ending in "svg", or of four characters or fewer,
// gets ".svg".
std::string WithSvgExtension(const std::string& path);

// The name dialog of a text parameter whose row carries "title\nlabel"; a click runs it and an
// answer that differs from the stored text (and is not empty) becomes the parameter's value.
PF_Err RunNameDialog(PF_InData* in, int32_t paramIndex, const char* titleAndLabel,
                     int32_t& changeFlags);

}  // namespace tv
