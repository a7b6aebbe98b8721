#include "standalone/ParamText.h"

#include <fmt/format.h>

namespace tv::standalone {

std::string_view ParamKindName(PF_ParamType type) {
    switch (type) {
        case PF_Param_LAYER:
            return "layer";
        case PF_Param_SLIDER:
            return "int";
        case PF_Param_FIX_SLIDER:
            return "fixed";
        case PF_Param_ANGLE:
            return "angle";
        case PF_Param_CHECKBOX:
            return "check";
        case PF_Param_COLOR:
            return "color";
        case PF_Param_POINT:
            return "point";
        case PF_Param_POINT_3D:
            return "point3d";
        case PF_Param_POPUP:
            return "popup";
        case PF_Param_FLOAT_SLIDER:
            return "float";
        case PF_Param_ARBITRARY_DATA:
            return "arb";
        case PF_Param_PATH:
            return "path";
        case PF_Param_GROUP_START:
            return "group";
        case PF_Param_GROUP_END:
            return "end";
        case PF_Param_BUTTON:
            return "button";
        default:
            return "other";
    }
}

std::string DescribeParamRange(const ParamSpec& spec) {
    switch (spec.type) {
        case PF_Param_FLOAT_SLIDER:
        case PF_Param_SLIDER:
        case PF_Param_FIX_SLIDER:
            return fmt::format("{}{}; valid {}..{}; slider {}..{}", spec.def[0],
                               spec.unit == ParamUnit::Percent ? "%" : "", spec.validMin,
                               spec.validMax, spec.sliderMin, spec.sliderMax);
        case PF_Param_POPUP:
            return fmt::format("{} of \"{}\"", spec.def[0], spec.text);
        case PF_Param_CHECKBOX: {
            // A checkbox can start apart from the default a reset restores: both are shown.
            const auto onOff = [](double v) { return v != 0 ? "on" : "off"; };
            const double start = spec.value.value_or(spec.def[0]);
            return fmt::format("{}{}{}", onOff(start),
                               (start != 0) != (spec.def[0] != 0)
                                   ? fmt::format("; default {}", onOff(spec.def[0]))
                                   : std::string(),
                               *spec.text ? fmt::format(" \"{}\"", spec.text) : std::string());
        }
        case PF_Param_BUTTON:
            return fmt::format("button \"{}\"", spec.text);
        case PF_Param_ANGLE:
            return fmt::format("{} degrees", spec.def[0]);
        case PF_Param_COLOR:
            return fmt::format("rgb({}, {}, {})", spec.def[0], spec.def[1], spec.def[2]);
        case PF_Param_POINT:
            return fmt::format("[{}, {}]", spec.def[0], spec.def[1]);
        case PF_Param_LAYER:
            return "none";
        default:
            return "";
    }
}

}  // namespace tv::standalone
