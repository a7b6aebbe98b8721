#include "studio/SessionModel.h"

#include <fmt/format.h>

#include <algorithm>

#include "standalone/DocumentWriter.h"

namespace tv::studio {

namespace {

const char* const kKinds[] = {"solid", "null",  "camera", "light",  "image",
                              "obj",   "audio", "text",   "precomp"};

bool HasValue(PF_ParamType type) {
    return type != PF_Param_GROUP_START && type != PF_Param_GROUP_END && type != PF_Param_BUTTON;
}

}  // namespace

std::string HexColor(const float rgb[3]) {
    auto byte = [](float f) { return int(std::clamp(f, 0.0f, 1.0f) * 255.0f + 0.5f); };
    return fmt::format("#{:02x}{:02x}{:02x}", byte(rgb[0]), byte(rgb[1]), byte(rgb[2]));
}

SessionModel::SessionModel(standalone::EmbeddedHost& host) : host_(host) {
    Json comps = Json::array();
    const auto& project = host.project();
    for (size_t c = 0; c < project.comps.size(); ++c) {
        const standalone::Comp& comp = *project.comps[c];
        const auto [workFirst, workLast] = comp.workAreaFrames();
        Json layers = Json::array();
        for (size_t l = 0; l < comp.layers.size(); ++l) {
            const standalone::Layer& layer = *comp.layers[l];
            Json effects = Json::array();
            for (size_t e = 0; e < layer.effects.size(); ++e) {
                const standalone::EffectInstance& instance = *layer.effects[e];
                const auto* fx = host.installedEffect(instance.key);
                Json params = Json::array();
                for (const ParamSpec& spec : fx->params) {
                    if (spec.index == 0 || spec.type == PF_Param_GROUP_END) continue;
                    const standalone::ParamState& state = instance.params[size_t(spec.index)];
                    Json p;
                    p["index"] = spec.index;
                    p["hidden"] = state.hidden;
                    const std::string name = host.paramName(instance.uid, spec.index);
                    if (!name.empty() && name != spec.name) p["name"] = name;
                    if (spec.type == PF_Param_BUTTON) {
                        const std::string label = host.paramLabel(instance.uid, spec.index);
                        if (!label.empty()) p["label"] = label;
                    }
                    if (HasValue(spec.type)) {
                        p["value"] = standalone::ParamUserValue(host, spec, state.value, comp);
                        if (!state.keys.empty()) {
                            Json times = Json::array();
                            for (const standalone::Key& k : state.keys)
                                times.push_back(k.t + layer.startTime);
                            p["keys"] = times;
                            keyed_.push_back({Json::json_pointer(fmt::format(
                                                  "/comps/{}/layers/{}/effects/{}/params/{}/value",
                                                  c, l, e, params.size())),
                                              spec.type, &spec, &comp, state.keys,
                                              layer.startTime});
                        }
                    }
                    params.push_back(p);
                }
                effects.push_back({{"name", fx->displayName},
                                   {"matchName", fx->matchName},
                                   {"enabled", instance.active},
                                   {"params", params}});
            }
            Json lj{{"name", layer.name},
                    {"id", layer.id},
                    {"kind", kKinds[size_t(layer.kind)]},
                    {"enabled", layer.enabled},
                    {"solo", layer.solo},
                    {"threeD", layer.is3D},
                    {"inPoint", layer.inPoint},
                    {"outPoint", layer.outPoint},
                    {"startTime", layer.startTime}};
            if (layer.kind == standalone::LayerKind::Solid)
                lj["color"] = HexColor(layer.solidColor);
            if (layer.kind == standalone::LayerKind::Precomp)
                if (const auto* source = host.compByUid(layer.sourceComp))
                    lj["comp"] = source->name;
            lj["effects"] = effects;
            layers.push_back(lj);
        }
        comps.push_back({{"name", comp.name},
                         {"width", comp.width},
                         {"height", comp.height},
                         {"fpsNum", comp.fpsNum},
                         {"fpsDen", comp.fpsDen},
                         {"duration", comp.duration},
                         {"frames", comp.frameCount()},
                         {"workArea", {workFirst, workLast}},
                         {"background", HexColor(comp.background)},
                         {"backgroundAlpha", comp.backgroundAlpha},
                         {"layers", layers}});
    }
    json_ = {{"comps", comps}};
}

Json SessionModel::at(double seconds) const {
    Json j = json_;
    for (const Keyed& k : keyed_) {
        const PF_ParamDef v = standalone::NumbersToParam(
            k.type, standalone::Evaluate(k.keys, seconds - k.startTime, 4));
        j[k.where] = standalone::ParamUserValue(host_, *k.spec, v, *k.comp);
    }
    return j;
}

}  // namespace tv::studio
