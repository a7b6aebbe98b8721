#include "studio/DocumentEdits.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>

#include "standalone/DocumentRead.h"
#include "standalone/DocumentText.h"
#include "standalone/DocumentWriter.h"
#include "studio/StudioError.h"

namespace tv::studio {

namespace {

// Keys at times closer than this are the same key (the page names times by frame).
constexpr double kSameTime = 1e-6;

[[noreturn]] void Refuse(const std::string& message, const std::string& path = {}) {
    throw StudioError(400, message, path);
}

int64_t IndexField(const Json& op, const char* field) {
    if (!op.contains(field) || !op[field].is_number_integer())
        Refuse(std::string("the edit needs \"") + field + "\", a whole number");
    return op[field].get<int64_t>();
}

Json& Element(Json& list, int64_t index, const std::string& what, const std::string& path) {
    if (!list.is_array() || index < 0 || index >= int64_t(list.size()))
        Refuse("there is no " + what + " " + std::to_string(index), path);
    return list[size_t(index)];
}

// A list member of an object, made when missing.
Json& ListOf(Json& object, const char* key, const std::string& path) {
    if (!object.is_object()) Refuse("expected an object", path);
    if (!object.contains(key)) object[key] = Json::array();
    if (!object[key].is_array()) Refuse(std::string("\"") + key + "\" is not a list", path);
    return object[key];
}

struct Place {
    Json* comp = nullptr;
    Json* layer = nullptr;
    Json* effect = nullptr;
    std::string path;
};

Place CompPlace(Json& doc, const Json& op) {
    Place p;
    p.comp = &Element(ListOf(doc, "comps", "$"), IndexField(op, "comp"), "comp", "$.comps");
    p.path = "$.comps[" + std::to_string(op["comp"].get<int64_t>()) + "]";
    return p;
}

Place LayerPlace(Json& doc, const Json& op) {
    Place p = CompPlace(doc, op);
    const int64_t l = IndexField(op, "layer");
    p.layer = &Element(ListOf(*p.comp, "layers", p.path), l, "layer", p.path + ".layers");
    p.path += ".layers[" + std::to_string(l) + "]";
    return p;
}

Place EffectPlace(Json& doc, const Json& op) {
    Place p = LayerPlace(doc, op);
    const int64_t e = IndexField(op, "effect");
    p.effect = &Element(ListOf(*p.layer, "effects", p.path), e, "effect", p.path + ".effects");
    p.path += ".effects[" + std::to_string(e) + "]";
    return p;
}

// Moves element `from` of a list to `to` (both in range).
void MoveElement(Json& list, int64_t from, int64_t to, const std::string& what,
                 const std::string& path) {
    if (to < 0 || to >= int64_t(list.size()))
        Refuse("there is no " + what + " place " + std::to_string(to), path);
    Json moved = list[size_t(from)];
    list.erase(size_t(from));
    list.insert(list.begin() + to, moved);
}

const standalone::InstalledEffect& EffectOf(const Json& effect, const EffectTables& tables,
                                            const std::string& path) {
    if (!effect.contains("effect") || !effect["effect"].is_string())
        Refuse("the effect has no name", path);
    const auto* fx = tables.find(effect["effect"].get<std::string>());
    if (!fx) Refuse("no effect named \"" + effect["effect"].get<std::string>() + "\"", path);
    return *fx;
}

double LayerTime(const Json& layer, const Json& op) {
    if (!op.contains("time") || !op["time"].is_number()) Refuse("the edit needs \"time\", seconds");
    const double start = layer.contains("startTime") && layer["startTime"].is_number()
                             ? layer["startTime"].get<double>()
                             : 0.0;
    return op["time"].get<double>() - start;
}

bool Keyed(const Json& value) {
    return value.is_object() && value.contains("keys");
}

// The parameter's slot in the effect's "params" and its key there.
struct ParamSlot {
    Json* params;
    std::string key;
    std::string path;
};

ParamSlot SlotOf(Place& p, const Json& op, const EffectTables& tables) {
    const auto& fx = EffectOf(*p.effect, tables, p.path);
    const int64_t index = IndexField(op, "param");
    if (index < 1 || index >= int64_t(fx.params.size()))
        Refuse("\"" + fx.displayName + "\" has no parameter " + std::to_string(index), p.path);
    if (!p.effect->contains("params")) (*p.effect)["params"] = Json::object();
    Json& params = (*p.effect)["params"];
    if (!params.is_object()) Refuse("\"params\" is not an object", p.path + ".params");
    const std::string key = ParamKeyIn(params, fx, int32_t(index));
    return {&params, key, p.path + ".params." + key};
}

Json& NeedValue(const Json& op) {
    if (!op.contains("value")) Refuse("the edit needs \"value\"");
    return const_cast<Json&>(op["value"]);
}

// Sets (or replaces) the key at `t` of a keyed parameter, keeping the keys in time order.
void SetKeyAt(Json& keyed, double t, const Json& value) {
    Json& keys = keyed["keys"];
    for (Json& k : keys)
        if (k.contains("t") && k["t"].is_number() &&
            std::abs(k["t"].get<double>() - t) < kSameTime) {
            k["v"] = value;
            return;
        }
    auto at = keys.begin();
    while (at != keys.end() && (*at).contains("t") && (*at)["t"].is_number() &&
           (*at)["t"].get<double>() < t)
        ++at;
    keys.insert(at, Json{{"t", t}, {"v", value}});
}

void SetParam(Json& doc, const Json& op, const EffectTables& tables) {
    Place p = EffectPlace(doc, op);
    ParamSlot s = SlotOf(p, op, tables);
    const Json& value = NeedValue(op);
    Json& params = *s.params;
    // A keyed parameter takes the change as a key at the current time, as a host does when
    // the stopwatch is on.
    if (params.contains(s.key) && Keyed(params[s.key])) {
        SetKeyAt(params[s.key], LayerTime(*p.layer, op), value);
        return;
    }
    params[s.key] = value;
}

void SetKey(Json& doc, const Json& op, const EffectTables& tables) {
    Place p = EffectPlace(doc, op);
    ParamSlot s = SlotOf(p, op, tables);
    const Json& value = NeedValue(op);
    Json& params = *s.params;
    const double t = LayerTime(*p.layer, op);
    if (!params.contains(s.key) || !Keyed(params[s.key]))
        params[s.key] = Json{{"keys", Json::array()}};
    SetKeyAt(params[s.key], t, value);
}

void RemoveKey(Json& doc, const Json& op, const EffectTables& tables) {
    Place p = EffectPlace(doc, op);
    ParamSlot s = SlotOf(p, op, tables);
    Json& params = *s.params;
    const double t = LayerTime(*p.layer, op);
    if (!params.contains(s.key) || !Keyed(params[s.key]))
        Refuse("the parameter has no keys", s.path);
    Json& keys = params[s.key]["keys"];
    for (size_t i = 0; i < keys.size(); ++i) {
        const Json& k = keys[i];
        if (!k.contains("t") || !k["t"].is_number() ||
            std::abs(k["t"].get<double>() - t) >= kSameTime)
            continue;
        const Json last = k.contains("v") ? k["v"] : Json();
        keys.erase(i);
        // The last key gone: the parameter holds that key's value.
        if (keys.empty()) params[s.key] = last;
        return;
    }
    Refuse("the parameter has no key at " + std::to_string(op["time"].get<double>()) + " s",
           s.path);
}

void AddEffect(Json& doc, const Json& op, const EffectTables& tables) {
    Place p = LayerPlace(doc, op);
    if (!op.contains("name") || !op["name"].is_string()) Refuse("the edit needs \"name\"");
    const auto* fx = tables.find(op["name"].get<std::string>());
    if (!fx) Refuse("no effect named \"" + op["name"].get<std::string>() + "\"");
    Json& effects = ListOf(*p.layer, "effects", p.path);
    const int64_t at = op.contains("at") ? IndexField(op, "at") : int64_t(effects.size());
    if (at < 0 || at > int64_t(effects.size()))
        Refuse("there is no effect place " + std::to_string(at));
    effects.insert(effects.begin() + at, Json{{"effect", fx->displayName}});
}

void RemoveEffect(Json& doc, const Json& op, const EffectTables&) {
    Place p = EffectPlace(doc, op);
    (*p.layer)["effects"].erase(size_t(op["effect"].get<int64_t>()));
}

void MoveEffect(Json& doc, const Json& op, const EffectTables&) {
    Place p = EffectPlace(doc, op);
    MoveElement((*p.layer)["effects"], op["effect"].get<int64_t>(), IndexField(op, "to"), "effect",
                p.path);
}

void SetEffectEnabled(Json& doc, const Json& op, const EffectTables&) {
    Place p = EffectPlace(doc, op);
    if (!op.contains("enabled") || !op["enabled"].is_boolean())
        Refuse("the edit needs \"enabled\"");
    if (op["enabled"].get<bool>())
        p.effect->erase("enabled");
    else
        (*p.effect)["enabled"] = false;
}

// The OBJ source's "Import OBJ" dialog as answered in the page: the effect's one Import OBJ click
// in its "dialogs", replacing an earlier one, so that the document imports the file on loading.
void ImportObj(Json& doc, const Json& op, const EffectTables& tables) {
    Place p = EffectPlace(doc, op);
    const std::string name = p.effect->value("effect", std::string());
    const auto* fx = tables.find(name);
    if (!fx || !standalone::OpensImportObjDialog(*fx))
        Refuse("\"" + name + "\" has no Import OBJ dialog", p.path);
    if (!op.contains("file") || !op["file"].is_string() || op["file"].get<std::string>().empty())
        Refuse("the edit needs \"file\": the OBJ file");
    Json answer{{"file", op["file"]}};
    for (const char* flag : {"sequence", "alphabetical", "relative"}) {
        if (!op.contains(flag)) continue;
        if (!op[flag].is_boolean()) Refuse(std::string("\"") + flag + "\" is true or false");
        if (op[flag].get<bool>()) answer[flag] = true;
    }
    Json kept = Json::array();
    if (p.effect->contains("dialogs") && (*p.effect)["dialogs"].is_array())
        for (const Json& d : (*p.effect)["dialogs"])
            if (!(d.is_object() && d.value("click", std::string()) == "Import OBJ"))
                kept.push_back(d);
    kept.push_back(Json{{"click", "Import OBJ"}, {"answer", answer}});
    (*p.effect)["dialogs"] = kept;
}

// A name filter's text dialog answered in the page: the click and its answer go into the
// effect's "dialogs", after those before it, so the effect reads the answer as it does a
// host's dialog (an empty answer is a Cancel; a stored text with a quote opens no dialog).
void AnswerTextDialog(Json& doc, const Json& op, const EffectTables& tables) {
    Place p = EffectPlace(doc, op);
    const auto& fx = EffectOf(*p.effect, tables, p.path);
    const int64_t index = IndexField(op, "param");
    if (index < 1 || index >= int64_t(fx.params.size()) ||
        !standalone::IsTextParam(fx.params[size_t(index)]))
        Refuse("\"" + fx.displayName + "\" has no name filter " + std::to_string(index), p.path);
    if (!op.contains("answer") || !op["answer"].is_string())
        Refuse("the edit needs \"answer\", the dialog's text");
    ListOf(*p.effect, "dialogs", p.path)
        .push_back(Json{{"click", standalone::ParamDocumentKey(fx, fx.params[size_t(index)])},
                        {"answer", op["answer"]}});
}

// A new layer of a kind that needs no file: solid, null, camera or light.
void AddLayer(Json& doc, const Json& op, const EffectTables&) {
    Place p = CompPlace(doc, op);
    const std::string kind = op.value("kind", std::string("solid"));
    Json layer;
    layer["name"] = op.contains("name") ? op["name"] : Json(kind == "solid" ? "Solid" : kind);
    if (kind == "solid")
        layer["solid"] = Json{{"color", op.value("color", std::string("#000000"))}};
    else if (kind == "null" || kind == "camera" || kind == "light")
        layer[kind] = Json::object();
    else
        Refuse("a layer of kind \"" + kind + "\" is not made here (solid, null, camera, light)");
    Json& layers = ListOf(*p.comp, "layers", p.path);
    const int64_t at = op.contains("at") ? IndexField(op, "at") : 0;
    if (at < 0 || at > int64_t(layers.size()))
        Refuse("there is no layer place " + std::to_string(at));
    layers.insert(layers.begin() + at, layer);
}

void RemoveLayer(Json& doc, const Json& op, const EffectTables&) {
    Place p = LayerPlace(doc, op);
    (*p.comp)["layers"].erase(size_t(op["layer"].get<int64_t>()));
}

void MoveLayer(Json& doc, const Json& op, const EffectTables&) {
    Place p = LayerPlace(doc, op);
    MoveElement((*p.comp)["layers"], op["layer"].get<int64_t>(), IndexField(op, "to"), "layer",
                p.path);
}

// Sets or removes (null) the named members of an object, only those allowed.
void SetMembers(Json& object, const Json& op, const std::vector<std::string>& allowed,
                const std::string& path) {
    if (!op.contains("set") || !op["set"].is_object()) Refuse("the edit needs \"set\", an object");
    for (const auto& [key, value] : op["set"].items()) {
        if (std::find(allowed.begin(), allowed.end(), key) == allowed.end())
            Refuse("\"" + key + "\" cannot be set here", path);
        if (value.is_null())
            object.erase(key);
        else
            object[key] = value;
    }
}

void SetLayer(Json& doc, const Json& op, const EffectTables&) {
    Place p = LayerPlace(doc, op);
    SetMembers(*p.layer, op,
               {"name", "enabled", "solo", "threeD", "inPoint", "outPoint", "startTime"}, p.path);
    // A solid's colour lives in its body.
    if (op["set"].contains("color") || op["set"].contains("solidColor"))
        Refuse("a solid's colour is set with \"setSolid\"", p.path);
}

void SetSolid(Json& doc, const Json& op, const EffectTables&) {
    Place p = LayerPlace(doc, op);
    if (!p.layer->contains("solid")) Refuse("the layer is not a solid", p.path);
    SetMembers((*p.layer)["solid"], op, {"color", "width", "height"}, p.path + ".solid");
}

void SetComp(Json& doc, const Json& op, const EffectTables&) {
    Place p = CompPlace(doc, op);
    SetMembers(*p.comp, op,
               {"name", "width", "height", "fps", "duration", "workArea", "background",
                "pixelAspect", "shutterAngle", "shutterPhase"},
               p.path);
}

using EditFunction = void (*)(Json&, const Json&, const EffectTables&);

const std::map<std::string, EditFunction>& Edits() {
    static const std::map<std::string, EditFunction> edits = {
        {"setParam", SetParam},
        {"setKey", SetKey},
        {"removeKey", RemoveKey},
        {"addEffect", AddEffect},
        {"removeEffect", RemoveEffect},
        {"moveEffect", MoveEffect},
        {"setEffectEnabled", SetEffectEnabled},
        {"importObj", ImportObj},
        {"answerTextDialog", AnswerTextDialog},
        {"addLayer", AddLayer},
        {"removeLayer", RemoveLayer},
        {"moveLayer", MoveLayer},
        {"setLayer", SetLayer},
        {"setSolid", SetSolid},
        {"setComp", SetComp}};
    return edits;
}

}  // namespace

std::string ParamKeyIn(const Json& params, const standalone::InstalledEffect& fx, int32_t index) {
    if (params.is_object())
        for (const auto& [key, value] : params.items()) {
            const ParamSpec* spec = standalone::docread::FindParam(fx, key);
            if (spec && spec->index == index) return key;
        }
    return standalone::ParamDocumentKey(fx, fx.params[size_t(index)]);
}

void ApplyEdit(Json& doc, const Json& op, const EffectTables& tables) {
    if (!op.is_object() || !op.contains("op") || !op["op"].is_string())
        Refuse("an edit is an object with \"op\"");
    const auto it = Edits().find(op["op"].get<std::string>());
    if (it == Edits().end()) {
        std::string known;
        for (const auto& [name, f] : Edits()) known += (known.empty() ? "" : ", ") + name;
        Refuse("no edit \"" + op["op"].get<std::string>() + "\"; the edits are " + known);
    }
    if (!doc.is_object()) Refuse("the document is not an object; fix it as text first", "$");
    it->second(doc, op, tables);
}

Json EmptyDocument() {
    return Json{{"tavrin", 1},
                {"comps", Json::array({Json{{"name", "Comp 1"},
                                            {"width", 1280},
                                            {"height", 720},
                                            {"fps", 30},
                                            {"duration", 2},
                                            {"layers", Json::array()}}})}};
}

}  // namespace tv::studio
