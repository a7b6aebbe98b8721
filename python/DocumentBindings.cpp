// Documents in Python: load and save, the comps, layers, effects and parameter tables, and
// values and keys read from and written into the document's JSON (each write loads it again).
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>

#include "python/Bindings.h"
#include "python/DocumentState.h"
#include "python/Locks.h"
#include "resources/EffectTable.h"
#include "standalone/Document.h"
#include "standalone/DocumentWriter.h"
#include "standalone/ParamText.h"

namespace py = pybind11;

namespace tv::python {

namespace {

using Json = nlohmann::ordered_json;
using State = std::shared_ptr<DocumentState>;

py::object ToPython(const Json& json) {
    return py::module_::import("json").attr("loads")(json.dump());
}

Json FromPython(const py::handle& value, const std::string& what) {
    std::string text;
    try {
        text = py::module_::import("json")
                   .attr("dumps")(value, py::arg("allow_nan") = false)
                   .cast<std::string>();
    } catch (const py::error_already_set& e) {
        throw py::type_error(what + ": not a JSON value (" + std::string(e.what()) + ")");
    }
    return Json::parse(text);
}

State Load(const std::string& text, const std::string& file) {
    auto state = std::make_shared<DocumentState>();
    state->file = file;
    Json json;
    try {
        json = Json::parse(text);
    } catch (const Json::parse_error&) {
        // The loader says where the text stops being JSON.
        standalone::EmbeddedHost host;
        standalone::LoadDocumentText(text, file, host);
        throw;
    }
    Reload(*state, std::move(json));
    Warn(state->notes);
    return state;
}

// Edits the document's JSON and loads it again; when the load fails the document is left as it
// was and the loader's error (with its JSON path) is raised.
template <typename Edit>
void EditJson(DocumentState& state, Edit&& edit) {
    auto lock = WriteLock(state);
    Json json = state.json;
    edit(json);
    Reload(state, std::move(json));
    lock.unlock();
    Warn(state.notes);
}

const standalone::InstalledEffect& InstalledOf(DocumentState& state, const EffectPlace& place) {
    auto& comp = *state.host->project().comps.at(place.comp);
    auto& layer = *comp.layers.at(place.layer);
    if (place.effect >= layer.effects.size())
        throw std::invalid_argument(place.path + ": the loaded layer has no such effect");
    return *state.host->installedEffect(layer.effects[place.effect]->key);
}

// The key a document gives a parameter: its name, "Name#2" for the second of that name, "#11"
// for one without a name.
std::string ParamKey(const standalone::InstalledEffect& fx, const ParamSpec& spec) {
    if (!*spec.name) return fmt::format("#{}", spec.index);
    int occurrence = 0;
    for (const ParamSpec& s : fx.params) {
        if (s.index == 0 || std::string_view(s.name) != spec.name) continue;
        ++occurrence;
        if (s.index == spec.index) break;
    }
    return occurrence > 1 ? fmt::format("{}#{}", spec.name, occurrence) : std::string(spec.name);
}

const ParamSpec* SpecByKey(const standalone::InstalledEffect& fx, const std::string& key) {
    for (const ParamSpec& spec : fx.params)
        if (spec.index != 0 && (ParamKey(fx, spec) == key || fmt::format("#{}", spec.index) == key))
            return &spec;
    return nullptr;
}

bool HasValue(const ParamSpec& spec) {
    return spec.index != 0 && spec.type != PF_Param_GROUP_START &&
           spec.type != PF_Param_GROUP_END && spec.type != PF_Param_BUTTON;
}

const ParamSpec& SpecOrThrow(const standalone::InstalledEffect& fx, const std::string& key) {
    const ParamSpec* spec = SpecByKey(fx, key);
    if (spec && HasValue(*spec)) return *spec;
    std::vector<std::string> keys;
    for (const ParamSpec& s : fx.params)
        if (HasValue(s)) keys.push_back(ParamKey(fx, s));
    throw py::key_error("\"" + fx.displayName + "\" has no parameter \"" + key + "\"; " +
                        standalone::NearestNames(key, keys));
}

// A row's default in the document's units.
Json DefaultValue(const ParamSpec& spec) {
    switch (spec.type) {
        case PF_Param_CHECKBOX:
            return spec.value.value_or(spec.def[0]) != 0;
        case PF_Param_SLIDER:
            return int64_t(spec.def[0]);
        case PF_Param_FLOAT_SLIDER:
        case PF_Param_FIX_SLIDER:
        case PF_Param_ANGLE:
            return spec.def[0];
        case PF_Param_COLOR:
            return fmt::format("#{:02x}{:02x}{:02x}", int(spec.def[0] * 255 + 0.5),
                               int(spec.def[1] * 255 + 0.5), int(spec.def[2] * 255 + 0.5));
        case PF_Param_POINT:
            return Json::array({spec.def[0], spec.def[1]});
        case PF_Param_POINT_3D:
            return Json::array({spec.def[0], spec.def[1], spec.def[2]});
        case PF_Param_POPUP:
            return std::string(PopupEntry(spec, int32_t(spec.def[0])));
        default:
            return nullptr;  // layers (none chosen), curves and gradients (the effect's own)
    }
}

// Where the effect's JSON sets the parameter: its key there, or none.
std::optional<std::string> SetKey(const Json& effect, const standalone::InstalledEffect& fx,
                                  const ParamSpec& spec) {
    const auto params = effect.find("params");
    if (params == effect.end() || !params->is_object()) return std::nullopt;
    for (const auto& [key, value] : params->items())
        if (const ParamSpec* s = SpecByKey(fx, key); s && s->index == spec.index) return key;
    return std::nullopt;
}

Json& EffectJson(Json& json, const EffectPlace& place) {
    return json["comps"][place.comp]["layers"][place.layer]["effects"][place.effect];
}

Json RowJson(const standalone::InstalledEffect& fx, const ParamSpec& spec) {
    Json row = {{"index", spec.index},
                {"diskId", spec.diskId},
                {"key", ParamKey(fx, spec)},
                {"name", spec.name},
                {"kind", standalone::ParamKindName(spec.type)},
                {"range", standalone::DescribeParamRange(spec)},
                {"unit", standalone::ParamUnitText(spec)},
                {"description", spec.doc},
                {"default", DefaultValue(spec)},
                {"animatable", (spec.flags & PF_ParamFlag_CANNOT_TIME_VARY) == 0}};
    if (spec.type == PF_Param_POPUP) {
        Json entries = Json::array();
        for (int32_t i = 1; i <= PopupEntryCount(spec); ++i)
            entries.push_back(std::string(PopupEntry(spec, i)));
        row["entries"] = entries;
    }
    return row;
}

// Reads under the document's lock: the place, the installed effect and the parameter.
struct ParamAt {
    EffectPlace place;
    const standalone::InstalledEffect* fx = nullptr;
    const ParamSpec* spec = nullptr;
};
ParamAt FindParam(DocumentState& state, const std::string& comp, const std::string& layer,
                  const std::string& effect, const std::string& param) {
    ParamAt at;
    at.place = FindEffect(state.json, comp, layer, effect);
    at.fx = &InstalledOf(state, at.place);
    at.spec = &SpecOrThrow(*at.fx, param);
    return at;
}

py::list EffectRows() {
    py::list rows;
    for (const EffectInfo& info : EffectTable()) {
        py::dict row;
        row["name"] = info.displayName;
        row["matchName"] = info.matchName;
        row["role"] = std::string(RoleName(info.role));
        row["built"] = info.built;
        row["purpose"] = info.purpose;
        row["howTo"] = info.howTo;
        rows.append(row);
    }
    return rows;
}

py::object EffectTableRows(const std::string& name) {
    const EffectInfo* info = FindEffectByDisplayName(name);
    if (!info) info = FindEffectByMatchName(name);
    if (!info) {
        std::vector<std::string> names;
        for (const EffectInfo& e : EffectTable()) names.push_back(e.displayName);
        throw py::key_error("no effect named \"" + name + "\"; " +
                            standalone::NearestNames(name, names));
    }
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("effects", 16, 16);
    auto& layer = host.addLayer(comp, "layer", standalone::LayerKind::Solid);
    host.applyEffectInstance(layer, info->matchName, true);
    const auto* fx = host.findInstalledByMatchName(info->matchName);
    Json rows = Json::array();
    for (const ParamSpec& spec : fx->params)
        if (spec.index != 0) rows.push_back(RowJson(*fx, spec));
    return ToPython(rows);
}

}  // namespace

void BindDocument(py::module_& m) {
    py::class_<DocumentState, State> doc(m, "Document", R"(A composition document, loaded.

It holds the document's JSON: every change edits the JSON and loads it again, so a frame
rendered after a change is the frame of the edited file. Layers, effects and parameters are
named as documents name them ("Tavrin Lines Renderer", "Maximum Distance", "Name#2").)");

    m.def(
        "load",
        [](const std::string& path) {
            std::ifstream in(path, std::ios::binary);
            if (!in) throw standalone::DocumentError(path, "", "cannot open the file");
            std::stringstream text;
            text << in.rdbuf();
            return Load(text.str(), path);
        },
        py::arg("path"), "Loads a composition document file. Raises DocumentError.");
    m.def("loads", &Load, py::arg("text"), py::arg("file") = "document.json",
          "Loads a document from JSON text; `file` names it in errors and anchors its "
          "relative paths.");
    m.def("effects", &EffectRows,
          "The 21 effects: name, matchName, role, built, and what each is for (purpose, howTo).");
    m.def("effect_params", &EffectTableRows, py::arg("effect"),
          "An effect's parameter table (by display or match name): index, diskId, key, name, "
          "kind, range, unit, description, default, animatable, and a popup's entries.");

    doc.def_property_readonly("file", [](const State& s) { return s->file; });
    doc.def_property(
        "json",
        [](const State& s) {
            auto lock = ReadLock(*s);
            return ToPython(s->json);
        },
        [](const State& s, const py::object& value) {
            const Json json = FromPython(value, "Document.json");
            EditJson(*s, [&](Json& j) { j = json; });
        },
        "The document as Python data (a copy); assigning loads the new data.");
    doc.def(
        "save",
        [](const State& s, const std::string& path) {
            auto lock = WriteLock(*s);
            standalone::SaveDocumentFile(*s->host, path);
        },
        py::arg("path"),
        "Writes the document as `tavrin save` does (files relative to the new place).");
    doc.def(
        "comps",
        [](const State& s) {
            auto lock = ReadLock(*s);
            py::list comps;
            for (const auto& c : s->host->project().comps) {
                py::dict row;
                row["name"] = c->name;
                row["width"] = c->width;
                row["height"] = c->height;
                row["fps"] = double(c->fpsNum) / std::max(c->fpsDen, 1);
                row["duration"] = c->duration;
                row["frames"] = c->frameCount();
                comps.append(row);
            }
            return comps;
        },
        "The comps: name, width, height, fps, duration, frames.");
    doc.def(
        "layers",
        [](const State& s, const std::string& comp) {
            auto lock = ReadLock(*s);
            const size_t c = CompIndex(s->json, comp);
            py::list layers;
            for (const auto& l : s->host->project().comps.at(c)->layers) {
                py::dict row;
                row["name"] = l->name;
                row["enabled"] = l->enabled;
                py::list effects;
                for (const auto& e : l->effects)
                    effects.append(s->host->installedEffect(e->key)->displayName);
                row["effects"] = effects;
                layers.append(row);
            }
            return layers;
        },
        py::arg("comp") = "", "The layers of a comp (empty: the first), top first.");
    doc.def(
        "params",
        [](const State& s, const std::string& layer, const std::string& effect,
           const std::string& comp) {
            auto lock = ReadLock(*s);
            const EffectPlace place = FindEffect(s->json, comp, layer, effect);
            const auto& fx = InstalledOf(*s, place);
            const Json& effectJson = EffectJson(s->json, place);
            Json rows = Json::array();
            for (const ParamSpec& spec : fx.params) {
                if (!HasValue(spec)) continue;
                Json row = RowJson(fx, spec);
                const auto key = SetKey(effectJson, fx, spec);
                row["value"] = key ? effectJson["params"][*key] : row["default"];
                rows.push_back(row);
            }
            return ToPython(rows);
        },
        py::arg("layer"), py::arg("effect"), py::arg("comp") = "",
        "The effect's parameter table with each value: as the document sets it, else the "
        "default.");
    doc.def(
        "get",
        [](const State& s, const std::string& layer, const std::string& effect,
           const std::string& param, const std::string& comp) {
            auto lock = ReadLock(*s);
            const ParamAt at = FindParam(*s, comp, layer, effect, param);
            const Json& effectJson = EffectJson(s->json, at.place);
            const auto key = SetKey(effectJson, *at.fx, *at.spec);
            return ToPython(key ? effectJson["params"][*key] : DefaultValue(*at.spec));
        },
        py::arg("layer"), py::arg("effect"), py::arg("param"), py::arg("comp") = "",
        "A parameter's value as the document gives it (a value, or {\"keys\": [...]}), else "
        "its default.");
    doc.def(
        "set",
        [](const State& s, const std::string& layer, const std::string& effect,
           const std::string& param, const py::object& value, const std::string& comp) {
            const Json v = FromPython(value, "the value of \"" + param + "\"");
            EditJson(*s, [&](Json& json) {
                const ParamAt at = FindParam(*s, comp, layer, effect, param);
                Json& e = EffectJson(json, at.place);
                if (const auto key = SetKey(e, *at.fx, *at.spec)) e["params"].erase(*key);
                e["params"][ParamKey(*at.fx, *at.spec)] = v;
            });
        },
        py::arg("layer"), py::arg("effect"), py::arg("param"), py::arg("value"),
        py::arg("comp") = "",
        "Sets a parameter in the document (a value in the document's units, or {\"keys\": "
        "[...]}) and loads it again. Raises DocumentError naming the JSON path when the "
        "loader refuses it; the document is then left as it was.");
    doc.def(
        "keys",
        [](const State& s, const std::string& layer, const std::string& effect,
           const std::string& param, const std::string& comp) {
            auto lock = ReadLock(*s);
            const ParamAt at = FindParam(*s, comp, layer, effect, param);
            const Json& effectJson = EffectJson(s->json, at.place);
            const auto key = SetKey(effectJson, *at.fx, *at.spec);
            if (key) {
                const Json& v = effectJson["params"][*key];
                if (v.is_object() && v.contains("keys")) return ToPython(v["keys"]);
            }
            return ToPython(Json::array());
        },
        py::arg("layer"), py::arg("effect"), py::arg("param"), py::arg("comp") = "",
        "A parameter's keyframes ({\"t\", \"v\", \"interp\", ...} each); [] when not "
        "animated.");
    doc.def(
        "set_keys",
        [](const State& s, const std::string& layer, const std::string& effect,
           const std::string& param, const py::object& keys, const std::string& comp) {
            const Json k = FromPython(keys, "the keys of \"" + param + "\"");
            EditJson(*s, [&](Json& json) {
                const ParamAt at = FindParam(*s, comp, layer, effect, param);
                Json& e = EffectJson(json, at.place);
                if (const auto key = SetKey(e, *at.fx, *at.spec)) e["params"].erase(*key);
                e["params"][ParamKey(*at.fx, *at.spec)] = Json{{"keys", k}};
            });
        },
        py::arg("layer"), py::arg("effect"), py::arg("param"), py::arg("keys"),
        py::arg("comp") = "",
        "Animates a parameter: a list of keys {\"t\": seconds, \"v\": value, \"interp\": "
        "\"linear\" | \"hold\" | \"bezier\"}, written as the document writes them.");
    doc.def("__repr__", [](const State& s) { return "<tavrin.Document " + s->file + ">"; });
}

}  // namespace tv::python
