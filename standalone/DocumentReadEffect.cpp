// An effect in a document: which one (display or match name), whether it is on, its saved
// record, its parameters by name, and the dialogs the user answers once the document is open.
#include <map>
#include <string_view>

#include "standalone/DocumentBase64.h"
#include "standalone/DocumentRead.h"

namespace tv::standalone::docread {

namespace {

const std::vector<std::string> kEffectKeys = {"effect", "enabled", "params", "sequence", "dialogs"};

// "dialogs": [{"click": "<name filter or Import OBJ>", "answer": ...}]: what the user clicks in
// the effect's controls once the document is open, and what they enter in the dialog that opens.
void ReadDialogs(const Reader& r, const json& list, const std::string& path,
                 EffectInstance& instance, const Comp& comp) {
    if (!list.is_array()) r.fail(path, "expected a list of {\"click\": ..., \"answer\": ...}");
    const InstalledEffect* fx = r.host.installedEffect(instance.key);
    for (size_t i = 0; i < list.size(); ++i) {
        const std::string ipath = path + "[" + std::to_string(i) + "]";
        const json& d = list[i];
        r.checkKeys(d, ipath, {"click", "answer"});
        if (!d.contains("click")) r.fail(ipath, "missing \"click\": what the user clicks");
        if (!d.contains("answer")) r.fail(ipath, "missing \"answer\": what the dialog gets");
        const std::string click = r.text(d["click"], ipath + ".click");
        DialogClick c;
        c.instance = &instance;
        c.time = A_Time{0, comp.timeScale()};
        std::vector<std::string> clickable;
        for (const ParamSpec& spec : fx->params)
            if (spec.type == PF_Param_ARBITRARY_DATA && *spec.text) {
                clickable.push_back(spec.name);
                if (click == spec.name) {
                    c.paramIndex = spec.index;
                    const std::string_view dialog = spec.text;
                    c.title = std::string(dialog.substr(0, dialog.find('\n')));
                }
            }
        const bool objImport = OpensImportObjDialog(*fx);
        if (objImport) clickable.push_back("Import OBJ");
        if (objImport && click == "Import OBJ") {
            const json& a = d["answer"];
            r.checkKeys(a, ipath + ".answer",
                        {"file", "sequence", "alphabetical", "relative", "cancel"});
            auto flag = [&](const char* key) {
                return a.contains(key) && r.boolean(a[key], ipath + ".answer." + key);
            };
            // Cancel: ok 0 with the boxes as the user left them; the file may be left out.
            const bool cancel = flag("cancel");
            if (!cancel && !a.contains("file"))
                r.fail(ipath + ".answer",
                       "missing \"file\": the OBJ file (or \"cancel\": true for a Cancel)");
            const std::string file =
                a.contains("file") ? (cancel ? r.text(a["file"], ipath + ".answer.file")
                                             : ExistingFile(r, a["file"], ipath + ".answer.file"))
                                   : std::string();
            c.title = "Import OBJ";
            c.answer = std::string(cancel ? "0" : "1") + "\n" + file + "\n" +
                       (flag("sequence") ? "1" : "0") + "\n" + (flag("alphabetical") ? "1" : "0") +
                       "\n" + (flag("relative") ? "1" : "0") + "\n0";
        } else if (c.paramIndex > 0) {
            c.answer = r.text(d["answer"], ipath + ".answer");
        } else {
            r.fail(ipath + ".click", "\"" + fx->displayName + "\" has nothing called \"" + click +
                                         "\" that opens a dialog; " +
                                         NearestNames(click, clickable));
        }
        r.clicks.push_back(std::move(c));
    }
}

}  // namespace

void ReadEffect(const Reader& r, const json& e, const std::string& path, Layer& layer, Comp& comp) {
    r.checkKeys(e, path, kEffectKeys);
    if (!e.contains("effect"))
        r.fail(path, "missing \"effect\": the effect's display or match name");
    const std::string name = r.text(e["effect"], path + ".effect");
    const InstalledEffect* installed = r.host.findInstalledByDisplayName(name);
    if (!installed) installed = r.host.findInstalledByMatchName(name);
    if (!installed) {
        std::vector<std::string> names;
        for (const EffectInfo& info : EffectTable()) names.emplace_back(info.displayName);
        r.fail(path + ".effect", "unknown effect \"" + name + "\"; " + NearestNames(name, names));
    }
    EffectInstance& instance = r.host.applyEffectInstance(layer, installed->key, true);
    if (e.contains("enabled")) instance.active = r.boolean(e["enabled"], path + ".enabled");
    if (e.contains("sequence")) {
        // A saved instance's record: hand it back as a host does when it reopens a project.
        const std::string spath = path + ".sequence";
        const auto bytes = DecodeBase64(r.text(e["sequence"], spath));
        if (!bytes || bytes->empty())
            r.fail(spath,
                   "expected the instance's record as base64 text, as tavrin save writes it");
        if (instance.sequenceData) r.host.disposeHandle(instance.sequenceData);
        instance.sequenceData = r.host.handleFromBytes(*bytes);
        r.recordsGiven.push_back(&instance);
        // Documents open render-only, so the instance keeps the id it was saved with.
        if (r.host.callEffect(instance, PF_Cmd_SEQUENCE_RESETUP, A_Time{0, 1}, nullptr, nullptr,
                              nullptr, nullptr, PF_InFlag_PROJECT_IS_RENDER_ONLY) != PF_Err_NONE)
            r.fail(spath, "the effect refused this record; remove \"sequence\" to start afresh");
    }
    if (e.contains("dialogs")) ReadDialogs(r, e["dialogs"], path + ".dialogs", instance, comp);
    if (!e.contains("params")) return;
    const json& params = e["params"];
    if (!params.is_object())
        r.fail(path + ".params", "expected an object of parameter names to values");
    const InstalledEffect* fx = r.host.installedEffect(instance.key);
    std::map<int32_t, std::string> given;  // index -> the key that set it
    for (const auto& [key, value] : params.items()) {
        const std::string ppath = path + ".params." + key;
        const ParamSpec* spec = FindParam(*fx, key);
        if (spec && !Settable(*spec)) {
            // A group sharing its name with the parameter inside it: name the parameter.
            int occurrence = 0;
            for (const ParamSpec& s : fx->params) {
                if (s.index == 0 || std::string_view(s.name) != spec->name) continue;
                ++occurrence;
                if (s.index > spec->index && Settable(s))
                    r.fail(ppath, "\"" + key + "\" names the group; the parameter in it is \"" +
                                      std::string(s.name) + "#" + std::to_string(occurrence) +
                                      "\" (or \"#" + std::to_string(s.index) + "\")");
            }
        }
        if (!spec && key.size() > 1 && key[0] == '#' &&
            key.find_first_not_of("0123456789", 1) == std::string::npos)
            r.fail(ppath, "\"" + installed->displayName + "\" has no parameter \"" + key +
                              "\"; its parameters are #1 to #" +
                              std::to_string(fx->params.size() - 1));
        if (!spec || !Settable(*spec)) {
            std::vector<std::string> names;
            for (const ParamSpec& s : fx->params)
                if (Settable(s)) names.emplace_back(s.name);
            r.fail(ppath, "\"" + installed->displayName + "\" has no parameter \"" + key + "\"; " +
                              NearestNames(key, names));
        }
        // "Shading Radius" and "#6" name one parameter: two values for it would be a guess.
        const auto [at, fresh] = given.emplace(spec->index, key);
        if (!fresh)
            r.fail(ppath,
                   "\"" + key + "\" and \"" + at->second + "\" name the same parameter; give one");
        ReadParam(r, *spec, value, ppath, instance, comp);
    }
}

}  // namespace tv::standalone::docread
