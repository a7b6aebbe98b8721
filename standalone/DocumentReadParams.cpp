// Effect parameters in documents: a value of the parameter's kind (numbers in its range, popup
// entries by text or number, colours, points, layers by name, texts, gradients and distance
// curves) or {"keys": [...]} for an animated one.
#include <cmath>
#include <string_view>

#include "params/DistanceCurve.h"
#include "params/Gradient.h"
#include "standalone/DocumentRead.h"
#include "standalone/DocumentText.h"

namespace tv::standalone::docread {

namespace {

// A colour gradient: a list of stops {"position": 0..1, "color": colour, "alpha": 0..1}, in rising
// order of position.
std::vector<GradientStop> ReadGradient(const Reader& r, const json& v, const std::string& path) {
    if (!v.is_array())
        r.fail(path, "expected a gradient: [{\"position\": 0, \"color\": \"#000000\"}, ...]");
    std::vector<GradientStop> stops;
    for (size_t i = 0; i < v.size(); ++i) {
        const std::string p = path + "[" + std::to_string(i) + "]";
        if (!v[i].is_object()) r.fail(p, "expected a stop {\"position\": 0..1, \"color\": ...}");
        r.checkKeys(v[i], p, {"position", "color", "alpha"});
        if (!v[i].contains("position") || !v[i].contains("color"))
            r.fail(p, "a stop needs \"position\" (0..1) and \"color\"");
        GradientStop stop;
        stop.position = r.number(v[i]["position"], p + ".position", 0, 1);
        if (!stops.empty() && stop.position < stops.back().position)
            r.fail(p + ".position", "stops must come in rising order of position");
        float rgb[3];
        r.color(v[i]["color"], p + ".color", rgb);
        stop.red = rgb[0], stop.green = rgb[1], stop.blue = rgb[2];
        if (v[i].contains("alpha")) stop.alpha = float(r.number(v[i]["alpha"], p + ".alpha", 0, 1));
        stops.push_back(stop);
    }
    return stops;
}

// A distance curve: "falling" or "flat", a list of [distance, factor] points with distance as a
// fraction of the maximum (0..1) and factor 0..1, joined by straight lines, or {"samples": [200
// heights 0..50]}.
DistanceCurve ReadCurve(const Reader& r, const json& v, const std::string& path) {
    if (v.is_string()) {
        const std::string name = v.get<std::string>();
        if (name == "falling") return DistanceCurve::DefaultOpacity();
        if (name == "flat") return DistanceCurve::DefaultThickness();
        r.fail(path,
               "\"" + name + "\" is not a named curve; " + NearestNames(name, {"falling", "flat"}));
    }
    DistanceCurve c;
    if (v.is_object()) {
        r.checkKeys(v, path, {"samples"});
        const json& samples = v.contains("samples") ? v["samples"] : json();
        if (!samples.is_array() || samples.size() != 200)
            r.fail(path + ".samples",
                   "expected a list of 200 heights from 0 to 50 (50 is a factor of 1)");
        for (size_t i = 0; i < 200; ++i)
            c.samples[i] =
                float(r.number(samples[i], path + ".samples[" + std::to_string(i) + "]", 0, 50));
        return c;
    }
    if (!v.is_array() || v.empty())
        r.fail(path,
               "expected a curve: \"falling\", \"flat\", [[distance, factor], ...] or "
               "{\"samples\": [...]}");
    std::vector<std::pair<double, double>> points;
    for (size_t i = 0; i < v.size(); ++i) {
        const std::string p = path + "[" + std::to_string(i) + "]";
        if (!v[i].is_array() || v[i].size() != 2) r.fail(p, "expected a point [distance, factor]");
        const double d = r.number(v[i][0], p + "[0]", 0, 1), f = r.number(v[i][1], p + "[1]", 0, 1);
        if (!points.empty() && d <= points.back().first)
            r.fail(p + "[0]", "curve points must be in increasing distance");
        points.push_back({d, f});
    }
    for (size_t i = 0; i < 200; ++i) {
        const double t = double(i) / 200.0;
        double f = points.front().second;
        if (t >= points.back().first) {
            f = points.back().second;
        } else {
            for (size_t k = 0; k + 1 < points.size(); ++k)
                if (t >= points[k].first && t <= points[k + 1].first) {
                    const double u =
                        (t - points[k].first) / (points[k + 1].first - points[k].first);
                    f = points[k].second + (points[k + 1].second - points[k].second) * u;
                    break;
                }
        }
        c.samples[i] = float(f * 50.0);
    }
    return c;
}

void ReadStaticParam(const Reader& r, const ParamSpec& spec, const json& v, const std::string& path,
                     EffectInstance& instance, Comp& comp);

// {"keys": [{"t": seconds, "v": value, "interp": "linear|hold|bezier", ...}, ...]}
void ReadKeys(const Reader& r, const ParamSpec& spec, const json& v, const std::string& path,
              EffectInstance& instance, Comp& comp) {
    const json& list = KeyList(r, v, path);
    if (spec.type == PF_Param_LAYER || spec.type == PF_Param_ARBITRARY_DATA)
        r.fail(path, "this parameter cannot be keyframed");
    ParamState& state = instance.params[size_t(spec.index)];
    const PF_ParamDef saved = state.value;
    std::vector<Key> keys;
    for (size_t i = 0; i < list.size(); ++i) {
        const std::string kpath = path + ".keys[" + std::to_string(i) + "]";
        Key key = ReadKeyTiming(r, list[i], kpath, keys);
        ReadStaticParam(r, spec, list[i]["v"], kpath + ".v", instance, comp);
        key.v = ParamToNumbers(state.value);
        if (!Interpolates(spec.type)) key.interp = Interp::Hold;  // popups and switches step
        keys.push_back(key);
    }
    state.value = NumbersToParam(saved.param_type, keys.front().v);
    state.keys = std::move(keys);
}

void ReadStaticParam(const Reader& r, const ParamSpec& spec, const json& v, const std::string& path,
                     EffectInstance& instance, Comp& comp) {
    PF_ParamDef& def = instance.params[size_t(spec.index)].value;
    switch (spec.type) {
        case PF_Param_FLOAT_SLIDER:
            def.u.floatValue = r.number(v, path, spec.validMin, spec.validMax);
            break;
        case PF_Param_SLIDER:
            def.u.slider = r.integer(v, path, spec.validMin, spec.validMax);
            break;
        case PF_Param_FIX_SLIDER:
            def.u.fixed = DoubleToFixed(r.number(v, path, spec.validMin, spec.validMax));
            break;
        case PF_Param_ANGLE:
            def.u.fixed = DoubleToFixed(r.number(v, path, -1e6, 1e6));
            break;
        case PF_Param_CHECKBOX:
            def.u.checkbox = r.boolean(v, path) ? 1 : 0;
            break;
        case PF_Param_COLOR: {
            float c[3];
            r.color(v, path, c);
            def.u.color = PF_Pixel8{255, uint8_t(c[0] * 255 + 0.5f), uint8_t(c[1] * 255 + 0.5f),
                                    uint8_t(c[2] * 255 + 0.5f)};
            break;
        }
        case PF_Param_POINT:
            if (!v.is_array() || v.size() != 2)
                r.fail(path, "expected a point [x, y] in pixels, found " + Excerpt(v));
            def.u.point[0] = DoubleToFixed(r.number(v[0], path + "[0]", -1e6, 1e6));
            def.u.point[1] = DoubleToFixed(r.number(v[1], path + "[1]", -1e6, 1e6));
            break;
        case PF_Param_POPUP: {
            r.popupsGiven.emplace_back(&instance, spec.index);
            const int32_t n = PopupEntryCount(spec);
            std::vector<std::string> entries;
            for (int32_t i = 1; i <= n; ++i) entries.emplace_back(PopupEntry(spec, i));
            if (v.is_string()) {
                const std::string s = v.get<std::string>();
                for (int32_t i = 1; i <= n; ++i)
                    if (s == entries[size_t(i - 1)] && s != "(-") {
                        def.u.popup = i;
                        return;
                    }
                std::vector<std::string> valid;
                for (const auto& e : entries)
                    if (e != "(-") valid.push_back(e);
                r.fail(path, "\"" + s + "\" is not an entry of \"" + spec.name + "\"; " +
                                 NearestNames(s, valid));
            }
            if (!v.is_number()) {
                std::string valid;
                for (const auto& e : entries)
                    if (e != "(-") valid += (valid.empty() ? "\"" : ", \"") + e + "\"";
                r.fail(path, "expected an entry of \"" + std::string(spec.name) + "\" (" + valid +
                                 ") or its number 1 to " + std::to_string(n) + ", found " +
                                 Excerpt(v));
            }
            const int32_t i = r.integer(v, path, 1, n);
            if (entries[size_t(i - 1)] == "(-")
                r.fail(path, "entry " + std::to_string(i) + " is a separator");
            def.u.popup = i;
            break;
        }
        case PF_Param_LAYER:
            if (v.is_null()) {
                def.u.layerId = 0;
                break;
            }
            r.layerParams.push_back({&instance, spec.index, r.text(v, path), path, &comp});
            break;
        case PF_Param_ARBITRARY_DATA:
            // The instance's own handle (its copy of the default) gives way to the new value.
            if (def.u.arbData &&
                (IsTextParam(spec) || IsCurveParam(spec) || IsGradientParam(spec))) {
                r.host.disposeHandle(def.u.arbData);
                def.u.arbData = 0;
            }
            if (IsTextParam(spec)) {
                // Any UTF-8 string; empty means "all" to the effect that reads it.
                def.u.arbData = r.host.handleFromBytes(MakeTextRecord(r.text(v, path)));
                r.textsGiven.emplace_back(&instance, spec.index);
                break;
            }
            if (IsGradientParam(spec)) {
                def.u.arbData =
                    r.host.handleFromBytes(MakeGradientRecord(ReadGradient(r, v, path)));
                break;
            }
            if (IsCurveParam(spec)) {
                const DistanceCurve curve = ReadCurve(r, v, path);
                const auto* bytes = reinterpret_cast<const uint8_t*>(&curve);
                def.u.arbData =
                    r.host.handleFromBytes(std::vector<uint8_t>(bytes, bytes + sizeof curve));
                break;
            }
            [[fallthrough]];
        default:
            r.fail(path,
                   "parameters of kind \"" +
                       std::string(spec.type == PF_Param_ARBITRARY_DATA ? "gradient" : "other") +
                       "\" cannot be set from documents yet; leave it at its default");
    }
}

}  // namespace

const ParamSpec* FindParam(const InstalledEffect& effect, const std::string& key) {
    if (key.size() > 1 && key[0] == '#') {
        try {
            const int index = std::stoi(key.substr(1));
            if (index >= 1 && size_t(index) < effect.params.size())
                return &effect.params[size_t(index)];
        } catch (const std::exception&) {
        }
        return nullptr;
    }
    std::string name = key;
    int occurrence = 1;
    const auto hash = key.rfind('#');
    if (hash != std::string::npos && hash + 1 < key.size() &&
        key.find_first_not_of("0123456789", hash + 1) == std::string::npos) {
        name = key.substr(0, hash);
        occurrence = std::stoi(key.substr(hash + 1));
    }
    for (const ParamSpec& spec : effect.params) {
        if (spec.index == 0 || name != spec.name) continue;
        if (--occurrence == 0) return &spec;
    }
    return nullptr;
}

bool Settable(const ParamSpec& spec) {
    return spec.type != PF_Param_GROUP_START && spec.type != PF_Param_GROUP_END &&
           spec.type != PF_Param_BUTTON && spec.index != 0;
}

void ReadParam(const Reader& r, const ParamSpec& spec, const json& v, const std::string& path,
               EffectInstance& instance, Comp& comp) {
    // A curve's own object form ({"samples": [...]}) is a value, not keys.
    if (v.is_object() && !(IsCurveParam(spec) && !v.contains("keys")))
        return ReadKeys(r, spec, v, path, instance, comp);
    ReadStaticParam(r, spec, v, path, instance, comp);
}

}  // namespace tv::standalone::docread
