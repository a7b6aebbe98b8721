#include "standalone/ParamText.h"

#include <fmt/format.h>

#include "standalone/DocumentText.h"

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

namespace {

// A number as a document writes it: no trailing zeros.
std::string Number(double v) {
    return fmt::format("{}", v);
}

std::string PopupChoices(const ParamSpec& spec) {
    std::string out;
    for (int32_t i = 1; i <= PopupEntryCount(spec); ++i) {
        const std::string_view entry = PopupEntry(spec, i);
        if (entry.starts_with("(-")) continue;  // a separator, not a choice
        if (!out.empty()) out += " | ";
        out += entry;
    }
    return out;
}

}  // namespace

std::string ParamDefaultText(const ParamSpec& spec) {
    switch (spec.type) {
        case PF_Param_FLOAT_SLIDER:
        case PF_Param_SLIDER:
        case PF_Param_FIX_SLIDER:
        case PF_Param_ANGLE:
            return Number(spec.def[0]);
        case PF_Param_POPUP:
            return std::string(PopupEntry(spec, int32_t(spec.def[0])));
        case PF_Param_CHECKBOX: {
            const double start = spec.value.value_or(spec.def[0]);
            std::string text = start != 0 ? "on" : "off";
            if ((start != 0) != (spec.def[0] != 0))
                text += fmt::format(" (a reset turns it {})", spec.def[0] != 0 ? "on" : "off");
            return text;
        }
        case PF_Param_COLOR:
            return fmt::format("#{:02x}{:02x}{:02x}", int(spec.def[0] * 255 + 0.5),
                               int(spec.def[1] * 255 + 0.5), int(spec.def[2] * 255 + 0.5));
        case PF_Param_POINT:
            if (spec.unit == ParamUnit::Percent)
                return fmt::format("[{}%, {}%] of the layer", Number(spec.def[0]),
                                   Number(spec.def[1]));
            return fmt::format("[{}, {}]", Number(spec.def[0]), Number(spec.def[1]));
        case PF_Param_LAYER:
            return "none";
        case PF_Param_ARBITRARY_DATA:
            if (IsCurveParam(spec)) return "the effect's curve";
            if (IsGradientParam(spec)) return "the effect's gradient";
            return "\"\"";
        case PF_Param_BUTTON:
            return "";
        default:
            return "";
    }
}

std::string ParamRangeText(const ParamSpec& spec) {
    switch (spec.type) {
        case PF_Param_FLOAT_SLIDER:
        case PF_Param_SLIDER:
        case PF_Param_FIX_SLIDER:
            if (spec.sliderMin == spec.validMin && spec.sliderMax == spec.validMax)
                return fmt::format("{}..{}", Number(spec.validMin), Number(spec.validMax));
            return fmt::format("{}..{}, slider {}..{}", Number(spec.validMin),
                               Number(spec.validMax), Number(spec.sliderMin),
                               Number(spec.sliderMax));
        case PF_Param_POPUP:
            return PopupChoices(spec);
        case PF_Param_CHECKBOX:
            return "on | off";
        case PF_Param_ANGLE:
            return "any; 360 is a full turn";
        case PF_Param_COLOR:
            return "#rrggbb";
        case PF_Param_POINT:
            return "[x, y] in the layer's pixels";
        case PF_Param_LAYER:
            return "a layer of the comp, by name";
        case PF_Param_BUTTON:
            return fmt::format("button \"{}\"", spec.text);
        case PF_Param_ARBITRARY_DATA:
            if (IsCurveParam(spec)) return "curve samples";
            if (IsGradientParam(spec)) return "gradient stops";
            if (IsTextParam(spec)) return "text";
            return "data";
        default:
            return "";
    }
}

std::string ParamUnitText(const ParamSpec& spec) {
    // A point's percent is only how its default is given; documents write pixels.
    if (spec.type == PF_Param_POINT) return "pixels";
    return ParamUnitName(spec.unit);
}

bool IsDocumentedParam(const ParamSpec& spec) {
    return spec.index > 0 && spec.type != PF_Param_GROUP_START && spec.type != PF_Param_GROUP_END;
}

}  // namespace tv::standalone
