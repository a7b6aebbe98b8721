// Parameter values as up to four numbers (what keyframes hold), and back.
#include <algorithm>
#include <cmath>

#include "standalone/Composition.h"

namespace tv::standalone {

std::array<double, 4> ParamToNumbers(const PF_ParamDef& d) {
    switch (d.param_type) {
        case PF_Param_FLOAT_SLIDER:
            return {d.u.floatValue, 0, 0, 0};
        case PF_Param_SLIDER:
            return {double(d.u.slider), 0, 0, 0};
        case PF_Param_FIX_SLIDER:
        case PF_Param_ANGLE:
            return {FixedToDouble(d.u.fixed), 0, 0, 0};
        case PF_Param_COLOR:
            return {d.u.color.red / 255.0, d.u.color.green / 255.0, d.u.color.blue / 255.0,
                    d.u.color.alpha / 255.0};
        case PF_Param_POINT:
            return {FixedToDouble(d.u.point[0]), FixedToDouble(d.u.point[1]), 0, 0};
        case PF_Param_POPUP:
            return {double(d.u.popup), 0, 0, 0};
        case PF_Param_CHECKBOX:
            return {double(d.u.checkbox), 0, 0, 0};
        default:
            return {};
    }
}

PF_ParamDef NumbersToParam(PF_ParamType type, const std::array<double, 4>& v) {
    PF_ParamDef d;
    d.param_type = type;
    auto byte = [](double c) { return uint8_t(std::clamp(c, 0.0, 1.0) * 255.0 + 0.5); };
    switch (type) {
        case PF_Param_FLOAT_SLIDER:
            d.u.floatValue = v[0];
            break;
        case PF_Param_SLIDER:
            d.u.slider = int32_t(std::llround(v[0]));
            break;
        case PF_Param_FIX_SLIDER:
        case PF_Param_ANGLE:
            d.u.fixed = DoubleToFixed(v[0]);
            break;
        case PF_Param_COLOR:
            d.u.color = PF_Pixel8{byte(v[3]), byte(v[0]), byte(v[1]), byte(v[2])};
            break;
        case PF_Param_POINT:
            d.u.point[0] = DoubleToFixed(v[0]);
            d.u.point[1] = DoubleToFixed(v[1]);
            break;
        case PF_Param_POPUP:
            d.u.popup = int32_t(v[0]);
            break;
        case PF_Param_CHECKBOX:
            d.u.checkbox = int32_t(v[0]);
            break;
        default:
            break;
    }
    return d;
}

bool Interpolates(PF_ParamType type) {
    return type == PF_Param_FLOAT_SLIDER || type == PF_Param_SLIDER ||
           type == PF_Param_FIX_SLIDER || type == PF_Param_ANGLE || type == PF_Param_COLOR ||
           type == PF_Param_POINT;
}

}  // namespace tv::standalone
