// Small constexpr builders that keep each effect's parameter table readable as one row a line.
#pragma once

#include "host/ParamTable.h"

namespace tv::params {

constexpr ParamSpec Row(int32_t index, int32_t disk, PF_ParamType type, const char* name,
                        double def = 0, uint32_t flags = 0, const char* text = "") {
    ParamSpec s;
    s.index = index;
    s.diskId = disk;
    s.type = type;
    s.name = name;
    s.def[0] = def;
    s.flags = flags;
    s.text = text;
    return s;
}

constexpr ParamSpec Float(int32_t index, int32_t disk, const char* name, double def, double vmin,
                          double vmax, double smin, double smax, int16_t precision,
                          uint32_t flags = 0) {
    ParamSpec s = Row(index, disk, PF_Param_FLOAT_SLIDER, name, def, flags);
    s.validMin = vmin;
    s.validMax = vmax;
    s.sliderMin = smin;
    s.sliderMax = smax;
    s.precision = precision;
    return s;
}

constexpr ParamSpec Int(int32_t index, int32_t disk, const char* name, double def, double vmin,
                        double vmax, double smin, double smax, uint32_t flags = 0,
                        uint32_t uiFlags = 0) {
    ParamSpec s = Row(index, disk, PF_Param_SLIDER, name, def, flags);
    s.validMin = vmin;
    s.validMax = vmax;
    s.sliderMin = smin;
    s.sliderMax = smax;
    s.uiFlags = uiFlags;
    return s;
}

constexpr ParamSpec Fixed(int32_t index, int32_t disk, const char* name, double def, double vmin,
                          double vmax, double smin, double smax, int16_t precision) {
    ParamSpec s = Float(index, disk, name, def, vmin, vmax, smin, smax, precision);
    s.type = PF_Param_FIX_SLIDER;
    return s;
}

constexpr ParamSpec Popup(int32_t index, int32_t disk, const char* name, const char* choices,
                          double def, uint32_t flags = 0) {
    ParamSpec s = Row(index, disk, PF_Param_POPUP, name, def, flags, choices);
    int32_t n = 1;
    for (const char* c = choices; *c; ++c)
        if (*c == '|') ++n;
    s.validMin = s.sliderMin = 1;
    s.validMax = s.sliderMax = n;
    return s;
}

constexpr ParamSpec Angle(int32_t index, int32_t disk, const char* name, double def = 0) {
    ParamSpec s = Row(index, disk, PF_Param_ANGLE, name, def);
    s.unit = ParamUnit::Degrees;
    return s;
}

// A point whose default is given in percent of the layer's size.
constexpr ParamSpec PointPercent(int32_t index, int32_t disk, const char* name, double x,
                                 double y) {
    ParamSpec s = Row(index, disk, PF_Param_POINT, name, x);
    s.def[1] = y;
    s.unit = ParamUnit::Percent;
    return s;
}

constexpr ParamSpec Color(int32_t index, int32_t disk, const char* name, double r, double g,
                          double b) {
    ParamSpec s = Row(index, disk, PF_Param_COLOR, name, r);
    s.def[1] = g;
    s.def[2] = b;
    return s;
}

// A name filter: a text parameter of custom UI (arbitrary data, the effectors' text tag).
// The name dialogs a click on a name filter opens: title, a newline, label.
inline constexpr const char* kSetLayerNameDialog =
    "Set Layer Name\nOnly Layers that begin with this name are considered.";
inline constexpr const char* kSetMaskNameDialog =
    "Set Mask Name\nOnly Masks that begin with this name are considered.";
inline constexpr const char* kSetLightNameDialog =
    "Set Light Name\nOnly Lights that begin with this name are considered.";

// A name filter: a text parameter whose click opens the given name dialog.
constexpr ParamSpec LightNameText(int32_t index, int32_t disk, const char* name,
                                  const char* dialog = kSetLightNameDialog) {
    ParamSpec s = Row(index, disk, PF_Param_ARBITRARY_DATA, name, 0, 0, dialog);
    s.arbId = disk;
    s.arbRefcon = 0x41535072;
    s.uiWidth = 350;
    s.uiHeight = 100;
    return s;
}

// A row with its one line for listings and pages, and the unit its number is in.
constexpr ParamSpec Doc(ParamSpec s, const char* doc) {
    s.doc = doc;
    return s;
}
constexpr ParamSpec Doc(ParamSpec s, ParamUnit unit, const char* doc) {
    s.unit = unit;
    s.doc = doc;
    return s;
}

// A slider the host shows in percent.
constexpr ParamSpec Percent(ParamSpec s) {
    s.unit = ParamUnit::Percent;
    return s;
}

constexpr ParamSpec GroupStart(int32_t index, int32_t disk, const char* name) {
    return Row(index, disk, PF_Param_GROUP_START, name);
}
constexpr ParamSpec GroupEnd(int32_t index, int32_t disk) {
    return Row(index, disk, PF_Param_GROUP_END, "");
}

// The group popup shared by sources, effectors and renderers: ten groups, a separator, and a
// last row meaning "no single group".
inline constexpr const char* kGroupChoicesAll =
    "Group 1|Group 2|Group 3|Group 4|Group 5|Group 6|Group 7|Group 8|Group 9|Group 10|(-|All "
    "Groups";
inline constexpr const char* kGroupChoicesNone =
    "Group 1|Group 2|Group 3|Group 4|Group 5|Group 6|Group 7|Group 8|Group 9|Group 10|(-|None";

}  // namespace tv::params
