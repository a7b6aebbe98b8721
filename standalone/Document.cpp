#include "standalone/Document.h"

#include "main/MainParams.h"
#include "params/Gradient.h"
#include "standalone/Audio.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "params/DistanceCurve.h"
#include "resources/EffectTable.h"
#include "standalone/DocumentBase64.h"
#include "standalone/DocumentParse.h"
#include "standalone/DocumentText.h"
#include "standalone/TextOutlines.h"
#include "standalone/Transform.h"

namespace tv::standalone {

using nlohmann::json;

namespace {

size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t prev = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t cur = row[j];
            const bool same = std::tolower(a[i - 1]) == std::tolower(b[j - 1]);
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, prev + (same ? 0 : 1)});
            prev = cur;
        }
    }
    return row[b.size()];
}

// A bound as a person writes it: 1000000 rather than 1e+06.
std::string Plain(double d) {
    if (d == std::floor(d) && std::fabs(d) < 1e15) return std::to_string(int64_t(d));
    std::ostringstream s;
    s << d;
    return s.str();
}

// What a document reader needs while it walks: the file, for messages and relative paths.
struct Reader {
    std::string file;
    std::filesystem::path base;
    EmbeddedHost& host;
    // Name filters the document gave: written again after the instances' first panel update,
    // which would otherwise replace them with their popup's word.
    mutable std::vector<std::pair<EffectInstance*, int32_t>> textsGiven;
    mutable std::vector<std::pair<EffectInstance*, int32_t>> popupsGiven;  // popups it set
    mutable std::vector<EffectInstance*> recordsGiven;  // saved instances: every value given
    // Clicks the document makes once everything is loaded, with the dialog answers they need.
    struct DialogClick {
        EffectInstance* instance = nullptr;
        A_Time time{0, 1};
        int32_t paramIndex = 0;  // 0: the effect's options button (its own dialog)
        std::string title;
        std::string answer;
    };
    mutable std::vector<DialogClick> clicks;

    [[noreturn]] void fail(const std::string& path, const std::string& message) const {
        throw DocumentError(file, path, message);
    }

    void checkKeys(const json& object, const std::string& path,
                   const std::vector<std::string>& allowed) const {
        if (!object.is_object())
            fail(path, "expected an object {...}, found " + std::string(object.type_name()));
        for (const auto& [key, value] : object.items()) {
            if (std::find(allowed.begin(), allowed.end(), key) != allowed.end()) continue;
            fail(path + "." + key, "unknown key \"" + key + "\"; " + NearestNames(key, allowed));
        }
    }

    double number(const json& v, const std::string& path, double lo, double hi) const {
        if (!v.is_number()) fail(path, "expected a number, found " + std::string(v.type_name()));
        const double d = v.get<double>();
        if (!std::isfinite(d) || d < lo || d > hi) {
            fail(path, "value " + v.dump() + " is outside the valid range " + Plain(lo) + " to " +
                           Plain(hi));
        }
        return d;
    }

    int32_t integer(const json& v, const std::string& path, double lo, double hi) const {
        const double d = number(v, path, lo, hi);
        if (d != std::floor(d)) fail(path, "expected a whole number, found " + v.dump());
        return int32_t(d);
    }

    bool boolean(const json& v, const std::string& path) const {
        if (!v.is_boolean()) fail(path, "expected true or false, found " + v.dump());
        return v.get<bool>();
    }

    std::string text(const json& v, const std::string& path) const {
        if (!v.is_string()) fail(path, "expected a string, found " + v.dump());
        return v.get<std::string>();
    }

    // "#rrggbb" or [r, g, b] with components 0..1.
    void color(const json& v, const std::string& path, float out[3]) const {
        if (v.is_string()) {
            const std::string s = v.get<std::string>();
            if (s.size() == 7 && s[0] == '#' &&
                s.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos) {
                for (int i = 0; i < 3; ++i)
                    out[i] = std::stoi(s.substr(size_t(1 + 2 * i), 2), nullptr, 16) / 255.0f;
                return;
            }
        } else if (v.is_array() && v.size() == 3) {
            for (size_t i = 0; i < 3; ++i)
                out[i] = float(number(v[i], path + "[" + std::to_string(i) + "]", 0, 1));
            return;
        }
        fail(path, "expected a colour as \"#rrggbb\" or [r, g, b] with components 0 to 1, found " +
                       v.dump());
    }
};

// Frame rates: a whole number (30) or an exact rational text ("30000/1001").
void ReadFps(const Reader& r, const json& v, const std::string& path, Comp& comp) {
    if (v.is_number_integer()) {
        comp.fpsNum = r.integer(v, path, 1, 1000);
        comp.fpsDen = 1;
        return;
    }
    if (v.is_string()) {
        const std::string s = v.get<std::string>();
        const auto slash = s.find('/');
        try {
            if (slash != std::string::npos) {
                size_t used = 0, usedDen = 0;
                const int num = std::stoi(s.substr(0, slash), &used);
                const int den = std::stoi(s.substr(slash + 1), &usedDen);
                // Every character must be a digit of the two numbers: "30/1x" is not a rate.
                const bool whole = used == slash && slash + 1 + usedDen == s.size() &&
                                   std::isdigit(uint8_t(s[0])) &&
                                   std::isdigit(uint8_t(s[slash + 1]));
                if (whole && num > 0 && den > 0 && den <= 100000 && num <= 10000000) {
                    comp.fpsNum = num;
                    comp.fpsDen = den;
                    return;
                }
            }
        } catch (const std::exception&) {
        }
    }
    r.fail(path, "expected a frame rate such as 30 or \"30000/1001\", found " + v.dump());
}

const std::vector<std::string> kDocumentKeys = {"tavrin", "comps"};
const std::vector<std::string> kCompKeys = {
    "name",        "width",      "height",       "fps",          "duration",   "workArea",
    "pixelAspect", "background", "shutterAngle", "shutterPhase", "motionBlur", "layers"};
const std::vector<std::string> kLayerKinds = {"solid", "null",    "image",  "obj",  "audio",
                                              "text",  "precomp", "camera", "light"};
const std::vector<std::string> kLayerKeys = {
    "name",    "solid",    "null",      "image",    "obj",        "audio",   "text",
    "precomp", "camera",   "light",     "enabled",  "threeD",     "parent",  "masks",
    "inPoint", "outPoint", "startTime", "collapse", "motionBlur", "effects", "transform"};

// The timing half of a key: "t", "interp", speeds and influences; the caller reads "v".
Key ReadKeyTiming(const Reader& r, const json& k, const std::string& kpath,
                  const std::vector<Key>& before) {
    r.checkKeys(k, kpath,
                {"t", "v", "interp", "speedIn", "influenceIn", "speedOut", "influenceOut"});
    if (!k.contains("t") || !k.contains("v"))
        r.fail(kpath, "a key needs \"t\" (seconds) and \"v\" (its value)");
    Key key;
    key.t = r.number(k["t"], kpath + ".t", -1e6, 1e6);
    if (!before.empty() && key.t <= before.back().t)
        r.fail(kpath + ".t", "keys must be in increasing time; the key before is at " +
                                 Plain(before.back().t) + " s");
    const std::string interp =
        k.contains("interp") ? r.text(k["interp"], kpath + ".interp") : "linear";
    if (interp == "hold")
        key.interp = Interp::Hold;
    else if (interp == "bezier")
        key.interp = Interp::Bezier;
    else if (interp != "linear")
        r.fail(kpath + ".interp", "\"" + interp + "\" is not an interpolation; " +
                                      NearestNames(interp, {"linear", "hold", "bezier"}));
    if (k.contains("speedIn")) key.speedIn = r.number(k["speedIn"], kpath + ".speedIn", -1e9, 1e9);
    if (k.contains("speedOut"))
        key.speedOut = r.number(k["speedOut"], kpath + ".speedOut", -1e9, 1e9);
    if (k.contains("influenceIn"))
        key.influenceIn = r.number(k["influenceIn"], kpath + ".influenceIn", 0.1, 100) / 100.0;
    if (k.contains("influenceOut"))
        key.influenceOut = r.number(k["influenceOut"], kpath + ".influenceOut", 0.1, 100) / 100.0;
    return key;
}

const json& KeyList(const Reader& r, const json& v, const std::string& path) {
    r.checkKeys(v, path, {"keys"});
    if (!v.contains("keys") || !v["keys"].is_array() || v["keys"].empty())
        r.fail(path,
               "expected {\"keys\": [{\"t\": seconds, \"v\": value}, ...]} with at least one key");
    return v["keys"];
}

// A keyframable layer property: a number, a list of `n` numbers, or {"keys": [...]}.
void ReadAnimated(const Reader& r, const json& v, const std::string& path, int n, double lo,
                  double hi, AnimatedValue& out) {
    auto numbers = [&](const json& x, const std::string& p) {
        std::array<double, 4> a{};
        if (n == 1 && x.is_number()) {
            a[0] = r.number(x, p, lo, hi);
            return a;
        }
        if (!x.is_array() || int(x.size()) != n)
            r.fail(p, n == 1 ? "expected a number, found " + x.dump()
                             : "expected a list of " + std::to_string(n) + " numbers, found " +
                                   x.dump());
        for (int i = 0; i < n; ++i)
            a[size_t(i)] = r.number(x[size_t(i)], p + "[" + std::to_string(i) + "]", lo, hi);
        return a;
    };
    if (!v.is_object()) {
        out.value = numbers(v, path);
        return;
    }
    const json& list = KeyList(r, v, path);
    for (size_t i = 0; i < list.size(); ++i) {
        const std::string kpath = path + ".keys[" + std::to_string(i) + "]";
        Key key = ReadKeyTiming(r, list[i], kpath, out.keys);
        key.v = numbers(list[i]["v"], kpath + ".v");
        out.keys.push_back(key);
    }
    out.value = out.keys.front().v;
}
const std::vector<std::string> kEffectKeys = {"effect", "enabled", "params", "sequence", "dialogs"};

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

struct PendingLayerParam {
    EffectInstance* instance;
    int32_t index;
    std::string layerName;
    std::string path;
    Comp* comp;
};

// The parameter a document key names: its display name, "Name#2" for the second of a repeated
// name, or "#11" for index 11.
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

void ReadStaticParam(const Reader& r, const ParamSpec& spec, const json& v, const std::string& path,
                     EffectInstance& instance, Comp& comp, std::vector<PendingLayerParam>& layers);

// {"keys": [{"t": seconds, "v": value, "interp": "linear|hold|bezier", ...}, ...]}
void ReadKeys(const Reader& r, const ParamSpec& spec, const json& v, const std::string& path,
              EffectInstance& instance, Comp& comp, std::vector<PendingLayerParam>& layers) {
    const json& list = KeyList(r, v, path);
    if (spec.type == PF_Param_LAYER || spec.type == PF_Param_ARBITRARY_DATA)
        r.fail(path, "this parameter cannot be keyframed");
    ParamState& state = instance.params[size_t(spec.index)];
    const PF_ParamDef saved = state.value;
    std::vector<Key> keys;
    for (size_t i = 0; i < list.size(); ++i) {
        const std::string kpath = path + ".keys[" + std::to_string(i) + "]";
        Key key = ReadKeyTiming(r, list[i], kpath, keys);
        ReadStaticParam(r, spec, list[i]["v"], kpath + ".v", instance, comp, layers);
        key.v = ParamToNumbers(state.value);
        if (!Interpolates(spec.type)) key.interp = Interp::Hold;  // popups and switches step
        keys.push_back(key);
    }
    state.value = NumbersToParam(saved.param_type, keys.front().v);
    state.keys = std::move(keys);
}

void ReadParam(const Reader& r, const ParamSpec& spec, const json& v, const std::string& path,
               EffectInstance& instance, Comp& comp, std::vector<PendingLayerParam>& layers) {
    if (v.is_object()) return ReadKeys(r, spec, v, path, instance, comp, layers);
    ReadStaticParam(r, spec, v, path, instance, comp, layers);
}

void ReadStaticParam(const Reader& r, const ParamSpec& spec, const json& v, const std::string& path,
                     EffectInstance& instance, Comp& comp, std::vector<PendingLayerParam>& layers) {
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
                r.fail(path, "expected a point [x, y] in pixels, found " + v.dump());
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
                                 v.dump());
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
            layers.push_back({&instance, spec.index, r.text(v, path), path, &comp});
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

std::string ExistingFile(const Reader& r, const json& v, const std::string& path);

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
        Reader::DialogClick c;
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
        const bool objImport = fx->matchName == "KDL TAVRSRC OBJ";
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

void ReadEffect(const Reader& r, const json& e, const std::string& path, Layer& layer, Comp& comp,
                std::vector<PendingLayerParam>& pending) {
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
        ReadParam(r, *spec, value, ppath, instance, comp, pending);
    }
}

struct PendingPrecomp {
    Layer* layer;
    std::string comp;
    std::string path;
};

struct PendingParent {
    Layer* layer;
    std::string parent;
    std::string path;
    Comp* comp;
};

// A layer property of 2 or 3 numbers (2D layers take 2, 3D layers 2 or 3); a missing third
// component is `third`.
void ReadAnimated23(const Reader& r, const json& v, const std::string& path, bool is3D, double lo,
                    double hi, double third, AnimatedValue& out) {
    auto width = [&](const json& x) { return x.is_array() ? int(x.size()) : 0; };
    int n = 2;
    if (is3D) {
        const json& sample = v.is_object() && v.contains("keys") && v["keys"].is_array() &&
                                     !v["keys"].empty() && v["keys"][0].is_object() &&
                                     v["keys"][0].contains("v")
                                 ? v["keys"][0]["v"]
                                 : v;
        n = width(sample) == 3 ? 3 : 2;
    }
    ReadAnimated(r, v, path, n, lo, hi, out);
    if (n == 2) {
        out.value[2] = third;
        for (Key& k : out.keys) k.v[2] = third;
    }
}

void ReadTransform(const Reader& r, const json& t, const std::string& tpath, Layer& layer,
                   const Comp& comp) {
    const bool scene = layer.kind == LayerKind::Camera || layer.kind == LayerKind::Light;
    const std::vector<std::string> sceneKeys = {"orientation", "xRotation", "yRotation",
                                                "zRotation"};
    const std::vector<std::string> flatKeys = {"anchorPoint", "position",  "scale",
                                               "rotation",    "zRotation", "opacity"};
    const std::vector<std::string> allKeys = {"anchorPoint", "position",    "scale",
                                              "rotation",    "orientation", "xRotation",
                                              "yRotation",   "zRotation",   "opacity"};
    if (!t.is_object())
        r.fail(tpath, "expected an object {...}, found " + std::string(t.type_name()));
    for (const auto& [key, value] : t.items()) {
        const bool known = std::find(allKeys.begin(), allKeys.end(), key) != allKeys.end();
        if (known && scene && std::find(sceneKeys.begin(), sceneKeys.end(), key) == sceneKeys.end())
            r.fail(tpath + "." + key, "cameras and lights take \"" + key +
                                          "\" in their own body; their transform takes " +
                                          "\"orientation\", \"xRotation\", \"yRotation\" and " +
                                          "\"zRotation\"");
        if (known && !layer.is3D &&
            std::find(flatKeys.begin(), flatKeys.end(), key) == flatKeys.end())
            r.fail(tpath + "." + key,
                   "\"" + key + "\" needs a 3D layer: set \"threeD\": true on the layer");
    }
    r.checkKeys(t, tpath, scene ? sceneKeys : layer.is3D ? allKeys : flatKeys);
    if (t.contains("rotation") && t.contains("zRotation"))
        r.fail(tpath + ".zRotation", "\"rotation\" and \"zRotation\" are the same value; give one");
    Transform2D& x = layer.transform;
    x.set = true;
    x.anchor.value = {layer.width / 2.0, layer.height / 2.0, 0, 0};
    if (layer.kind == LayerKind::Null) x.anchor.value = {0, 0, 0, 0};  // a null's corner
    x.position.value = {comp.width / 2.0, comp.height / 2.0, 0, 0};
    x.scale.value = {100, 100, 100, 0};
    x.opacity.value = {100, 0, 0, 0};
    if (t.contains("anchorPoint"))
        ReadAnimated23(r, t["anchorPoint"], tpath + ".anchorPoint", layer.is3D, -1e6, 1e6, 0,
                       x.anchor);
    if (t.contains("position"))
        ReadAnimated23(r, t["position"], tpath + ".position", layer.is3D, -1e6, 1e6, 0, x.position);
    if (t.contains("scale"))
        ReadAnimated23(r, t["scale"], tpath + ".scale", layer.is3D, -1e5, 1e5, 100, x.scale);
    for (const char* key : {"rotation", "zRotation"})
        if (t.contains(key)) ReadAnimated(r, t[key], tpath + "." + key, 1, -1e6, 1e6, x.rotation);
    if (t.contains("xRotation"))
        ReadAnimated(r, t["xRotation"], tpath + ".xRotation", 1, -1e6, 1e6, x.rotationX);
    if (t.contains("yRotation"))
        ReadAnimated(r, t["yRotation"], tpath + ".yRotation", 1, -1e6, 1e6, x.rotationY);
    if (t.contains("orientation"))
        ReadAnimated(r, t["orientation"], tpath + ".orientation", 3, -360, 360, x.orientation);
    if (t.contains("opacity"))
        ReadAnimated(r, t["opacity"], tpath + ".opacity", 1, 0, 100, x.opacity);
}

// Mask vertices: [x, y] or {"point": [x, y], "in": [dx, dy], "out": [dx, dy]}.
std::vector<MaskVertex> ReadMaskPath(const Reader& r, const json& v, const std::string& path) {
    if (!v.is_array() || v.empty())
        r.fail(path,
               "expected a list of vertices: [x, y] or {\"point\": [x, y], \"in\": "
               "[dx, dy], \"out\": [dx, dy]}");
    std::vector<MaskVertex> out;
    auto pair = [&](const json& p, const std::string& ppath, double& a, double& b) {
        if (!p.is_array() || p.size() != 2)
            r.fail(ppath, "expected [x, y] in layer pixels, found " + p.dump());
        a = r.number(p[0], ppath + "[0]", -1e6, 1e6);
        b = r.number(p[1], ppath + "[1]", -1e6, 1e6);
    };
    for (size_t i = 0; i < v.size(); ++i) {
        const std::string vpath = path + "[" + std::to_string(i) + "]";
        MaskVertex m;
        if (v[i].is_object()) {
            r.checkKeys(v[i], vpath, {"point", "in", "out"});
            if (!v[i].contains("point")) r.fail(vpath, "missing \"point\": the vertex [x, y]");
            pair(v[i]["point"], vpath + ".point", m.x, m.y);
            if (v[i].contains("in")) pair(v[i]["in"], vpath + ".in", m.inX, m.inY);
            if (v[i].contains("out")) pair(v[i]["out"], vpath + ".out", m.outX, m.outY);
        } else {
            pair(v[i], vpath, m.x, m.y);
        }
        out.push_back(m);
    }
    return out;
}

// One vertex outlines nothing: no segment to sample, fill or cap.
void RequireTwoVertices(const Reader& r, const std::vector<MaskVertex>& vertices,
                        const std::string& path) {
    if (vertices.size() < 2)
        r.fail(path, "a mask needs at least 2 vertices, found 1: one vertex outlines nothing");
}

void ReadMasks(const Reader& r, const json& v, const std::string& path, Layer& layer) {
    if (!v.is_array()) r.fail(path, "expected a list of masks");
    for (size_t i = 0; i < v.size(); ++i) {
        const std::string mpath = path + "[" + std::to_string(i) + "]";
        const json& m = v[i];
        r.checkKeys(m, mpath, {"name", "color", "opacity", "inverted", "closed", "path"});
        Mask mask;
        mask.name = m.contains("name") ? r.text(m["name"], mpath + ".name")
                                       : "Mask " + std::to_string(i + 1);
        mask.opacity.value = {100, 0, 0, 0};
        if (m.contains("color")) r.color(m["color"], mpath + ".color", mask.color);
        if (m.contains("opacity"))
            ReadAnimated(r, m["opacity"], mpath + ".opacity", 1, 0, 100, mask.opacity);
        if (m.contains("inverted")) mask.inverted = r.boolean(m["inverted"], mpath + ".inverted");
        if (m.contains("closed")) mask.closed = r.boolean(m["closed"], mpath + ".closed");
        if (!m.contains("path")) r.fail(mpath, "missing \"path\": the mask's vertices");
        const json& p = m["path"];
        const std::string ppath = mpath + ".path";
        if (p.is_object()) {
            const json& list = KeyList(r, p, ppath);
            std::vector<Key> timing;
            for (size_t k = 0; k < list.size(); ++k) {
                const std::string kpath = ppath + ".keys[" + std::to_string(k) + "]";
                const Key key = ReadKeyTiming(r, list[k], kpath, timing);
                if (key.interp == Interp::Bezier)
                    r.fail(kpath + ".interp", "mask paths change \"linear\" or \"hold\"");
                timing.push_back(key);
                MaskPathKey pk{key.t, key.interp, ReadMaskPath(r, list[k]["v"], kpath + ".v")};
                if (!mask.keys.empty() && pk.vertices.size() != mask.keys[0].vertices.size())
                    r.fail(kpath + ".v",
                           "every key of a mask path needs the same number of "
                           "vertices (" +
                               std::to_string(mask.keys[0].vertices.size()) + ")");
                RequireTwoVertices(r, pk.vertices, kpath + ".v");
                mask.keys.push_back(std::move(pk));
            }
            mask.vertices = mask.keys.front().vertices;
        } else {
            mask.vertices = ReadMaskPath(r, p, ppath);
            RequireTwoVertices(r, mask.vertices, ppath);
        }
        layer.masks.push_back(std::move(mask));
    }
}

// The file a document names, relative to the document; it must exist.
std::string ExistingFile(const Reader& r, const json& v, const std::string& path) {
    const std::string given = r.text(v, path);
    const std::filesystem::path file = r.base / given;
    if (!std::filesystem::is_regular_file(file)) r.fail(path, "no such file: " + file.string());
    return std::filesystem::absolute(file).lexically_normal().string();
}

// "mesh_###.obj" with first and last numbers: each # is a digit, zero-padded.
void ReadObjSequence(const Reader& r, const json& body, const std::string& kpath, Layer& layer) {
    const std::string pattern = r.text(body["sequence"], kpath + ".sequence");
    const auto a = pattern.find('#');
    if (a == std::string::npos)
        r.fail(kpath + ".sequence",
               "a sequence pattern marks the frame number with #, e.g. \"mesh_###.obj\"");
    const auto b = pattern.find_first_not_of('#', a);
    const size_t digits = (b == std::string::npos ? pattern.size() : b) - a;
    if (!body.contains("first") || !body.contains("last"))
        r.fail(kpath,
               "a sequence needs \"first\" and \"last\": the numbers of its first and "
               "last files");
    layer.objFirst = r.integer(body["first"], kpath + ".first", 0, 1e8);
    layer.objLast = r.integer(body["last"], kpath + ".last", layer.objFirst, 1e8);
    layer.objPattern = std::filesystem::absolute(r.base / pattern).lexically_normal().string();
    for (int32_t n = layer.objFirst; n <= layer.objLast; ++n) {
        std::string number = std::to_string(n);
        if (number.size() < digits) number.insert(0, digits - number.size(), '0');
        const std::string name = pattern.substr(0, a) + number + pattern.substr(a + digits);
        const std::filesystem::path file = r.base / name;
        if (!std::filesystem::is_regular_file(file))
            r.fail(kpath + ".sequence", "no such file in the sequence: " + file.string());
        layer.objFiles.push_back(file.string());
    }
}

void ReadLayer(const Reader& r, const json& l, const std::string& path, Comp& comp,
               std::vector<PendingPrecomp>& precomps, std::vector<PendingParent>& parents,
               std::vector<PendingLayerParam>& pending) {
    r.checkKeys(l, path, kLayerKeys);
    std::vector<std::string> kinds;
    for (const std::string& k : kLayerKinds)
        if (l.contains(k)) kinds.push_back(k);
    if (kinds.size() != 1)
        r.fail(path, kinds.empty() ? "a layer needs one kind: \"solid\", \"null\", \"image\", "
                                     "\"obj\", \"audio\", \"text\", \"precomp\", \"camera\" or "
                                     "\"light\""
                                   : "a layer has one kind, found " + std::to_string(kinds.size()));
    const std::string name = l.contains("name") ? r.text(l["name"], path + ".name") : kinds[0];
    const std::string kind = kinds[0];
    const json& body = l[kind];
    const LayerKind layerKind = kind == "solid"    ? LayerKind::Solid
                                : kind == "null"   ? LayerKind::Null
                                : kind == "image"  ? LayerKind::Image
                                : kind == "obj"    ? LayerKind::Obj
                                : kind == "audio"  ? LayerKind::Audio
                                : kind == "text"   ? LayerKind::Text
                                : kind == "camera" ? LayerKind::Camera
                                : kind == "light"  ? LayerKind::Light
                                                   : LayerKind::Precomp;
    Layer& layer = r.host.addLayer(comp, name, layerKind);
    const std::string kpath = path + "." + kind;
    if (kind == "solid") {
        r.checkKeys(body, kpath, {"color", "width", "height"});
        if (body.contains("color")) r.color(body["color"], kpath + ".color", layer.solidColor);
        if (body.contains("width"))
            layer.width = r.integer(body["width"], kpath + ".width", 1, 30000);
        if (body.contains("height"))
            layer.height = r.integer(body["height"], kpath + ".height", 1, 30000);
    } else if (kind == "null") {
        r.checkKeys(body, kpath, {});
    } else if (kind == "camera") {
        r.checkKeys(body, kpath,
                    {"oneNode", "zoom", "position", "pointOfInterest", "filmSize", "orthographic",
                     "depthOfField", "focusDistance", "aperture", "blurLevel"});
        CameraData& c = layer.camera;
        const double zoom = comp.width * 50.0 / 36.0;  // a 50 mm lens on 36 mm film
        c.zoom.value = {zoom, 0, 0, 0};
        c.position.value = {comp.width / 2.0, comp.height / 2.0, -zoom, 0};
        c.pointOfInterest.value = {comp.width / 2.0, comp.height / 2.0, 0, 0};
        c.focusDistance.value = {zoom, 0, 0, 0};
        c.aperture.value = {25.3, 0, 0, 0};
        c.blurLevel.value = {100, 0, 0, 0};
        if (body.contains("oneNode")) c.oneNode = r.boolean(body["oneNode"], kpath + ".oneNode");
        if (c.oneNode && body.contains("pointOfInterest"))
            r.fail(kpath + ".pointOfInterest",
                   "a one-node camera has no point of interest; turn it with the transform's "
                   "orientation and rotations");
        if (body.contains("zoom")) {
            ReadAnimated(r, body["zoom"], kpath + ".zoom", 1, 1, 1e6, c.zoom);
            // Unless given, the camera stands at its own zoom from the comp's plane and
            // focuses on it.
            c.position.value[2] = -c.zoom.at(0)[0];
            c.focusDistance = c.zoom;
        }
        if (body.contains("position"))
            ReadAnimated(r, body["position"], kpath + ".position", 3, -1e7, 1e7, c.position);
        if (body.contains("pointOfInterest"))
            ReadAnimated(r, body["pointOfInterest"], kpath + ".pointOfInterest", 3, -1e7, 1e7,
                         c.pointOfInterest);
        if (body.contains("filmSize"))
            c.filmSize = r.number(body["filmSize"], kpath + ".filmSize", 0.1, 10000);
        if (body.contains("orthographic"))
            c.orthographic = r.boolean(body["orthographic"], kpath + ".orthographic");
        if (body.contains("depthOfField"))
            c.depthOfField = r.boolean(body["depthOfField"], kpath + ".depthOfField");
        if (body.contains("focusDistance"))
            ReadAnimated(r, body["focusDistance"], kpath + ".focusDistance", 1, 0, 1e7,
                         c.focusDistance);
        if (body.contains("aperture"))
            ReadAnimated(r, body["aperture"], kpath + ".aperture", 1, 0, 1e5, c.aperture);
        if (body.contains("blurLevel"))
            ReadAnimated(r, body["blurLevel"], kpath + ".blurLevel", 1, 0, 1e5, c.blurLevel);
        layer.is3D = true;
    } else if (kind == "light") {
        r.checkKeys(body, kpath,
                    {"type", "position", "pointOfInterest", "intensity", "color", "coneAngle",
                     "coneFeather", "shadowDarkness", "shadowDiffusion"});
        LightData& li = layer.light;
        li.position.value = {comp.width / 2.0, comp.height / 2.0, -300, 0};
        li.pointOfInterest.value = {comp.width / 2.0, comp.height / 2.0, 0, 0};
        li.intensity.value = {100, 0, 0, 0};
        li.color.value = {1, 1, 1, 0};
        li.coneAngle.value = {90, 0, 0, 0};
        li.coneFeather.value = {50, 0, 0, 0};
        li.shadowDarkness.value = {100, 0, 0, 0};
        if (body.contains("type")) {
            const std::string t = r.text(body["type"], kpath + ".type");
            const std::vector<std::string> types = {"parallel", "spot", "point", "ambient"};
            const auto it = std::find(types.begin(), types.end(), t);
            if (it == types.end())
                r.fail(kpath + ".type",
                       "\"" + t + "\" is not a light type; " + NearestNames(t, types));
            li.type = int32_t(it - types.begin());
        }
        const bool spot = li.type == kLightSpot;
        for (const char* key : {"coneAngle", "coneFeather"})
            if (body.contains(key) && !spot)
                r.fail(kpath + "." + key, "only spot lights have a cone");
        if (body.contains("pointOfInterest") && !spot && li.type != kLightParallel)
            r.fail(kpath + ".pointOfInterest",
                   "only spot and parallel lights aim at a point of interest");
        if (body.contains("position"))
            ReadAnimated(r, body["position"], kpath + ".position", 3, -1e7, 1e7, li.position);
        if (body.contains("pointOfInterest"))
            ReadAnimated(r, body["pointOfInterest"], kpath + ".pointOfInterest", 3, -1e7, 1e7,
                         li.pointOfInterest);
        if (body.contains("intensity"))
            ReadAnimated(r, body["intensity"], kpath + ".intensity", 1, -1e6, 1e6, li.intensity);
        if (body.contains("color")) {
            if (body["color"].is_string()) {
                float c[3];
                r.color(body["color"], kpath + ".color", c);
                li.color.value = {c[0], c[1], c[2], 0};
            } else {
                ReadAnimated(r, body["color"], kpath + ".color", 3, 0, 1, li.color);
            }
        }
        if (body.contains("coneAngle"))
            ReadAnimated(r, body["coneAngle"], kpath + ".coneAngle", 1, 0, 180, li.coneAngle);
        if (body.contains("coneFeather"))
            ReadAnimated(r, body["coneFeather"], kpath + ".coneFeather", 1, 0, 100, li.coneFeather);
        if (body.contains("shadowDarkness"))
            ReadAnimated(r, body["shadowDarkness"], kpath + ".shadowDarkness", 1, 0, 100,
                         li.shadowDarkness);
        if (body.contains("shadowDiffusion"))
            ReadAnimated(r, body["shadowDiffusion"], kpath + ".shadowDiffusion", 1, 0, 1e6,
                         li.shadowDiffusion);
        layer.is3D = true;
    } else if (kind == "image") {
        r.checkKeys(body, kpath, {"file"});
        if (!body.contains("file")) r.fail(kpath, "missing \"file\": the image to show");
        layer.imagePath = ExistingFile(r, body["file"], kpath + ".file");
        layer.sourceFile = layer.imagePath;
    } else if (kind == "obj") {
        r.checkKeys(body, kpath, {"file", "sequence", "first", "last"});
        if (body.contains("file") == body.contains("sequence"))
            r.fail(kpath,
                   "an OBJ layer needs \"file\" (one mesh) or \"sequence\" (numbered "
                   "meshes, one per frame), not both");
        if (body.contains("file")) {
            for (const char* key : {"first", "last"})
                if (body.contains(key))
                    r.fail(kpath + "." + key, "\"" + std::string(key) + "\" belongs to a sequence");
            layer.objFiles.push_back(ExistingFile(r, body["file"], kpath + ".file"));
            layer.sourceFile = layer.objFiles.back();
        } else {
            ReadObjSequence(r, body, kpath, layer);
        }
    } else if (kind == "audio") {
        r.checkKeys(body, kpath, {"file"});
        if (!body.contains("file"))
            r.fail(kpath, "missing \"file\": the audio file to play (WAV, FLAC, OGG, ...)");
        const std::string file = ExistingFile(r, body["file"], kpath + ".file");
        layer.sourceFile = file;
        if (const std::string why = CheckAudioFile(file); !why.empty())
            r.fail(kpath + ".file", "cannot read audio from " + file + ": " + why);
    } else if (kind == "text") {
        r.checkKeys(body, kpath, {"text", "font", "family", "size", "color"});
        if (!body.contains("text")) r.fail(kpath, "missing \"text\": the string to show");
        layer.text = r.text(body["text"], kpath + ".text");
        // A text layer whose text is gone is no layer at all: nothing to draw or outline.
        if (layer.text.empty())
            r.fail(kpath + ".text",
                   "an empty text; a text layer needs at least one character to show");
        if (body.contains("font") && body.contains("family"))
            r.fail(kpath + ".family", "give a font \"file\" or a \"family\", not both");
        if (body.contains("font")) {
            layer.sourceFile = ExistingFile(r, body["font"], kpath + ".font");
        }
        if (body.contains("family")) layer.fontFamily = r.text(body["family"], kpath + ".family");
        if (body.contains("size"))
            layer.fontSize = r.number(body["size"], kpath + ".size", 1, 3000);
        if (body.contains("color")) r.color(body["color"], kpath + ".color", layer.textColor);
        std::string why;
        if (ResolveFontFile(
                TextStyle{layer.text, layer.sourceFile, layer.fontFamily, layer.fontSize}, why)
                .empty())
            r.fail(kpath + (body.contains("family") ? ".family" : ".font"), why);
    } else {
        r.checkKeys(body, kpath, {"comp"});
        if (!body.contains("comp")) r.fail(kpath, "missing \"comp\": the name of the comp to show");
        precomps.push_back({&layer, r.text(body["comp"], kpath + ".comp"), kpath + ".comp"});
    }
    if (l.contains("threeD")) {
        const bool threeD = r.boolean(l["threeD"], path + ".threeD");
        if (!threeD && layer.is3D) r.fail(path + ".threeD", "cameras and lights are always 3D");
        if (threeD && layer.kind == LayerKind::Audio)
            r.fail(path + ".threeD", "audio layers have no picture to place in 3D");
        layer.is3D = threeD;
    }
    if (l.contains("transform")) ReadTransform(r, l["transform"], path + ".transform", layer, comp);
    if (l.contains("parent"))
        parents.push_back({&layer, r.text(l["parent"], path + ".parent"), path + ".parent", &comp});
    if (l.contains("masks")) ReadMasks(r, l["masks"], path + ".masks", layer);
    if (l.contains("enabled")) layer.enabled = r.boolean(l["enabled"], path + ".enabled");
    if (l.contains("collapse")) layer.collapse = r.boolean(l["collapse"], path + ".collapse");
    if (l.contains("motionBlur"))
        layer.motionBlur = r.boolean(l["motionBlur"], path + ".motionBlur");
    if (l.contains("startTime"))
        layer.startTime = r.number(l["startTime"], path + ".startTime", -1e6, 1e6);
    if (l.contains("inPoint")) layer.inPoint = r.number(l["inPoint"], path + ".inPoint", -1e6, 1e6);
    if (l.contains("outPoint"))
        layer.outPoint = r.number(l["outPoint"], path + ".outPoint", -1e6, 1e6);
    if (layer.outPoint <= layer.inPoint)
        r.fail(path + ".outPoint", "the out point must come after the in point");
    if (l.contains("effects")) {
        const json& effects = l["effects"];
        if (!effects.is_array()) r.fail(path + ".effects", "expected a list of effects");
        for (size_t i = 0; i < effects.size(); ++i)
            ReadEffect(r, effects[i], path + ".effects[" + std::to_string(i) + "]", layer, comp,
                       pending);
    }
}

// Parents by name, in the same comp; a layer cannot be its own ancestor.
void ResolveParents(const Reader& r, const std::vector<PendingParent>& parents) {
    for (const PendingParent& p : parents) {
        std::vector<std::string> names;
        const Layer* found = nullptr;
        size_t count = 0;
        for (const auto& l : p.comp->layers) {
            if (l.get() != p.layer) names.push_back(l->name);
            if (l->name == p.parent && l.get() != p.layer) found = l.get(), ++count;
        }
        if (p.parent == p.layer->name && !found) r.fail(p.path, "a layer cannot be its own parent");
        if (!found)
            r.fail(p.path, "no layer named \"" + p.parent + "\" in this comp; " +
                               NearestNames(p.parent, names));
        if (count > 1) r.fail(p.path, "several layers are named \"" + p.parent + "\"; rename one");
        if (found->kind == LayerKind::Audio) r.fail(p.path, "an audio layer cannot be a parent");
        p.layer->parent = found->id;
    }
    for (const PendingParent& p : parents) {
        std::string chain = "\"" + p.layer->name + "\"";
        const Layer* at = p.layer;
        for (size_t depth = 0; at->parent != 0; ++depth) {
            at = LayerById(*p.comp, at->parent);
            chain += " -> \"" + at->name + "\"";
            if (at == p.layer || depth > p.comp->layers.size())
                r.fail(p.path, "parenting forms a cycle: " + chain);
        }
    }
}

void CheckPrecompCycles(const Reader& r, const Project& project) {
    // Depth-first walk over "comp shows comp" edges.
    std::map<uint64_t, int> state;  // 0 new, 1 on the path, 2 done
    std::function<void(const Comp&, std::vector<std::string>&)> visit =
        [&](const Comp& c, std::vector<std::string>& trail) {
            state[c.uid] = 1;
            trail.push_back(c.name);
            for (const auto& l : c.layers) {
                if (l->kind != LayerKind::Precomp) continue;
                for (const auto& other : project.comps) {
                    if (other->uid != l->sourceComp) continue;
                    if (state[other->uid] == 1) {
                        std::string chain;
                        for (const auto& t : trail) chain += "\"" + t + "\" -> ";
                        r.fail("$.comps",
                               "precomps form a cycle: " + chain + "\"" + other->name + "\"");
                    }
                    if (state[other->uid] == 0) visit(*other, trail);
                }
            }
            trail.pop_back();
            state[c.uid] = 2;
        };
    for (const auto& c : project.comps)
        if (state[c->uid] == 0) {
            std::vector<std::string> trail;
            visit(*c, trail);
        }
}

}  // namespace

std::string NearestNames(const std::string& name, const std::vector<std::string>& candidates) {
    if (candidates.empty()) return "nothing is valid here";
    std::vector<std::pair<size_t, std::string>> scored;
    for (const auto& c : candidates) scored.push_back({EditDistance(name, c), c});
    std::stable_sort(scored.begin(), scored.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string out = "did you mean \"" + scored[0].second + "\"?";
    if (candidates.size() <= 12) {
        out += " Valid: ";
        for (size_t i = 0; i < candidates.size(); ++i)
            out += (i ? ", \"" : "\"") + candidates[i] + "\"";
    }
    return out;
}

void LoadDocumentText(const std::string& text, const std::string& file, EmbeddedHost& host) {
    Reader r{file, std::filesystem::path(file).parent_path(), host, {}, {}, {}, {}};
    host.setProjectPath(std::filesystem::absolute(file).lexically_normal().string());
    const json doc = ParseDocumentJson(text, file);
    r.checkKeys(doc, "$", kDocumentKeys);
    if (!doc.contains("tavrin") || doc["tavrin"] != 1)
        r.fail("$.tavrin", "missing or unknown format version: write \"tavrin\": 1");
    if (!doc.contains("comps") || !doc["comps"].is_array() || doc["comps"].empty())
        r.fail("$.comps", "expected a non-empty list of comps");
    std::vector<PendingPrecomp> precomps;
    std::vector<PendingParent> parents;
    std::vector<PendingLayerParam> pending;
    std::set<std::string> names;
    for (size_t ci = 0; ci < doc["comps"].size(); ++ci) {
        const json& c = doc["comps"][ci];
        const std::string path = "$.comps[" + std::to_string(ci) + "]";
        r.checkKeys(c, path, kCompKeys);
        const std::string name = c.contains("name") ? r.text(c["name"], path + ".name")
                                                    : "Comp " + std::to_string(ci + 1);
        if (!names.insert(name).second)
            r.fail(path + ".name", "two comps are named \"" + name + "\"");
        const int32_t w =
            c.contains("width") ? r.integer(c["width"], path + ".width", 1, 30000) : 1920;
        const int32_t h =
            c.contains("height") ? r.integer(c["height"], path + ".height", 1, 30000) : 1080;
        Comp& comp = host.addComp(name, w, h);
        if (c.contains("fps")) ReadFps(r, c["fps"], path + ".fps", comp);
        if (c.contains("duration"))
            comp.duration = r.number(c["duration"], path + ".duration", 1e-3, 86400);
        if (c.contains("workArea")) {
            const json& w = c["workArea"];
            const std::string wpath = path + ".workArea";
            if (!w.is_array() || w.size() != 2)
                r.fail(wpath, "expected [start, end] in seconds, found " + w.dump());
            comp.workStart = r.number(w[0], wpath + "[0]", 0, comp.duration);
            comp.workEnd = r.number(w[1], wpath + "[1]", 0, comp.duration);
            if (comp.workEnd <= comp.workStart)
                r.fail(wpath + "[1]", "the work area must end after it starts");
        }
        if (c.contains("pixelAspect"))
            comp.pixelAspect = r.number(c["pixelAspect"], path + ".pixelAspect", 0.01, 100);
        if (c.contains("background"))
            r.color(c["background"], path + ".background", comp.background);
        if (c.contains("shutterAngle"))
            comp.shutterAngle = r.number(c["shutterAngle"], path + ".shutterAngle", 0, 720);
        if (c.contains("shutterPhase"))
            comp.shutterPhase = r.number(c["shutterPhase"], path + ".shutterPhase", -360, 360);
        if (c.contains("motionBlur"))
            comp.motionBlur = r.boolean(c["motionBlur"], path + ".motionBlur");
        if (!c.contains("layers")) continue;
        if (!c["layers"].is_array()) r.fail(path + ".layers", "expected a list of layers");
        for (size_t li = 0; li < c["layers"].size(); ++li)
            ReadLayer(r, c["layers"][li], path + ".layers[" + std::to_string(li) + "]", comp,
                      precomps, parents, pending);
    }
    std::vector<std::string> compNames(names.begin(), names.end());
    for (const PendingPrecomp& p : precomps) {
        Comp* source = host.compByName(p.comp);
        if (!source)
            r.fail(p.path, "no comp named \"" + p.comp + "\"; " + NearestNames(p.comp, compNames));
        p.layer->sourceComp = source->uid;
        // A precomp layer is the size of its comp; an anchor left at the old centre moves to
        // the new one.
        Layer& l = *p.layer;
        Transform2D& x = l.transform;
        const bool centred = x.anchor.keys.empty() && x.anchor.value[0] == l.width / 2.0 &&
                             x.anchor.value[1] == l.height / 2.0;
        l.width = source->width;
        l.height = source->height;
        if (centred) x.anchor.value = {l.width / 2.0, l.height / 2.0, 0, 0};
    }
    ResolveParents(r, parents);
    CheckPrecompCycles(r, host.project());
    for (const PendingLayerParam& p : pending) {
        std::vector<std::string> layerNames;
        const Layer* found = nullptr;
        for (const auto& l : p.comp->layers) {
            layerNames.push_back(l->name);
            if (l->name == p.layerName) found = l.get();
        }
        if (!found)
            r.fail(p.path, "no layer named \"" + p.layerName + "\" in this comp; " +
                               NearestNames(p.layerName, layerNames));
        p.instance->params[size_t(p.index)].value.u.layerId = int32_t(found->id);
    }
    // The document is the user's last word: a name filter it gives is used as if typed after the
    // instance was set up. Its bytes are kept across the first panel update (which writes a
    // filter from its popup once); a marker stands in for them meanwhile, to learn whether the
    // update writes a filter of its own.
    static const std::string kUnwritten = "\x01(not written by the panel update)";
    std::vector<std::vector<uint8_t>> givenBytes;
    for (const auto& [instance, index] : r.textsGiven) {
        PF_ParamDef& def = instance->params[size_t(index)].value;
        givenBytes.push_back(host.handleBytes(def.u.arbData));
        host.disposeHandle(def.u.arbData);
        def.u.arbData = host.handleFromBytes(MakeTextRecord(kUnwritten));
    }
    // As a host does when it opens a project: each instance brings its panel up to date.
    for (auto& comp : host.project().comps)
        for (auto& layer : comp->layers)
            for (auto& instance : layer->effects)
                host.callEffect(*instance, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, comp->timeScale()},
                                nullptr);
    // A toolkit menu a document sets is a choice made: the chosen effect is added at idle time
    // and the menu returns to "None".
    for (auto& comp : host.project().comps)
        for (auto& layer : comp->layers)
            for (size_t e = 0; e < layer->effects.size(); ++e) {
                EffectInstance& instance = *layer->effects[e];
                const InstalledEffect* fx = host.installedEffect(instance.key);
                if (!fx || fx->matchName != "KDL TAVRKIT") continue;
                for (int32_t index = 1; index <= 3; ++index)
                    if (instance.params[size_t(index)].value.u.popup != 1) {
                        PF_UserChangedParamExtra extra;
                        extra.param_index = index;
                        host.callEffect(instance, PF_Cmd_USER_CHANGED_PARAM,
                                        A_Time{0, comp->timeScale()}, &extra);
                    }
            }
    // Unless the popup's own choice wrote the document's very text, a popup just before the
    // text with a "Custom" row, which the document left alone, is set to Custom (so that the
    // text is what the effect reads); the document's text goes back in. A saved instance (one
    // with its record) has its popup as saved.
    for (size_t i = 0; i < r.textsGiven.size(); ++i) {
        const auto& [instance, index] = r.textsGiven[i];
        PF_ParamDef& def = instance->params[size_t(index)].value;
        const std::vector<uint8_t> written = host.handleBytes(def.u.arbData);
        if (written == givenBytes[i]) continue;
        const InstalledEffect* fx = host.installedEffect(instance->key);
        const ParamSpec* popup = index > 1 ? &fx->params[size_t(index - 1)] : nullptr;
        const bool saved = std::find(r.recordsGiven.begin(), r.recordsGiven.end(), instance) !=
                           r.recordsGiven.end();
        if (popup && popup->type == PF_Param_POPUP && !saved &&
            std::find(r.popupsGiven.begin(), r.popupsGiven.end(),
                      std::make_pair(instance, index - 1)) == r.popupsGiven.end())
            for (int32_t k = 1; k <= PopupEntryCount(*popup); ++k)
                if (PopupEntry(*popup, k) == "Custom")
                    instance->params[size_t(index - 1)].value.u.popup = k;
        if (def.u.arbData) host.disposeHandle(def.u.arbData);
        def.u.arbData = host.handleFromBytes(givenBytes[i]);
    }
    host.runIdleTasks();
    // The document's clicks, in order, each with its dialog's answer ready.
    for (const Reader::DialogClick& c : r.clicks) {
        host.queueDialogAnswer(c.title, c.answer);
        if (c.paramIndex > 0)
            host.clickParam(*c.instance, c.paramIndex, c.time);
        else
            host.callEffect(*c.instance, PF_Cmd_DO_DIALOG, c.time, nullptr);
        host.runIdleTasks();
    }
}

void LoadDocumentFile(const std::string& file, EmbeddedHost& host) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw DocumentError(file, "", "cannot open the document (does the file exist?)");
    std::stringstream text;
    text << in.rdbuf();
    LoadDocumentText(text.str(), file, host);
}

}  // namespace tv::standalone
