#include "standalone/DocumentWriter.h"

#include "params/Gradient.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

#include "params/DistanceCurve.h"
#include "standalone/DocumentBase64.h"
#include "standalone/DocumentText.h"
#include "standalone/Transform.h"
#include "standalone/WholeFile.h"

namespace tv::standalone {

using Json = nlohmann::ordered_json;

namespace {

struct Writer {
    EmbeddedHost& host;
    std::filesystem::path base;  // the new document's folder, absolute

    std::string relative(const std::string& resolved) const {
        const auto rel = std::filesystem::path(resolved).lexically_relative(base);
        return rel.empty() ? resolved : rel.generic_string();
    }
};

Json Numbers(const std::array<double, 4>& v, int n) {
    if (n == 1) return v[0];
    Json a = Json::array();
    for (int i = 0; i < n; ++i) a.push_back(v[size_t(i)]);
    return a;
}

Json Color(const float c[3]) {
    return Json::array({c[0], c[1], c[2]});
}

const char* InterpName(Interp i) {
    return i == Interp::Hold ? "hold" : i == Interp::Bezier ? "bezier" : "linear";
}

// The timing half of a key; only what differs from a plain linear key.
Json KeyTiming(const Key& k) {
    Json j;
    j["t"] = k.t;
    if (k.interp != Interp::Linear) j["interp"] = InterpName(k.interp);
    const Key plain;
    if (k.speedIn != plain.speedIn) j["speedIn"] = k.speedIn;
    if (k.influenceIn != plain.influenceIn) j["influenceIn"] = k.influenceIn * 100.0;
    if (k.speedOut != plain.speedOut) j["speedOut"] = k.speedOut;
    if (k.influenceOut != plain.influenceOut) j["influenceOut"] = k.influenceOut * 100.0;
    return j;
}

Json Animated(const AnimatedValue& a, int n) {
    if (a.keys.empty()) return Numbers(a.value, n);
    Json keys = Json::array();
    for (const Key& k : a.keys) {
        Json j = KeyTiming(k);
        j["v"] = Numbers(k.v, n);
        keys.push_back(j);
    }
    return Json{{"keys", keys}};
}

// Occurrence-qualified display name of a parameter: "Name", or "Name#2" for the second of a
// repeated name; "#index" when the name is empty.
std::string ParamKey(const InstalledEffect& fx, const ParamSpec& spec) {
    if (!*spec.name) return fmt::format("#{}", spec.index);
    int occurrence = 0;
    for (const ParamSpec& s : fx.params) {
        if (s.index == 0 || std::string_view(s.name) != spec.name) continue;
        ++occurrence;
        if (s.index == spec.index) break;
    }
    return occurrence > 1 ? fmt::format("{}#{}", spec.name, occurrence) : std::string(spec.name);
}

bool SameValue(const ParamSpec& spec, const PF_ParamDef& a, const PF_ParamDef& b) {
    switch (spec.type) {
        case PF_Param_FLOAT_SLIDER:
            return a.u.floatValue == b.u.floatValue;
        case PF_Param_COLOR:
            return a.u.color.red == b.u.color.red && a.u.color.green == b.u.color.green &&
                   a.u.color.blue == b.u.color.blue;
        case PF_Param_POINT:
            return a.u.point[0] == b.u.point[0] && a.u.point[1] == b.u.point[1];
        case PF_Param_ARBITRARY_DATA:
            return a.u.arbData == b.u.arbData;
        default:
            return a.u.slider == b.u.slider;  // the int32 members share storage
    }
}

Json ParamValue(const Writer& w, const ParamSpec& spec, const PF_ParamDef& v, const Comp& comp) {
    switch (spec.type) {
        case PF_Param_FLOAT_SLIDER:
            return v.u.floatValue;
        case PF_Param_SLIDER:
            return v.u.slider;
        case PF_Param_FIX_SLIDER:
        case PF_Param_ANGLE:
            return FixedToDouble(v.u.fixed);
        case PF_Param_CHECKBOX:
            return v.u.checkbox != 0;
        case PF_Param_COLOR:
            return fmt::format("#{:02x}{:02x}{:02x}", v.u.color.red, v.u.color.green,
                               v.u.color.blue);
        case PF_Param_POINT:
            return Json::array({FixedToDouble(v.u.point[0]), FixedToDouble(v.u.point[1])});
        case PF_Param_POPUP: {
            // By text unless an earlier entry has the same text.
            const std::string_view entry = PopupEntry(spec, v.u.popup);
            for (int32_t i = 1; i < v.u.popup; ++i)
                if (PopupEntry(spec, i) == entry) return v.u.popup;
            return std::string(entry);
        }
        case PF_Param_LAYER: {
            if (v.u.layerId == 0) return nullptr;
            const Layer* l = LayerById(comp, uint32_t(v.u.layerId));
            return l ? Json(l->name) : Json(nullptr);
        }
        case PF_Param_ARBITRARY_DATA: {
            const std::vector<uint8_t> bytes = w.host.handleBytes(v.u.arbData);
            if (IsTextParam(spec)) {
                const auto text = ReadTextRecord(bytes);
                return text ? Json(*text) : Json(nullptr);
            }
            if (IsGradientParam(spec)) {
                Json stops = Json::array();
                for (const GradientStop& g : GetGradientStops(bytes.data(), bytes.size()))
                    stops.push_back({{"position", g.position},
                                     {"color", {g.red, g.green, g.blue}},
                                     {"alpha", g.alpha}});
                return stops;
            }
            if (const auto name = CurveName(bytes)) return *name;
            DistanceCurve curve;
            if (bytes.size() != sizeof curve) return nullptr;
            std::memcpy(&curve, bytes.data(), sizeof curve);
            Json samples = Json::array();
            for (float s : curve.samples) samples.push_back(s);
            return Json{{"samples", samples}};
        }
        default:
            return nullptr;
    }
}

Json Effect(const Writer& w, EffectInstance& instance, const Comp& comp) {
    const InstalledEffect* fx = w.host.installedEffect(instance.key);
    Json j;
    j["effect"] = fx->displayName;
    if (!instance.active) j["enabled"] = false;
    Json params = Json::object();
    for (const ParamSpec& spec : fx->params) {
        if (spec.index == 0 || spec.type == PF_Param_GROUP_START ||
            spec.type == PF_Param_GROUP_END || spec.type == PF_Param_BUTTON)
            continue;
        const ParamState& state = instance.params[size_t(spec.index)];
        if (spec.type == PF_Param_ARBITRARY_DATA &&
            ((!IsCurveParam(spec) && !IsTextParam(spec) && !IsGradientParam(spec)) ||
             state.value.u.arbData == 0))
            continue;  // curves and texts are written; other data stays at its default
        if (spec.type == PF_Param_ARBITRARY_DATA && spec.arbDefault &&
            w.host.handleBytes(state.value.u.arbData) == w.host.handleBytes(spec.arbDefault))
            continue;  // a curve still at the default the effect made for it
        if (state.keys.empty()) {
            if (spec.type != PF_Param_ARBITRARY_DATA &&
                SameValue(spec, state.value, DefaultParamValue(spec)))
                continue;
            params[ParamKey(*fx, spec)] = ParamValue(w, spec, state.value, comp);
            continue;
        }
        Json keys = Json::array();
        for (const Key& k : state.keys) {
            Json kj = KeyTiming(k);
            if (!Interpolates(spec.type)) kj.erase("interp");  // they always step
            kj["v"] = ParamValue(w, spec, NumbersToParam(spec.type, k.v), comp);
            keys.push_back(kj);
        }
        params[ParamKey(*fx, spec)] = Json{{"keys", keys}};
    }
    if (!params.empty()) j["params"] = params;
    if (instance.sequenceData) {
        w.host.callEffect(instance, PF_Cmd_SEQUENCE_FLATTEN, A_Time{0, 1}, nullptr);
        j["sequence"] = EncodeBase64(w.host.handleBytes(instance.sequenceData));
    }
    return j;
}

Json MaskPath(const std::vector<MaskVertex>& vertices) {
    Json path = Json::array();
    for (const MaskVertex& v : vertices) {
        if (v.inX == 0 && v.inY == 0 && v.outX == 0 && v.outY == 0) {
            path.push_back(Json::array({v.x, v.y}));
            continue;
        }
        path.push_back(Json{{"point", Json::array({v.x, v.y})},
                            {"in", Json::array({v.inX, v.inY})},
                            {"out", Json::array({v.outX, v.outY})}});
    }
    return path;
}

Json Masks(const std::vector<Mask>& masks) {
    Json out = Json::array();
    for (const Mask& m : masks) {
        Json j;
        j["name"] = m.name;
        j["color"] = Color(m.color);
        j["opacity"] = Animated(m.opacity, 1);
        j["inverted"] = m.inverted;
        j["closed"] = m.closed;
        if (m.keys.empty()) {
            j["path"] = MaskPath(m.vertices);
        } else {
            Json keys = Json::array();
            for (const MaskPathKey& k : m.keys) {
                Json kj{{"t", k.t}};
                if (k.interp != Interp::Linear) kj["interp"] = InterpName(k.interp);
                kj["v"] = MaskPath(k.vertices);
                keys.push_back(kj);
            }
            j["path"] = Json{{"keys", keys}};
        }
        out.push_back(j);
    }
    return out;
}

Json TransformJson(const Layer& l) {
    const Transform2D& t = l.transform;
    Json j;
    if (l.kind != LayerKind::Camera && l.kind != LayerKind::Light) {
        const int n = l.is3D ? 3 : 2;
        j["anchorPoint"] = Animated(t.anchor, n);
        j["position"] = Animated(t.position, n);
        j["scale"] = Animated(t.scale, n);
    }
    j["zRotation"] = Animated(t.rotation, 1);
    if (l.is3D) {
        j["xRotation"] = Animated(t.rotationX, 1);
        j["yRotation"] = Animated(t.rotationY, 1);
        j["orientation"] = Animated(t.orientation, 3);
    }
    if (l.kind != LayerKind::Camera && l.kind != LayerKind::Light)
        j["opacity"] = Animated(t.opacity, 1);
    if (!l.is3D) {  // 2D layers know it as plain rotation
        j["rotation"] = j["zRotation"];
        j.erase("zRotation");
    }
    return j;
}

// The body of each kind of layer, under the kind's key.
Json SolidJson(const Layer& l) {
    return Json{{"color", Color(l.solidColor)}, {"width", l.width}, {"height", l.height}};
}

Json ObjJson(const Writer& w, const Layer& l) {
    if (l.objPattern.empty() && l.objFiles.size() > 1) {
        Json files = Json::array();
        for (const std::string& f : l.objFiles) files.push_back(w.relative(f));
        return Json{{"files", files}};
    }
    if (l.objPattern.empty())
        return Json{{"file", w.relative(l.objFiles.empty() ? l.sourceFile : l.objFiles.front())}};
    return Json{{"sequence", w.relative(l.objPattern)}, {"first", l.objFirst}, {"last", l.objLast}};
}

Json TextJson(const Writer& w, const Layer& l) {
    Json t{{"text", l.text}};
    if (!l.sourceFile.empty()) t["font"] = w.relative(l.sourceFile);
    if (!l.fontFamily.empty()) t["family"] = l.fontFamily;
    t["size"] = l.fontSize;
    t["color"] = Color(l.textColor);
    return t;
}

Json PrecompJson(const Writer& w, const Layer& l) {
    const Comp* source = w.host.compByUid(l.sourceComp);
    return Json{{"comp", source ? source->name : std::string()}};
}

Json CameraJson(const Layer& l) {
    const CameraData& c = l.camera;
    Json b;
    if (c.oneNode) b["oneNode"] = true;
    b["zoom"] = Animated(c.zoom, 1);
    b["position"] = Animated(c.position, 3);
    if (!c.oneNode) b["pointOfInterest"] = Animated(c.pointOfInterest, 3);
    b["filmSize"] = c.filmSize;
    if (c.orthographic) b["orthographic"] = true;
    b["depthOfField"] = c.depthOfField;
    b["focusDistance"] = Animated(c.focusDistance, 1);
    b["aperture"] = Animated(c.aperture, 1);
    b["blurLevel"] = Animated(c.blurLevel, 1);
    return b;
}

Json LightJson(const Layer& l) {
    static const char* const kLights[] = {"parallel", "spot", "point", "ambient"};
    const LightData& li = l.light;
    Json b;
    b["type"] = kLights[li.type & 3];
    b["position"] = Animated(li.position, 3);
    if (li.type == kLightSpot || li.type == kLightParallel)
        b["pointOfInterest"] = Animated(li.pointOfInterest, 3);
    b["intensity"] = Animated(li.intensity, 1);
    b["color"] = Animated(li.color, 3);
    if (li.type == kLightSpot) {
        b["coneAngle"] = Animated(li.coneAngle, 1);
        b["coneFeather"] = Animated(li.coneFeather, 1);
    }
    b["shadowDarkness"] = Animated(li.shadowDarkness, 1);
    b["shadowDiffusion"] = Animated(li.shadowDiffusion, 1);
    return b;
}

// A layer: its kind's body, then what every layer has.
Json LayerJson(const Writer& w, Layer& l, const Comp& comp) {
    Json j;
    j["name"] = l.name;
    switch (l.kind) {
        case LayerKind::Solid:
            j["solid"] = SolidJson(l);
            break;
        case LayerKind::Null:
            j["null"] = Json::object();
            break;
        case LayerKind::Image:
            j["image"] = Json{{"file", w.relative(l.imagePath)}};
            break;
        case LayerKind::Obj:
            j["obj"] = ObjJson(w, l);
            break;
        case LayerKind::Audio:
            j["audio"] = Json{{"file", w.relative(l.sourceFile)}};
            break;
        case LayerKind::Text:
            j["text"] = TextJson(w, l);
            break;
        case LayerKind::Precomp:
            j["precomp"] = PrecompJson(w, l);
            break;
        case LayerKind::Camera:
            j["camera"] = CameraJson(l);
            break;
        case LayerKind::Light:
            j["light"] = LightJson(l);
            break;
    }
    if (!l.enabled) j["enabled"] = false;
    if (l.solo) j["solo"] = true;
    if (l.is3D && l.kind != LayerKind::Camera && l.kind != LayerKind::Light) j["threeD"] = true;
    if (l.parent) {
        const Layer* p = LayerById(comp, l.parent);
        if (p) j["parent"] = p->name;
    }
    j["inPoint"] = l.inPoint;
    j["outPoint"] = l.outPoint;
    j["startTime"] = l.startTime;
    if (l.collapse) j["collapse"] = true;
    if (l.motionBlur) j["motionBlur"] = true;
    if (l.transform.set) j["transform"] = TransformJson(l);
    if (!l.masks.empty()) j["masks"] = Masks(l.masks);
    if (!l.effects.empty()) {
        Json effects = Json::array();
        for (auto& e : l.effects) effects.push_back(Effect(w, *e, comp));
        j["effects"] = effects;
    }
    return j;
}

// A comp: its settings, then its layers.
Json CompJson(const Writer& w, Comp& c) {
    Json j;
    j["name"] = c.name;
    j["width"] = c.width;
    j["height"] = c.height;
    if (c.fpsDen == 1)
        j["fps"] = c.fpsNum;
    else
        j["fps"] = fmt::format("{}/{}", c.fpsNum, c.fpsDen);
    j["duration"] = c.duration;
    if (c.workEnd > 0) j["workArea"] = Json::array({c.workStart, c.workEnd});
    if (!c.workingSpace.empty()) j["workingSpace"] = c.workingSpace;
    j["pixelAspect"] = c.pixelAspect;
    j["background"] = Color(c.background);
    if (c.backgroundAlpha > 0) j["background"].push_back(c.backgroundAlpha);
    j["shutterAngle"] = c.shutterAngle;
    j["shutterPhase"] = c.shutterPhase;
    j["motionBlur"] = c.motionBlur;
    Json layers = Json::array();
    for (auto& l : c.layers) layers.push_back(LayerJson(w, *l, c));
    j["layers"] = layers;
    return j;
}

}  // namespace

std::string SaveDocumentText(EmbeddedHost& host, const std::string& file) {
    const std::filesystem::path folder = std::filesystem::path(file).parent_path();
    const Writer w{host,
                   std::filesystem::absolute(folder.empty() ? "." : folder).lexically_normal()};
    Json doc;
    doc["tavrin"] = 1;
    Json comps = Json::array();
    for (auto& c : host.project().comps) comps.push_back(CompJson(w, *c));
    doc["comps"] = comps;
    return doc.dump(2) + "\n";
}

Json ParamUserValue(EmbeddedHost& host, const ParamSpec& spec, const PF_ParamDef& value,
                    const Comp& comp) {
    return ParamValue(Writer{host, {}}, spec, value, comp);
}

std::string ParamDocumentKey(const InstalledEffect& effect, const ParamSpec& spec) {
    return ParamKey(effect, spec);
}

void SaveDocumentFile(EmbeddedHost& host, const std::string& file) {
    // Written whole beside the target and renamed, so that a failed save leaves the old file.
    WriteTextWhole(file, SaveDocumentText(host, file));
}

}  // namespace tv::standalone
