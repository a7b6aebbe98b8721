#include "cli/InfoCommand.h"
#include "cli/Print.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "cli/JsonOutput.h"
#include "params/DistanceCurve.h"
#include "params/Gradient.h"
#include "standalone/Document.h"
#include "standalone/DocumentText.h"
#include "standalone/ParamText.h"

namespace tv::cli {

namespace {

// A curve by name, or as its factors at a few fractions of the maximum distance.
std::string CurveText(standalone::EmbeddedHost& host, const ParamSpec& spec, const PF_ParamDef& v) {
    const std::vector<uint8_t> bytes =
        v.u.arbData ? host.handleBytes(v.u.arbData) : std::vector<uint8_t>();
    const bool isDefault = spec.arbDefault && bytes == host.handleBytes(spec.arbDefault);
    if (const auto name = standalone::CurveName(bytes))
        return fmt::format("\"{}\"{}", *name, isDefault ? " (default)" : "");
    DistanceCurve curve;
    if (bytes.size() != sizeof curve) return "bad curve data";
    std::memcpy(&curve, bytes.data(), sizeof curve);
    std::string text = "factors";
    for (float t : {0.0f, 0.25f, 0.5f, 0.75f, 1.0f})
        text += fmt::format(" {:.3g} at {:g},", curve.eval(t), t);
    text.pop_back();
    return text;
}

// A gradient's stops: position, colour as #rrggbb, and alpha when not 1.
std::string GradientText(standalone::EmbeddedHost& host, const PF_ParamDef& v) {
    const std::vector<uint8_t> bytes =
        v.u.arbData ? host.handleBytes(v.u.arbData) : std::vector<uint8_t>();
    const auto stops = GetGradientStops(bytes.data(), bytes.size());
    if (stops.empty()) return "gradient with no stops";
    auto byte = [](float f) { return int(std::clamp(f, 0.0f, 1.0f) * 255.0f + 0.5f); };
    std::string text = "gradient";
    for (const GradientStop& g : stops) {
        text += fmt::format(" {:g} #{:02x}{:02x}{:02x}", g.position, byte(g.red), byte(g.green),
                            byte(g.blue));
        if (g.alpha != 1.0f) text += fmt::format(" alpha {:g}", g.alpha);
        text += ",";
    }
    text.pop_back();
    return text;
}

std::string ValueText(standalone::EmbeddedHost& host, const standalone::Comp& comp,
                      standalone::EffectInstance& effect, const ParamSpec& spec,
                      const PF_ParamDef& v) {
    switch (spec.type) {
        case PF_Param_FLOAT_SLIDER:
            return fmt::format("{}", v.u.floatValue);
        case PF_Param_SLIDER:
            return fmt::format("{}", v.u.slider);
        case PF_Param_FIX_SLIDER:
            return fmt::format("{}", FixedToDouble(v.u.fixed));
        case PF_Param_ANGLE:
            return fmt::format("{} deg", FixedToDouble(v.u.fixed));
        case PF_Param_CHECKBOX:
            return v.u.checkbox ? "on" : "off";
        case PF_Param_COLOR:
            return fmt::format("#{:02x}{:02x}{:02x}", v.u.color.red, v.u.color.green,
                               v.u.color.blue);
        case PF_Param_POINT:
            return fmt::format("[{}, {}]", FixedToDouble(v.u.point[0]),
                               FixedToDouble(v.u.point[1]));
        case PF_Param_POPUP:
            return fmt::format("{} \"{}\"", v.u.popup, PopupEntry(spec, v.u.popup));
        case PF_Param_LAYER:
            for (const auto& l : comp.layers)
                if (v.u.layerId && l->id == uint32_t(v.u.layerId))
                    return fmt::format("\"{}\" (layer id {})", l->name, v.u.layerId);
            return v.u.layerId ? fmt::format("layer id {}", v.u.layerId) : "none";
        case PF_Param_ARBITRARY_DATA: {
            if (standalone::IsCurveParam(spec)) return CurveText(host, spec, v);
            if (standalone::IsGradientParam(spec)) return GradientText(host, v);
            if (!standalone::IsTextParam(spec)) return v.u.arbData ? "data" : "default";
            const auto text = v.u.arbData
                                  ? standalone::ReadTextRecord(host.handleBytes(v.u.arbData))
                                  : std::optional<std::string>(std::string());
            if (!text) return "bad text record";
            if (!text->empty()) return fmt::format("\"{}\"", *text);
            // An empty name means all: shown as the effect's control shows it ("<All Masks>").
            const std::string shown = host.drawParam(effect, spec.index, A_Time{0, 1});
            return shown.empty() ? "\"\"" : shown;
        }
        default:
            return "";
    }
}

}  // namespace

int RunInfoCommand(const std::string& document, bool json) {
    try {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentFile(document, host);
        static const char* const kKinds[] = {"solid", "null",  "camera", "light",  "image",
                                             "obj",   "audio", "text",   "precomp"};
        Json comps = Json::array();
        for (const auto& c : host.project().comps) {
            const int64_t frameCount = c->frameCount();
            const auto [workFirst, workLast] = c->workAreaFrames();
            if (!json) {
                Print("comp \"{}\": {}x{}, {}/{} fps, {} s\n", c->name, c->width, c->height,
                           c->fpsNum, c->fpsDen, c->duration);
                Print("  frames 0-{} ({} frames); work area {}-{} ({} frames)\n",
                           frameCount - 1, frameCount, workFirst, workLast,
                           workLast - workFirst + 1);
            }
            Json layers = Json::array();
            for (const auto& l : c->layers) {
                const standalone::Layer* parent = nullptr;
                for (const auto& p : c->layers)
                    if (l->parent && p->id == l->parent) parent = p.get();
                if (!json)
                    Print("  layer {} \"{}\": {}{}{}, {} to {} s{}{}\n", l->id, l->name,
                          kKinds[size_t(l->kind)], l->is3D ? " 3D" : "",
                          parent ? " parent \"" + parent->name + "\"" : std::string(), l->inPoint,
                          l->outPoint,
                          l->masks.empty() ? "" : fmt::format(", {} masks", l->masks.size()),
                          l->enabled ? "" : " (off)");
                Json effects = Json::array();
                for (const auto& e : l->effects) {
                    const auto* fx = host.installedEffect(e->key);
                    if (!json)
                        Print("    effect \"{}\"{}\n", fx->displayName, e->active ? "" : " (off)");
                    Json params = Json::array();
                    for (const ParamSpec& spec : fx->params) {
                        if (spec.index == 0 || spec.type == PF_Param_GROUP_END) continue;
                        const auto& state = e->params[size_t(spec.index)];
                        const std::string value = ValueText(host, *c, *e, spec, state.value);
                        if (!json)
                            Print("      {:>2} {:<36} {:<22}{}{}\n", spec.index, spec.name, value,
                                  state.keys.empty()
                                      ? ""
                                      : fmt::format("  ({} keys)", state.keys.size()),
                                  state.hidden ? "  (hidden)" : "  (visible)");
                        params.push_back({{"index", spec.index},
                                          {"name", spec.name},
                                          {"kind", standalone::ParamKindName(spec.type)},
                                          {"value", value},
                                          {"keys", state.keys.size()},
                                          {"hidden", bool(state.hidden)}});
                    }
                    effects.push_back({{"name", fx->displayName},
                                       {"matchName", fx->matchName},
                                       {"active", bool(e->active)},
                                       {"params", params}});
                }
                layers.push_back({{"id", l->id},
                                  {"name", l->name},
                                  {"kind", kKinds[size_t(l->kind)]},
                                  {"is3D", bool(l->is3D)},
                                  {"parent", parent ? Json(parent->name) : Json(nullptr)},
                                  {"inPoint", l->inPoint},
                                  {"outPoint", l->outPoint},
                                  {"masks", l->masks.size()},
                                  {"enabled", bool(l->enabled)},
                                  {"effects", effects}});
            }
            comps.push_back(
                {{"name", c->name},
                 {"width", c->width},
                 {"height", c->height},
                 {"fpsNum", c->fpsNum},
                 {"fpsDen", c->fpsDen},
                 {"duration", c->duration},
                 {"frames", {{"first", 0}, {"last", frameCount - 1}, {"count", frameCount}}},
                 {"workArea",
                  {{"first", workFirst}, {"last", workLast}, {"count", workLast - workFirst + 1}}},
                 {"layers", layers}});
        }
        if (json)
            PrintJson({{"command", "info"},
                       {"ok", true},
                       {"document", document},
                       {"comps", comps},
                       {"exitCode", 0}});
        return 0;
    } catch (const std::exception& e) {
        Print(stderr, "{}\n", e.what());
        if (json) PrintJson(JsonFailure("info", e.what(), 2));
        return 2;
    }
}

}  // namespace tv::cli
