#include "host/ScriptBridge.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <vector>

#include "host/SuiteCache.h"
#include "host/TextParam.h"

namespace tv {

namespace {

std::string RunScriptText(HostServices& host, const std::string& script) {
    std::string result, error;
    try {
        if (host.executeScript(script, result, error) != PF_Err_NONE) return {};
    } catch (const HostErrorCode&) {
        return {};
    }
    return error.empty() ? result : std::string();
}

constexpr const char* kTextDialog =
    "var title= '%s';var label= '%s';var str= '%s';function run_dialog() {myDlg = new "
    "Window('dialog', title);myDlg.orientation = 'column';myDlg.alignChildren = 'fill';"
    "var msg = myDlg.add('statictext', undefined, label);var ed = myDlg.add('edittext', "
    "undefined, str);ed.characters = 30;ed.active = true;var row = myDlg.add('group');"
    "row.orientation = 'row';var ok = row.add('button', undefined, 'OK', {name: 'ok'});"
    "var cancel = row.add('button', undefined, 'Cancel', {name: 'cancel'});"
    "if (myDlg.show() == 1) { return ed.text; } return str;}run_dialog ();";

constexpr const char* kProjectPath = "x = app.project.file; if (x != null) { x.fsName; }";
constexpr const char* kConfirm = "confirm(\"%s\",%i,\"%s\");";

constexpr const char* kObjImportDialog =
    "var title= 'Import OBJ';var label= 'Imports OBJ Files created by 3D Applications.';"
    "var str= '';var savePath='';var in_str= \"%s\";var rel_str=\"%s\";var seq= %i;"
    "var alpha= %i;var rel= %i;var reopen= %i;function run_dialog() {"
    "myDlg = new Window('dialog', title);myDlg.orientation = 'column';"
    "myDlg.add('statictext', undefined, label);var pathRow = myDlg.add('group');"
    "var box = pathRow.add('edittext', undefined, rel ? rel_str : in_str);box.characters = 30;"
    "var open = pathRow.add('button', undefined, 'Open');"
    "var seqBox = myDlg.add('checkbox', undefined, 'OBJ File Sequence');seqBox.value = seq;"
    "var alphaBox = myDlg.add('checkbox', undefined, 'Force Alphabetical Order');"
    "alphaBox.value = alpha;alphaBox.enabled = seqBox.value;"
    "var relBox = myDlg.add('checkbox', undefined, 'Relative Path to Project');"
    "relBox.value = rel;"
    "seqBox.onClick = function() { alphaBox.enabled = seqBox.value; if (!seqBox.value) "
    "alphaBox.value = false; };"
    "relBox.onClick = function() { if (relBox.value && app.project.file == null) { "
    "alert('Current Project is not yet saved. Relative Paths can be created only if the "
    "project is saved.'); relBox.value = false; } };"
    "open.onClick = function() { var f = File.openDialog('Import OBJ', '*.obj'); if (f != null) "
    "{ box.text = f.fsName; reopen = 1; myDlg.close(1); } };"
    "var row = myDlg.add('group');row.add('button', undefined, 'OK', {name: 'ok'});"
    "row.add('button', undefined, 'Cancel', {name: 'cancel'});"
    "var ok = myDlg.show() == 1 ? 1 : 0;if (reopen == 1) { ok = 1; }"
    "return ok + '\\n' + box.text + '\\n' + (seqBox.value ? 1 : 0) + '\\n' + "
    "(alphaBox.value ? 1 : 0) + '\\n' + (relBox.value ? 1 : 0) + '\\n' + reopen;}"
    "run_dialog ();";

constexpr const char* kSvgExportDialog =
    "var title= 'Export SVG';"
    "var label= 'Exports SVG Files which can be opened in Adobe Illustrator.';"
    "var note= 'Note: Polygon/Triangle Gradients and Image Sprites cannot be exported.';"
    "var ext= '.svg';var fps= '12';var items= ['Entire Comp', 'Work Area'];"
    "function withExt(p) { if (p.length <= 4 || p.substr(p.length - 3) != ext.substr(1)) "
    "{ p = p + ext; } return p; }"
    "function run_dialog() {myDlg = new Window('dialog', title);myDlg.orientation = 'column';"
    "myDlg.alignChildren = 'fill';myDlg.add('statictext', undefined, label);"
    "var pathRow = myDlg.add('group');var box = pathRow.add('edittext', undefined, '');"
    "box.characters = 30;var saveAs = pathRow.add('button', undefined, 'Save As');"
    "var seqBox = myDlg.add('checkbox', undefined, 'SVG File Sequence');seqBox.value = false;"
    "var seqRow = myDlg.add('group');seqRow.add('statictext', undefined, 'Export:');"
    "var range = seqRow.add('dropdownlist', undefined, items);range.selection = 0;"
    "seqRow.add('statictext', undefined, 'Frames/Sec:');"
    "var rate = seqRow.add('edittext', undefined, fps);rate.characters = 3;"
    "seqRow.visible = false;seqBox.onClick = function() { seqRow.visible = seqBox.value; };"
    "myDlg.add('statictext', undefined, note);"
    "saveAs.onClick = function() { var f = File.saveDialog(title, '*' + ext); if (f != null) "
    "{ var p = withExt(f.fsName); if (File(p).exists && !confirm(p + ' already exists. "
    "Replace it?', false, 'File Already Exists')) { return; } box.text = p; } };"
    "var row = myDlg.add('group');row.add('button', undefined, 'OK', {name: 'ok'});"
    "row.add('button', undefined, 'Cancel', {name: 'cancel'});"
    "if (myDlg.show() != 1 || box.text == '') { return ''; }var path = box.text;"
    "if (!seqBox.value) { return path; }"
    "return path + '\\n' + range.selection.index + '\\n' + rate.text;}"
    "run_dialog ();";

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> out;
    std::stringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        out.push_back(line);
    }
    return out;
}

}  // namespace

std::string RunScript(HostServices& host, const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string script;
    if (length > 0) {
        std::vector<char> buffer(size_t(length) + 1);
        std::vsnprintf(buffer.data(), buffer.size(), format, args);
        script.assign(buffer.data(), size_t(length));
    }
    va_end(args);
    return RunScriptText(host, script);
}

std::string AskForText(HostServices& host, const std::string& title, const std::string& label,
                       const std::string& current) {
    return RunScript(host, kTextDialog, title.c_str(), label.c_str(), current.c_str());
}

std::string ProjectPath(HostServices& host) {
    return RunScriptText(host, kProjectPath);
}

bool Confirm(HostServices& host, const std::string& message, bool yes, const std::string& title) {
    return RunScript(host, kConfirm, message.c_str(), yes ? 1 : 0, title.c_str()) == "true";
}

std::string ObjImportScript(const std::string& absolutePath, const std::string& relativePath,
                            bool sequence, bool alphabetical, bool relative, bool reopen) {
    const int n =
        std::snprintf(nullptr, 0, kObjImportDialog, absolutePath.c_str(), relativePath.c_str(),
                      int(sequence), int(alphabetical), int(relative), int(reopen));
    std::vector<char> buffer(size_t(std::max(n, 0)) + 1);
    std::snprintf(buffer.data(), buffer.size(), kObjImportDialog, absolutePath.c_str(),
                  relativePath.c_str(), int(sequence), int(alphabetical), int(relative),
                  int(reopen));
    return std::string(buffer.data());
}

std::optional<ObjImportAnswer> ParseObjImportAnswer(const std::string& answer) {
    const std::vector<std::string> lines = Lines(answer);
    if (lines.size() != 6) return std::nullopt;
    auto flag = [](const std::string& s) { return s == "1" || s == "true"; };
    ObjImportAnswer a;
    a.ok = flag(lines[0]);
    a.path = lines[1];
    a.sequence = flag(lines[2]);
    a.alphabetical = a.sequence && flag(lines[3]);
    a.relative = flag(lines[4]);
    a.reopen = flag(lines[5]);
    return a;
}

std::string SvgExportScript() {
    return kSvgExportDialog;
}

std::string WithSvgExtension(const std::string& path) {
    const bool keeps = path.size() > 4 && path.compare(path.size() - 3, 3, "svg") == 0;
    return keeps ? path : path + ".svg";
}

std::optional<SvgExportAnswer> ParseSvgExportAnswer(const std::string& answer) {
    const std::vector<std::string> lines = Lines(answer);
    if (lines.empty() || lines[0].empty()) return std::nullopt;
    SvgExportAnswer a;
    a.path = lines[0];
    if (lines.size() == 1) return a;
    if (lines.size() != 3) return std::nullopt;
    a.sequence = true;
    a.workArea = lines[1] == "1";
    char* end = nullptr;
    const long fps = std::strtol(lines[2].c_str(), &end, 10);
    if (end == lines[2].c_str() || fps < 1) return std::nullopt;
    a.fps = int32_t(std::min<long>(fps, 1000));
    return a;
}

PF_Err RunNameDialog(PF_InData* in, int32_t paramIndex, const char* titleAndLabel,
                     int32_t& changeFlags) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const char* split = std::strchr(titleAndLabel, '\n');
    const std::string title = split ? std::string(titleAndLabel, split) : titleAndLabel;
    const std::string label = split ? std::string(split + 1) : std::string();
    PF_ParamDef def{};
    if (const PF_Err err = host.checkoutParam(in->effect_ref, paramIndex, in->current_time,
                                              in->time_step, in->time_scale, &def))
        return err;
    const std::string current = ReadTextParam(host, def.u.arbData);
    host.checkinParam(in->effect_ref, &def);
    const std::string answer = AskForText(host, title, label, current);
    // An empty answer is a Cancel; the same text changes nothing.
    if (answer.empty() || answer == current) return PF_Err_NONE;
    if (const PF_Err err = WriteTextParam(host, in->effect_ref, paramIndex, answer)) return err;
    changeFlags |= PF_ChangeFlag_CHANGED_VALUE;
    return PF_Err_NONE;
}

}  // namespace tv
