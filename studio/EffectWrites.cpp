#include "studio/EffectWrites.h"

#include <algorithm>

#include "standalone/DocumentWriter.h"
#include "studio/DocumentEdits.h"

namespace tv::studio {

namespace {

using standalone::EffectInstance;

// The parameters of an instance in user units, index 0 left null.
std::vector<Json> UserValues(standalone::EmbeddedHost& host, const EffectInstance& instance,
                             const standalone::Comp& comp) {
    const auto* fx = host.installedEffect(instance.key);
    std::vector<Json> values(fx->params.size());
    for (const ParamSpec& spec : fx->params)
        if (spec.index > 0)
            values[size_t(spec.index)] = standalone::ParamUserValue(
                host, spec, instance.params[size_t(spec.index)].value, comp);
    return values;
}

bool Settable(const ParamSpec& spec) {
    return spec.index > 0 && spec.type != PF_Param_GROUP_START && spec.type != PF_Param_GROUP_END &&
           spec.type != PF_Param_BUTTON;
}

// A new instance as a document writes it: its name and the values that differ from defaults.
Json NewEffectJson(standalone::EmbeddedHost& host, const EffectInstance& instance,
                   const standalone::Comp& comp) {
    const auto* fx = host.installedEffect(instance.key);
    Json j{{"effect", fx->displayName}};
    Json params = Json::object();
    const std::vector<Json> values = UserValues(host, instance, comp);
    for (const ParamSpec& spec : fx->params) {
        if (!Settable(spec)) continue;
        PF_ParamDef def = DefaultParamValue(spec);
        def.param_type = spec.type;
        if (values[size_t(spec.index)] != standalone::ParamUserValue(host, spec, def, comp))
            params[standalone::ParamDocumentKey(*fx, spec)] = values[size_t(spec.index)];
    }
    if (!params.empty()) j["params"] = params;
    return j;
}

bool Keyed(const Json& v) {
    return v.is_object() && v.contains("keys");
}

}  // namespace

bool TakeEffectWrites(Json& doc, standalone::EmbeddedHost& host, const Json& op) {
    const size_t c = op["comp"].get<size_t>(), l = op["layer"].get<size_t>();
    const size_t e = op["effect"].get<size_t>();
    const int32_t index = op["param"].get<int32_t>();
    auto& comps = host.project().comps;
    if (c >= comps.size() || l >= comps[c]->layers.size()) return false;
    standalone::Comp& comp = *comps[c];
    standalone::Layer& layer = *comp.layers[l];
    Json& effectsJson = doc["comps"][c]["layers"][l]["effects"];
    const size_t documented = effectsJson.size();
    if (layer.effects.size() < documented) return false;
    // The document's instances are the first made (the smallest uids), in its order; an effect
    // the loading already added (a Toolkit menu the document sets) came later.
    std::vector<uint64_t> uids;
    for (const auto& instance : layer.effects) uids.push_back(instance->uid);
    std::sort(uids.begin(), uids.end());
    uids.resize(documented);
    std::vector<EffectInstance*> fromDocument;
    for (const auto& instance : layer.effects)
        if (std::binary_search(uids.begin(), uids.end(), instance->uid))
            fromDocument.push_back(instance.get());
    if (e >= fromDocument.size()) return false;
    EffectInstance& instance = *fromDocument[e];
    const auto* fx = host.installedEffect(instance.key);
    if (index < 1 || size_t(index) >= fx->params.size()) return false;

    const std::vector<Json> before = UserValues(host, instance, comp);
    const double seconds = op.value("time", 0.0) - layer.startTime;
    const A_Time time{int32_t(std::llround(seconds * comp.timeScale())), comp.timeScale()};
    PF_UserChangedParamExtra extra;
    extra.param_index = index;
    host.callEffect(instance, PF_Cmd_USER_CHANGED_PARAM, time, &extra);
    host.runIdleTasks();
    const std::vector<Json> after = UserValues(host, instance, comp);

    bool changed = false;
    Json& effectJson = effectsJson[e];
    if (!effectJson.contains("params")) effectJson["params"] = Json::object();
    Json& params = effectJson["params"];
    for (const ParamSpec& spec : fx->params) {
        if (!Settable(spec)) continue;
        const size_t i = size_t(spec.index);
        const bool edited = spec.index == index;
        // Another parameter the effect wrote; or the edited one when it no longer holds what
        // the page sent (a menu back at "None").
        if (edited ? after[i] == op["value"] : after[i] == before[i]) continue;
        const std::string key = ParamKeyIn(params, *fx, spec.index);
        if (params.contains(key) && Keyed(params[key])) continue;
        PF_ParamDef def = DefaultParamValue(spec);
        def.param_type = spec.type;
        if (after[i] == standalone::ParamUserValue(host, spec, def, comp))
            params.erase(key);
        else
            params[key] = after[i];
        changed = true;
    }
    if (params.empty()) effectJson.erase("params");

    // Effects added to the layer (the Toolkit's choice), in the host's order.
    if (layer.effects.size() > documented) {
        Json effects = Json::array();
        size_t next = 0;
        for (const auto& each : layer.effects)
            if (std::binary_search(uids.begin(), uids.end(), each->uid))
                effects.push_back(effectsJson[next++]);
            else
                effects.push_back(NewEffectJson(host, *each, comp));
        effectsJson = effects;
        changed = true;
    }
    return changed;
}

}  // namespace tv::studio
