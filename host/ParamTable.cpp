#include "host/ParamTable.h"

#include <cstring>

#include "host/SuiteCache.h"

namespace tv {

int32_t PopupEntryCount(const ParamSpec& spec) {
    std::string_view text = spec.text;
    if (text.empty()) return 0;
    int32_t count = 1;
    for (char c : text)
        if (c == '|') ++count;
    return count;
}

std::string_view PopupEntry(const ParamSpec& spec, int32_t oneBased) {
    std::string_view text = spec.text;
    for (int32_t i = 1; i < oneBased; ++i) {
        const auto bar = text.find('|');
        if (bar == std::string_view::npos) return {};
        text.remove_prefix(bar + 1);
    }
    return text.substr(0, text.find('|'));
}

std::string LightPrefix(int32_t popup, const std::vector<std::string>& words,
                        const std::string& customText) {
    const int32_t n = int32_t(words.size());
    if (popup >= 1 && popup <= n) return words[size_t(popup - 1)];
    if (popup == n + 2) return customText;  // after the separator: Custom
    return "";                              // All Lights
}

const char* ParamUnitName(ParamUnit unit) {
    switch (unit) {
        case ParamUnit::Percent:
            return "percent";
        case ParamUnit::Pixels:
            return "pixels";
        case ParamUnit::Degrees:
            return "degrees";
        case ParamUnit::Seconds:
            return "seconds";
        case ParamUnit::Milliseconds:
            return "milliseconds";
        case ParamUnit::Frames:
            return "frames";
        case ParamUnit::WorldUnits:
            return "world units";
        case ParamUnit::Hertz:
            return "hertz";
        case ParamUnit::Samples:
            return "samples";
        case ParamUnit::None:
            break;
    }
    return "";
}

PF_ParamDef DefaultParamValue(const ParamSpec& spec) {
    PF_ParamDef def;
    def.param_type = spec.type;
    switch (spec.type) {
        case PF_Param_LAYER:
            def.u.layerId = 0;
            break;
        case PF_Param_SLIDER:
            def.u.slider = static_cast<int32_t>(spec.def[0]);
            break;
        case PF_Param_FIX_SLIDER:
        case PF_Param_ANGLE:
            def.u.fixed = DoubleToFixed(spec.def[0]);
            break;
        case PF_Param_CHECKBOX:
            def.u.checkbox = spec.value.value_or(spec.def[0]) != 0;
            break;
        case PF_Param_COLOR:
            def.u.color = PF_Pixel8{255, static_cast<uint8_t>(spec.def[0] * 255 + 0.5),
                                    static_cast<uint8_t>(spec.def[1] * 255 + 0.5),
                                    static_cast<uint8_t>(spec.def[2] * 255 + 0.5)};
            break;
        case PF_Param_POINT:
            def.u.point[0] = DoubleToFixed(spec.def[0]);
            def.u.point[1] = DoubleToFixed(spec.def[1]);
            break;
        case PF_Param_POINT_3D:
            for (int i = 0; i < 3; ++i) def.u.point3d[i] = spec.def[i];
            break;
        case PF_Param_POPUP:
            def.u.popup = static_cast<int32_t>(spec.def[0]);
            break;
        case PF_Param_FLOAT_SLIDER:
            def.u.floatValue = spec.def[0];
            break;
        case PF_Param_ARBITRARY_DATA:
            def.u.arbData = spec.arbDefault;
            break;
        default:
            break;
    }
    return def;
}

namespace {

// Adds an arbitrary-data parameter whose default is `bytes`, in a handle the host keeps.
PF_Err AddArbParam(PF_InData* in_data, const ParamSpec& spec, const std::vector<uint8_t>& bytes) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    const PF_Handle h = host.newHandle(bytes.size());
    void* data = h ? host.lockHandle(h) : nullptr;
    if (!data) {
        if (h) host.disposeHandle(h);
        return PF_Err_OUT_OF_MEMORY;
    }
    std::memcpy(data, bytes.data(), bytes.size());
    host.unlockHandle(h);
    ParamSpec added = spec;
    added.arbDefault = h;
    PF_Err err = PF_Err_NONE;
    try {
        err = host.addParam(in_data->effect_ref, added);
    } catch (const HostErrorCode&) {
        host.disposeHandle(h);
        throw;
    }
    if (err) host.disposeHandle(h);
    return err;
}

}  // namespace

PF_Err SetupParams(PF_InData* in_data, PF_OutData* out_data, ParamTable table) {
    SuiteCache suites(in_data);
    for (const ParamSpec& spec : table) {
        if (spec.index == 0) continue;  // the input layer is the host's own
        // Curves get their default handle made and filled first.
        const bool arb = spec.type == PF_Param_ARBITRARY_DATA;
        const PF_Err err = arb && spec.addArbParam ? spec.addArbParam(in_data, spec)
                           : arb && spec.makeArbDefault
                               ? AddArbParam(in_data, spec, spec.makeArbDefault())
                               : suites->addParam(in_data->effect_ref, spec);
        if (err) return err;
    }
    out_data->num_params = table.empty() ? 1 : static_cast<int32_t>(table.size());
    return PF_Err_NONE;
}

PF_Err ShowParameter(PF_InData* in_data, int32_t index, bool hidden) {
    SuiteCache suites(in_data);
    return suites->setParamHidden(in_data->effect_ref, index, hidden);
}

}  // namespace tv
