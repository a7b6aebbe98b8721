// An effect's parameters as data, declared once per effect. The table drives the params-setup
// command, the document loader (names to indices, ranges, defaults) and `tavrin effects`.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>
#include <string_view>

#include "host/HostTypes.h"

namespace tv {

struct DistanceCurve;

inline constexpr uint32_t PF_ParamFlag_CANNOT_TIME_VARY = 0x2;
inline constexpr uint32_t PF_ParamFlag_CANNOT_INTERP = 0x4;
inline constexpr uint32_t PF_ParamFlag_START_COLLAPSED = 0x20;
inline constexpr uint32_t PF_ParamFlag_SUPERVISE = 0x40;
inline constexpr uint32_t kParamFlagsSup = 0x46;  // cannot time-vary, cannot interp, supervise

inline constexpr uint32_t PF_PUI_STD_CONTROL_ONLY = 0x4;
inline constexpr uint32_t PF_PUI_NO_ECW_UI = 0x8;
inline constexpr uint32_t PF_PUI_INVISIBLE = 0x200;

// How a number reads in user units, for documents, listings and the effect pages. Percent also
// makes a point's default a share of the layer's size; the others only name the unit.
enum class ParamUnit : uint8_t {
    None,
    Percent,
    Pixels,
    Degrees,
    Seconds,
    Milliseconds,
    Frames,
    WorldUnits,  // the comp's 3D space: one unit is one pixel at the camera's zoom distance
    Hertz,
    Samples,
};

// The unit's name as listings and pages print it ("" for none).
const char* ParamUnitName(ParamUnit unit);

struct ParamSpec {
    int32_t index = 0;   // position in the params array; 0 is the input layer
    int32_t diskId = 0;  // the id a saved project stores; never changes
    PF_ParamType type = PF_Param_RESERVED;
    const char* name = "";
    // Default: sliders, popups (1-based), checkboxes (0/1), angles (degrees); points use x, y(, z);
    // colours use r, g, b in 0..1.
    double def[3] = {0, 0, 0};
    // The value a new instance shows, where it differs from the default a reset restores (the
    // host keeps both for a checkbox); empty: the default.
    std::optional<double> value;
    double validMin = 0, validMax = 0;
    double sliderMin = 0, sliderMax = 0;
    int16_t precision = 0;
    uint32_t flags = 0;    // PF_ParamFlag_*
    uint32_t uiFlags = 0;  // PF_PUI_*
    // Popup choices "A|B|(-|C"; the label of a button or checkbox.
    const char* text = "";
    int32_t arbId = 0;  // arbitrary data: its id
    uint32_t arbRefcon = 0;
    // Curves: writes the default samples into the handle made at params setup.
    void (*fillCurve)(DistanceCurve&) = nullptr;
    // Arbitrary data that adds itself at params setup (curves: their handle made and filled
    // first); when null, the host adds the row as it stands.
    PF_Err (*addArbParam)(PF_InData*, const ParamSpec&) = nullptr;
    // Other arbitrary data (gradients): makes the default record, which params setup puts in a
    // handle.
    std::vector<uint8_t> (*makeArbDefault)() = nullptr;
    // Arbitrary data: the default handle the effect made at params setup (0: none). The host
    // keeps it and gives each new instance a copy.
    PF_Handle arbDefault = 0;
    int16_t uiWidth = 0, uiHeight = 0;
    ParamUnit unit = ParamUnit::None;
    // One line saying what the parameter does, for `tavrin effects` and the effect pages.
    const char* doc = "";
};

using ParamTable = std::span<const ParamSpec>;

// Popup helpers: entries counted from 1, separators "(-" included.
int32_t PopupEntryCount(const ParamSpec& spec);
std::string_view PopupEntry(const ParamSpec& spec, int32_t oneBased);

// The light name prefix from a popup of words (1-based), "(-", Custom, All Lights.
std::string LightPrefix(int32_t popup, const std::vector<std::string>& words,
                        const std::string& customText);

// The value a new instance starts with, in the host's representation: the row's `value` where it
// has one, else its default. For arbitrary data, the default handle itself: a host gives each
// instance its own copy.
PF_ParamDef DefaultParamValue(const ParamSpec& spec);

// Adds each row of the table through the host, in order; sets out_data->num_params.
PF_Err SetupParams(PF_InData* in_data, PF_OutData* out_data, ParamTable table);

// Shows or hides one parameter of the calling instance.
PF_Err ShowParameter(PF_InData* in_data, int32_t index, bool hidden);

}  // namespace tv
