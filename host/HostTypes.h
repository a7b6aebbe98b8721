// The value types of the effect API that every entry function receives: commands, error codes,
// time, the input and output records, parameter definitions and worlds. These are our own
// declarations of the host's contract, shaped the way a compositing host hands them over.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tv {

class HostServices;

// ---- error codes ---------------------------------------------------------------------------
using PF_Err = int32_t;
inline constexpr PF_Err PF_Err_NONE = 0;
inline constexpr PF_Err PF_Err_OUT_OF_MEMORY = 4;
inline constexpr PF_Err PF_Err_INTERNAL_STRUCT_DAMAGED = 512;
inline constexpr PF_Err PF_Err_INVALID_INDEX = 513;
inline constexpr PF_Err PF_Err_UNRECOGNIZED_PARAM_TYPE = 514;
inline constexpr PF_Err PF_Err_INVALID_CALLBACK = 515;
inline constexpr PF_Err PF_Err_BAD_CALLBACK_PARAM = 516;

// A host service that cannot be had throws this type; every entry function catches it and
// returns the code.
struct HostErrorCode {
    PF_Err code;
};

// ---- commands ------------------------------------------------------------------------------
enum PF_Cmd : int32_t {
    PF_Cmd_ABOUT = 0,
    PF_Cmd_GLOBAL_SETUP = 1,
    PF_Cmd_UNUSED_0 = 2,
    PF_Cmd_GLOBAL_SETDOWN = 3,
    PF_Cmd_PARAMS_SETUP = 4,
    PF_Cmd_SEQUENCE_SETUP = 5,
    PF_Cmd_SEQUENCE_RESETUP = 6,
    PF_Cmd_SEQUENCE_FLATTEN = 7,
    PF_Cmd_SEQUENCE_SETDOWN = 8,
    PF_Cmd_DO_DIALOG = 9,
    PF_Cmd_FRAME_SETUP = 10,
    PF_Cmd_RENDER = 11,
    PF_Cmd_FRAME_SETDOWN = 12,
    PF_Cmd_USER_CHANGED_PARAM = 13,
    PF_Cmd_UPDATE_PARAMS_UI = 14,
    PF_Cmd_EVENT = 15,
    PF_Cmd_GET_EXTERNAL_DEPENDENCIES = 16,
    PF_Cmd_COMPLETELY_GENERAL = 17,
    PF_Cmd_QUERY_DYNAMIC_FLAGS = 18,
    PF_Cmd_AUDIO_RENDER = 19,
    PF_Cmd_AUDIO_SETUP = 20,
    PF_Cmd_AUDIO_SETDOWN = 21,
    PF_Cmd_ARBITRARY_CALLBACK = 22,
    PF_Cmd_SMART_PRE_RENDER = 23,
    PF_Cmd_SMART_RENDER = 24,
    PF_Cmd_NUM_CMDS = 25,
};

// ---- out flags -----------------------------------------------------------------------------
inline constexpr uint32_t PF_OutFlag_KEEP_RESOURCE_OPEN = 0x1;
inline constexpr uint32_t PF_OutFlag_WIDE_TIME_INPUT = 0x2;
inline constexpr uint32_t PF_OutFlag_NON_PARAM_VARY = 0x4;
inline constexpr uint32_t PF_OutFlag_SEQUENCE_DATA_NEEDS_FLATTENING = 0x10;
inline constexpr uint32_t PF_OutFlag_CUSTOM_UI = 0x8000;
inline constexpr uint32_t PF_OutFlag_I_USE_SHUTTER_ANGLE = 0x80000;
inline constexpr uint32_t PF_OutFlag_I_USE_AUDIO = 0x100000;
inline constexpr uint32_t PF_OutFlag_I_AM_OBSOLETE = 0x200000;
inline constexpr uint32_t PF_OutFlag2_SUPPORTS_QUERY_DYNAMIC_FLAGS = 0x1;
inline constexpr uint32_t PF_OutFlag2_I_USE_3D_CAMERA = 0x2;
inline constexpr uint32_t PF_OutFlag2_I_USE_3D_LIGHTS = 0x4;
inline constexpr uint32_t PF_OutFlag2_SUPPORTS_SMART_RENDER = 0x400;
inline constexpr uint32_t PF_OutFlag2_FLOAT_COLOR_AWARE = 0x1000;
inline constexpr uint32_t PF_OutFlag2_AE13_5_THREADSAFE = 0x200000;

inline constexpr uint32_t PF_InFlag_PROJECT_IS_RENDER_ONLY = 0x1;

// ---- time ----------------------------------------------------------------------------------
struct A_Time {
    int32_t value = 0;
    uint32_t scale = 1;
};

// ---- opaque host references ----------------------------------------------------------------
// Host objects are named by plain numbers; 0 is "none". An effect never keeps one across calls.
using AEGP_LayerH = uint64_t;
using AEGP_CompH = uint64_t;
using AEGP_ItemH = uint64_t;
using AEGP_EffectRefH = uint64_t;
using AEGP_InstalledEffectKey = int32_t;
using AEGP_PluginID = int32_t;
using PF_ProgPtr = uint64_t;  // the calling effect instance
using PF_Handle = uint64_t;   // a block of host memory; lock to reach its bytes

inline constexpr uint32_t AEGP_EffectFlags_ACTIVE = 0x1;

enum AEGP_ItemType : int32_t {
    AEGP_ItemType_NONE = 0,
    AEGP_ItemType_FOLDER = 1,
    AEGP_ItemType_COMP = 2,
    AEGP_ItemType_SOLID = 3,
    AEGP_ItemType_FOOTAGE = 4,
};

// Layer flags as a host reports them.
inline constexpr uint32_t AEGP_LayerFlag_VIDEO_ACTIVE = 0x1;
inline constexpr uint32_t AEGP_LayerFlag_AUDIO_ACTIVE = 0x2;
inline constexpr uint32_t AEGP_LayerFlag_EFFECTS_ACTIVE = 0x4;
inline constexpr uint32_t AEGP_LayerFlag_MOTION_BLUR = 0x8;
inline constexpr uint32_t AEGP_LayerFlag_COLLAPSE = 0x20;
inline constexpr uint32_t AEGP_LayerFlag_LAYER_IS_3D = 0x200;

// ---- worlds --------------------------------------------------------------------------------
struct PF_Pixel8 {
    uint8_t alpha, red, green, blue;
};
struct PF_Pixel16 {
    uint16_t alpha, red, green, blue;
};
struct PF_PixelFloat {
    float alpha, red, green, blue;
};

enum PF_PixelFormat : int32_t {
    PF_PixelFormat_ARGB32 = 0,
    PF_PixelFormat_ARGB64 = 1,
    PF_PixelFormat_ARGB128 = 2,
};

struct PF_LRect {
    int32_t left = 0, top = 0, right = 0, bottom = 0;
};

// An image in premultiplied A, R, G, B memory order; rowbytes may exceed width * pixel size.
struct PF_EffectWorld {
    int32_t width = 0;
    int32_t height = 0;
    int32_t rowbytes = 0;
    PF_PixelFormat format = PF_PixelFormat_ARGB32;
    uint8_t* data = nullptr;
    PF_LRect extent_hint;
};
using PF_LayerDef = PF_EffectWorld;

// ---- parameters ----------------------------------------------------------------------------
enum PF_ParamType : int32_t {
    PF_Param_RESERVED = -1,
    PF_Param_LAYER = 0,
    PF_Param_SLIDER = 1,
    PF_Param_FIX_SLIDER = 2,
    PF_Param_ANGLE = 3,
    PF_Param_CHECKBOX = 4,
    PF_Param_COLOR = 5,
    PF_Param_POINT = 6,
    PF_Param_POPUP = 7,
    PF_Param_CUSTOM = 8,
    PF_Param_NO_DATA = 9,
    PF_Param_FLOAT_SLIDER = 10,
    PF_Param_ARBITRARY_DATA = 11,
    PF_Param_PATH = 12,
    PF_Param_GROUP_START = 13,
    PF_Param_GROUP_END = 14,
    PF_Param_BUTTON = 15,
    PF_Param_POINT_3D = 18,
};

using PF_Fixed = int32_t;  // 16.16 fixed point
inline constexpr double kFixedOne = 65536.0;
inline double FixedToDouble(PF_Fixed f) {
    return f / kFixedOne;
}
inline PF_Fixed DoubleToFixed(double d) {
    return static_cast<PF_Fixed>(d * kFixedOne + (d < 0 ? -0.5 : 0.5));
}

// The value of one parameter at one time, in the host's representation.
struct PF_ParamDef {
    PF_ParamType param_type = PF_Param_RESERVED;
    union U {
        int32_t layerId;     // LAYER: layer id, 0 = none
        int32_t slider;      // SLIDER
        PF_Fixed fixed;      // FIX_SLIDER, ANGLE (degrees in 16.16)
        int32_t checkbox;    // CHECKBOX
        PF_Pixel8 color;     // COLOR
        PF_Fixed point[2];   // POINT
        double point3d[3];   // POINT_3D
        int32_t popup;       // POPUP, 1-based, separators counted
        double floatValue;   // FLOAT_SLIDER
        PF_Handle arbData;   // ARBITRARY_DATA
        uint32_t pathId;     // PATH: mask id, 0 = none
        PF_EffectWorld* ld;  // params[0] under PF_Cmd_RENDER: the input layer's pixels
    } u{};
};

// extra of PF_Cmd_USER_CHANGED_PARAM.
struct PF_UserChangedParamExtra {
    int32_t param_index = 0;
};

// ---- input and output records --------------------------------------------------------------
struct PF_SpecVersion {
    int16_t major = 13;
    int16_t minor = 28;
};

struct PF_RationalScale {
    int32_t num = 1;
    uint32_t den = 1;
};

struct PF_InData {
    HostServices* pica_basicP = nullptr;  // the host's services; null means none are reachable
    PF_SpecVersion version;
    uint32_t in_flags = 0;
    PF_ProgPtr effect_ref = 0;
    int32_t current_time = 0;
    int32_t time_step = 1;
    int32_t total_time = 0;
    int32_t local_time_step = 1;
    uint32_t time_scale = 1;
    int32_t width = 0;
    int32_t height = 0;
    int32_t shutter_angle = 0;  // 16.16 fraction of a turn
    int32_t shutter_phase = 0;  // 16.16 fraction of a turn
    PF_LRect extent_hint;
    PF_RationalScale downsample_x;
    PF_RationalScale downsample_y;
    PF_RationalScale pixel_aspect_ratio;
    PF_Handle global_data = 0;
    PF_Handle sequence_data = 0;
};

struct PF_OutData {
    uint32_t my_version = 0;
    char name[32] = {};
    PF_Handle global_data = 0;
    int32_t num_params = 0;
    PF_Handle sequence_data = 0;
    int32_t flat_sdata_size = 0;
    int32_t width = 0;
    int32_t height = 0;
    uint32_t out_flags = 0;
    char return_msg[256] = {};
    uint32_t out_flags2 = 0;
};

// The extra record of PF_Cmd_EVENT: a click in a parameter's custom UI, say.
enum PF_EventType : int32_t {
    PF_Event_NEW_CONTEXT = 0,
    PF_Event_ACTIVATE = 1,
    PF_Event_DO_CLICK = 2,
    PF_Event_DRAG = 3,
    PF_Event_DRAW = 4,
};
inline constexpr int32_t PF_ChangeFlag_CHANGED_VALUE = 1;
struct PF_EventExtra {
    PF_EventType e_type = PF_Event_DO_CLICK;
    int32_t paramIndex = 0;    // the parameter whose UI got the event
    int32_t changeFlags = 0;   // the effect says what it changed
    char drawnText[256] = {};  // PF_Event_DRAW: the text the control shows, cut to fit
};

// The extra record of PF_Cmd_ARBITRARY_CALLBACK.
enum PF_ArbitraryFunc : int32_t {
    PF_Arbitrary_NEW_FUNC = 0,
    PF_Arbitrary_DISPOSE_FUNC = 1,
    PF_Arbitrary_COPY_FUNC = 2,
    PF_Arbitrary_FLAT_SIZE_FUNC = 3,
    PF_Arbitrary_FLATTEN_FUNC = 4,
    PF_Arbitrary_UNFLATTEN_FUNC = 5,
    PF_Arbitrary_INTERP_FUNC = 6,
    PF_Arbitrary_COMPARE_FUNC = 7,
    PF_Arbitrary_PRINT_SIZE_FUNC = 8,
    PF_Arbitrary_PRINT_FUNC = 9,
    PF_Arbitrary_SCAN_FUNC = 10,
};

// The selector's arguments; which are used depends on which_function.
struct PF_ArbCallbackArgs {
    PF_Handle arbH = 0;             // DISPOSE, FLAT_SIZE, FLATTEN: the data
    PF_Handle srcH = 0;             // COPY: the source
    PF_Handle* dstPH = nullptr;     // NEW, COPY, UNFLATTEN: where the new handle goes
    uint64_t* flatSizeP = nullptr;  // FLAT_SIZE: the answer
    uint64_t bufSize = 0;           // FLATTEN, UNFLATTEN: the flat buffer's size
    void* flatData = nullptr;       // FLATTEN: written; UNFLATTEN: read
};

struct PF_ArbParamsExtra {
    int32_t which_function = 0;
    int32_t id = 0;
    void* refconPV = nullptr;
    void* u = nullptr;  // a PF_ArbCallbackArgs
};

// The extra records of the smart-render protocol.
using PF_GuidMixInPtr = PF_Err (*)(PF_ProgPtr effect_ref, uint32_t size, const void* data);
struct PF_PreRenderExtra {
    PF_LRect request_rect;     // what the host asks for
    PF_LRect result_rect;      // what the effect will produce
    PF_LRect max_result_rect;  // the most it could produce
    PF_GuidMixInPtr guid_mix_in = nullptr;
    uint64_t frame_key = 0;  // the key the effect mixed, as the host sees it
};
struct PF_SmartRenderExtra {
    int32_t bit_depth = 8;  // of the worlds the host will hand out
};

// Every effect's entry function has this signature.
using PF_EntryFunc = PF_Err (*)(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                PF_ParamDef* params[], PF_LayerDef* output, void* extra);

// Time helpers.
inline double TimeToSeconds(A_Time t) {
    return t.scale ? double(t.value) / double(t.scale) : 0.0;
}

}  // namespace tv
