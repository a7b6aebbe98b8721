#include "sources/ObjImport.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "host/EffectTemplate.h"
#include "host/LayerLookup.h"
#include "host/ScriptBridge.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"

namespace tv {

namespace {

constexpr size_t kMaxPath = 255;
constexpr int kMaxReopen = 8;  // a dialog that keeps asking to reopen is cut off

constexpr const char* kMissingFile =
    "The following file doesn't exist, hence cannot be imported.\n";
constexpr const char* kPlaceholderNote =
    "\nA placeholder has been created in the project instead. Replace the placeholder to the "
    "appropriate footage file.";

bool EndsWithObj(const std::string& name) {
    if (name.size() < 4) return false;
    const std::string ext = name.substr(name.size() - 4);
    return ext == ".obj" || ext == ".OBJ";
}

// Natural order: runs of digits compare by value, the rest byte by byte.
bool NaturalLess(const std::string& a, const std::string& b) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (std::isdigit(static_cast<unsigned char>(a[i])) &&
            std::isdigit(static_cast<unsigned char>(b[j]))) {
            size_t ie = i, je = j;
            while (ie < a.size() && std::isdigit(static_cast<unsigned char>(a[ie]))) ++ie;
            while (je < b.size() && std::isdigit(static_cast<unsigned char>(b[je]))) ++je;
            const std::string da = a.substr(i, ie - i), db = b.substr(j, je - j);
            const std::string ta = da.substr(std::min(da.find_first_not_of('0'), da.size()));
            const std::string tb = db.substr(std::min(db.find_first_not_of('0'), db.size()));
            if (ta.size() != tb.size()) return ta.size() < tb.size();
            if (ta != tb) return ta < tb;
            i = ie, j = je;
            continue;
        }
        if (a[i] != b[j]) return a[i] < b[j];
        ++i, ++j;
    }
    return a.size() - i < b.size() - j;
}

void Say(HostServices& host, const std::string& line) {
    try {
        host.diagnostic(line);
    } catch (const HostErrorCode&) {
    }
}

// What the user reads; the whole text, which can be longer than an effect's return message.
void Tell(HostServices& host, const std::string& text) {
    try {
        host.reportInfo(text);
    } catch (const HostErrorCode&) {
    }
}

}  // namespace

std::string FormatStoredObjPath(const StoredObjPath& p) {
    return std::string(p.relative ? "|REL|" : "") + (p.sequence ? "|SEQ|" : "") +
           (p.alphabetical ? "|ALP|" : "") + p.path;
}

StoredObjPath ParseStoredObjPath(std::string text) {
    StoredObjPath p;
    for (;;) {
        if (text.rfind("|REL|", 0) == 0)
            p.relative = true;
        else if (text.rfind("|SEQ|", 0) == 0)
            p.sequence = true;
        else if (text.rfind("|ALP|", 0) == 0)
            p.alphabetical = true;
        else
            break;
        text.erase(0, 5);
    }
    p.path = text;
    return p;
}

std::string RelativeToProject(const std::string& path, const std::string& projectFile) {
    if (projectFile.empty()) return path;
    const std::filesystem::path base = std::filesystem::path(projectFile).parent_path();
    return std::filesystem::path(path).lexically_relative(base).generic_string();
}

std::string ResolveAgainstProject(const std::string& path, const std::string& projectFile) {
    if (projectFile.empty() || std::filesystem::path(path).is_absolute()) return path;
    return (std::filesystem::path(projectFile).parent_path() / path).lexically_normal().string();
}

std::vector<std::string> ObjSequenceFiles(const std::string& chosen, bool alphabetical) {
    std::vector<std::string> files;
    std::error_code ec;
    const std::filesystem::path folder = std::filesystem::path(chosen).parent_path();
    // Error codes throughout: a folder that cannot be read (or a name the system refuses) lists
    // nothing rather than throwing out of the effect.
    for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end;
         it.increment(ec))
        if (it->is_regular_file(ec) && EndsWithObj(it->path().filename().string()))
            files.push_back(it->path().string());
    if (alphabetical)
        std::sort(files.begin(), files.end());
    else
        std::sort(files.begin(), files.end(), NaturalLess);
    return files;
}

PF_Err ObjSequenceResetup(PF_InData* in, PF_OutData* out, int32_t layerParam) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    // For a current record the shared step keeps only the header: the stored path, read from the
    // record the host handed in, goes on in the new one. A converted older record already holds
    // its text (and the handle handed in is not in the current layout).
    PF_InData current = *in;
    current.sequence_data = out->sequence_data;
    const bool headerOnly =
        out->sequence_data && host.handleSize(out->sequence_data) == sizeof(SequenceRecord);
    const std::string text = headerOnly ? ReadRecordText(in) : ReadRecordText(&current);
    if (headerOnly && !text.empty()) {
        const PF_Handle made = out->sequence_data;
        if (const PF_Err err = WriteRecordText(&current, out, text)) return err;
        if (out->sequence_data != made) host.disposeHandle(made);
    }
    if (in->in_flags & PF_InFlag_PROJECT_IS_RENDER_ONLY) return PF_Err_NONE;
    try {
        const StoredObjPath stored = ParseStoredObjPath(text);
        if (stored.path.empty()) return PF_Err_NONE;
        const std::string absolute =
            stored.relative ? ResolveAgainstProject(stored.path, ProjectPath(host)) : stored.path;
        std::error_code ec;
        if (!std::filesystem::is_regular_file(absolute, ec)) {
            Say(host, "OBJ File not found: " + absolute);
            return PF_Err_NONE;
        }
        const int32_t layerId = CheckoutParam(&current, layerParam).u.layerId;
        if (layerId == 0) return PF_Err_NONE;
        const AEGP_LayerH layer = LayerOfOwnComp(host, in->effect_ref, layerId);
        if (!layer) return PF_Err_NONE;
        const AEGP_ItemH item = host.layerSourceItem(layer);
        const std::vector<std::string> now = host.footageFiles(item);
        // A sequence is listed again from its folder; a still file keeps its one file.
        const std::vector<std::string> files = stored.sequence && now.size() != 1
                                                   ? ObjSequenceFiles(absolute, stored.alphabetical)
                                                   : std::vector<std::string>{absolute};
        if (files != now) host.replaceFootageFiles(item, files);
    } catch (const HostErrorCode& e) {
        Say(host, "OBJ footage could not be relinked (host code " + std::to_string(e.code) + ")");
    }
    return PF_Err_NONE;
}

PF_Err RunObjImport(PF_InData* in, PF_OutData* out, int32_t layerParam, int32_t sequenceParam) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const std::string project = ProjectPath(host);
    StoredObjPath stored = ParseStoredObjPath(ReadRecordText(in));
    std::string absolute =
        stored.relative ? ResolveAgainstProject(stored.path, project) : stored.path;
    bool reopen = false;
    ObjImportAnswer answer;
    for (int round = 0; round < kMaxReopen; ++round) {
        const auto given = ParseObjImportAnswer(
            RunScript(host, "%s",
                      ObjImportScript(absolute, RelativeToProject(absolute, project),
                                      stored.sequence, stored.alphabetical, stored.relative, reopen)
                          .c_str()));
        if (!given || !given->ok) return PF_Err_NONE;  // cancelled: nothing is stored
        answer = *given;
        absolute = ResolveAgainstProject(answer.path, project);
        stored.sequence = answer.sequence;
        stored.alphabetical = answer.alphabetical;
        stored.relative = answer.relative;
        reopen = answer.reopen;
        if (!reopen) break;
    }
    if (absolute.empty()) return PF_Err_NONE;
    if (absolute.size() > kMaxPath) {
        Tell(host, "File Path can't exceed 255 characters");
        return PF_Err_NONE;
    }
    // A relative path needs a saved project.
    if (stored.relative && project.empty()) stored.relative = false;
    stored.path = stored.relative ? RelativeToProject(absolute, project) : absolute;
    if (const PF_Err err = WriteRecordText(in, out, FormatStoredObjPath(stored))) return err;

    // The footage: found in the project, or imported (a placeholder when the file is missing).
    bool byComment = false;
    AEGP_ItemH item = host.findFootage(absolute, byComment);
    if (item) {
        Say(host,
            byComment ? "Footage path matches Item Comment " : "Footage already found in Project ");
    } else {
        Say(host, "No Footage Detected");
        std::vector<std::string> files;
        std::error_code ec;
        if (std::filesystem::is_regular_file(absolute, ec))
            files = stored.sequence ? ObjSequenceFiles(absolute, stored.alphabetical)
                                    : std::vector<std::string>{absolute};
        else
            Tell(host, kMissingFile + absolute + kPlaceholderNote);
        item = host.importFootage(files, absolute);
    }
    // A layer of it in the effect's comp becomes the source's layer.
    const AEGP_CompH comp = host.layerParentComp(OwnLayer(host, in->effect_ref));
    AEGP_LayerH layer = host.compLayerOfItem(comp, item);
    if (layer)
        Say(host, "Layer Exists in Comp");
    else
        layer = host.addLayerOfItem(comp, item);
    PF_ParamDef value{};
    value.param_type = PF_Param_LAYER;
    value.u.layerId = int32_t(host.layerId(layer));
    if (const PF_Err err = host.setParamValue(in->effect_ref, layerParam, value)) return err;
    PF_ParamDef seq{};
    seq.param_type = PF_Param_CHECKBOX;
    seq.u.checkbox = stored.sequence ? 1 : 0;
    return host.setParamValue(in->effect_ref, sequenceParam, seq);
}

}  // namespace tv
