#include "host/IdleSuiteAccess.h"
#include "main/MainParams.h"

#include <ctime>

#include "host/ParamBuilders.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "main/SvgExportButton.h"
#include "main/MainEntries.h"

namespace tv {

namespace {

constexpr const char* kShadingModes = "One Side|Both Sides";
constexpr const char* kDofModes = "Off|Camera Settings";
constexpr const char* kMotionBlurModes = "Off|Comp Settings|Custom";
constexpr const char* kPolygonVisibility = "Front & Back Facing|Front Facing|Back Facing";
constexpr const char* kRenderQualities = "1x|2x|3x|4x|5x|6x|7x|8x";
constexpr uint32_t kTextRefcon = 0x41537472;  // "AStr"

using params::Doc;
using params::Float;
using params::Int;
using params::Popup;
using params::Row;

constexpr ParamSpec TextArb() {
    ParamSpec s = Row(4, 3, PF_Param_ARBITRARY_DATA, "Light(s) Name Begins with", 0, 0,
                      params::kSetLightNameDialog);
    s.arbId = 3;
    s.arbRefcon = kTextRefcon;
    s.uiFlags = 0x41;
    s.uiWidth = 350;
    s.uiHeight = 100;
    return s;
}

constexpr ParamSpec kMainTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Row(1, 38, PF_Param_BUTTON, "Toggle Tavrin Object Panel", 0, kParamFlagsSup, "Open/Close"),
        "Opens or closes the panel listing the objects this layer gathers."),
    Row(2, 1, PF_Param_GROUP_START, "Shading"),
    Doc(Row(3, 2, PF_Param_CHECKBOX, "Use Lights for Shading", 0, kParamFlagsSup, ""),
        "Shades faces with the comp's lights whose names match the filter below."),
    Doc(TextArb(), "Only lights whose names begin with this text shade the faces."),
    Doc(Popup(5, 4, "Shading Mode", kShadingModes, 2),
        "One Side lights a face from its front only; Both Sides lights both of its sides."),
    Doc(Float(6, 5, "Shading Radius", 500, 0, 1000000, 0, 100, 2), ParamUnit::WorldUnits,
        "Distance from a light within which it shines at full strength."),
    Doc(Float(7, 6, "Shading Falloff", 500, 0, 1000000, 0, 100, 2), ParamUnit::WorldUnits,
        "Distance beyond the radius over which a light fades out."),
    Row(8, 7, PF_Param_GROUP_END, ""),
    Doc(Row(9, 8, PF_Param_CHECKBOX, "Unified Rendering", 0, kParamFlagsSup,
            "Required for DoF & Motion Blur (GPU)"),
        "Draws everything together on the GPU (OpenGL), which depth of field and motion blur "
        "need."),
    Row(10, 34, PF_Param_GROUP_START, "Depth of Field"),
    Doc(Popup(11, 9, "Depth of Field", kDofModes, 1, kParamFlagsSup),
        "Off, or blur by distance from the focus plane, with the comp camera's aperture and "
        "focus."),
    Doc(Float(12, 11, "Blur Factor", 1, 0, 1000, 0, 1, 3),
        "Multiplies the camera's aperture: how strongly out-of-focus geometry blurs."),
    Row(13, 35, PF_Param_GROUP_END, ""),
    Row(14, 30, PF_Param_GROUP_START, "Motion Blur"),
    Doc(Popup(15, 32, "Render Motion Blur", kMotionBlurModes, 2, kParamFlagsSup),
        "Off, the comp's shutter (Comp Settings), or the shutter angle and phase below (Custom)."),
    Doc(Float(16, 18, "Shutter Angle", 180, 0, 1000000, 0, 360, 0), ParamUnit::Degrees,
        "How long the shutter stays open per frame; 360 is a whole frame."),
    Doc(Float(17, 19, "Shutter Phase", -180, -1000000, 1000000, -180, 180, 0), ParamUnit::Degrees,
        "When the shutter opens, relative to the frame's time; negative opens it earlier."),
    Doc(Int(18, 40, "Motion Blur Samples", 16, 1, 2048, 1, 128, kParamFlagsSup), ParamUnit::Samples,
        "Moments within the shutter drawn and averaged; more is smoother and slower."),
    Row(19, 31, PF_Param_GROUP_END, ""),
    Row(20, 21, PF_Param_GROUP_START, "Visibility"),
    Doc(Popup(21, 39, "Polygon Visibility", kPolygonVisibility, 1),
        "Which sides of triangles, facets and beams draw: both, those facing the camera, or those "
        "facing away."),
    Doc(Float(22, 22, "Near Vanish", 10, 1, 1000000, 1, 200, 0), ParamUnit::WorldUnits,
        "Geometry closer to the camera than this is not drawn."),
    Doc(Float(23, 23, "Near Fade", 200, 1, 1000000, 100, 200, 0), ParamUnit::WorldUnits,
        "Geometry fades in from Near Vanish up to this distance from the camera."),
    Doc(Float(24, 24, "Far Fade", 25000, 1, 1000000, 20000, 30000, 0), ParamUnit::WorldUnits,
        "Geometry starts to fade out beyond this distance from the camera."),
    Doc(Float(25, 25, "Far Vanish", 30000, 1, 1000000, 30000, 50000, 0), ParamUnit::WorldUnits,
        "Geometry farther from the camera than this is not drawn."),
    Doc(Row(26, 26, PF_Param_LAYER, "Depth Map for Occlusion"),
        "A layer whose brightness gives a depth per pixel; geometry behind that depth is hidden."),
    Doc(Float(27, 27, "White Pixels Depth", 0, 0, 1000000, 0, 1000, 0), ParamUnit::WorldUnits,
        "Distance from the camera that white pixels of the depth map stand for."),
    Doc(Float(28, 28, "Dark Pixels Depth", 10000, 0, 1000000, 10000, 20000, 0),
        ParamUnit::WorldUnits,
        "Distance from the camera that black pixels of the depth map stand for."),
    Row(29, 29, PF_Param_GROUP_END, ""),
    Doc(Popup(30, 12, "Render Quality", kRenderQualities, 1, kParamFlagsSup),
        "Antialiasing of the unified path: more passes per frame give smoother edges, slower."),
    Doc(Row(31, 14, PF_Param_BUTTON, "Export SVG", 0, kParamFlagsSup, "Export SVG"),
        "Writes the frame's points, lines and faces to an SVG file."),
    Doc(Row(32, 36, PF_Param_BUTTON, "Refresh Cache", 0, kParamFlagsSup, "Refresh"),
        "Forgets the frames kept so far, so that each frame is drawn anew."),
    Doc(Int(33, 37, "Re-Render", 0, -2147483648.0, 2147483647.0, 0, 100, kParamFlagsSup,
            PF_PUI_NO_ECW_UI | PF_PUI_INVISIBLE),
        "Hidden counter that Refresh Cache changes, so kept frames no longer match."),
};
static_assert(std::size(kMainTable) == kMainParamCount);

// Reads one parameter of the calling instance at the current time.
PF_ParamDef Checkout(PF_InData* in_data, HostServices& host, int32_t index) {
    PF_ParamDef def;
    if (host.checkoutParam(in_data->effect_ref, index, in_data->current_time, in_data->time_step,
                           in_data->time_scale, &def) != PF_Err_NONE)
        return DefaultParamValue(kMainTable[index]);
    host.checkinParam(in_data->effect_ref, &def);
    return def;
}

// The visibility rules, in their fixed order, stopping at the first error.
PF_Err ApplyVisibility(PF_InData* in_data, HostServices& host) {
    const bool dofCustom = Checkout(in_data, host, kMainDof).u.popup == 2;
    const bool useLights = Checkout(in_data, host, kMainUseLights).u.checkbox != 0;
    const bool customBlur = Checkout(in_data, host, kMainMotionBlur).u.popup == 3;
    const bool unified = Checkout(in_data, host, kMainUnified).u.checkbox != 0;
    const std::pair<int32_t, bool> rules[] = {
        {kMainBlurFactor, !dofCustom},     {kMainLightNames, !useLights},
        {kMainShadingMode, !useLights},    {kMainShadingRadius, !useLights},
        {kMainShadingFalloff, !useLights}, {kMainShutterAngle, !customBlur},
        {kMainShutterPhase, !customBlur},  {kMainRenderQuality, !unified},
        {kMainDofGroup, !unified},         {kMainMotionBlurGroup, !unified},
        {kMainVisibilityGroup, !unified},  {kMainReRender, true},
    };
    for (const auto& [index, hidden] : rules)
        if (const PF_Err err = ShowParameter(in_data, index, hidden)) return err;
    return PF_Err_NONE;
}

}  // namespace

ParamTable MainEffectParams() {
    return kMainTable;
}

PF_Err MainUserChangedParam(PF_InData* in_data, PF_OutData* /*out_data*/, PF_ParamDef* /*params*/[],
                            const PF_UserChangedParamExtra* extra) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    if (extra) {
        switch (extra->param_index) {
            case kMainExportSvg:
                if (const PF_Err err = RunSvgExport(in_data)) return err;
                break;
            case kMainUnified:
                if (Checkout(in_data, host, kMainUnified).u.checkbox &&
                    !MainHasGLFramework(in_data)) {
                    host.reportInfo(kNoGpuMessage);
                    PF_ParamDef off = DefaultParamValue(kMainTable[kMainUnified]);
                    off.u.checkbox = 0;
                    host.setParamValue(in_data->effect_ref, kMainUnified, off);
                }
                break;
            case kMainRefreshCache: {
                PF_ParamDef now = DefaultParamValue(kMainTable[kMainReRender]);
                now.u.slider = static_cast<int32_t>(std::time(nullptr));
                host.setParamValue(in_data->effect_ref, kMainReRender, now);
                break;
            }
            case kMainTogglePanel:
                if (IdleSuite* idle = host.acquireIdleSuite()) {
                    idle->panelNotify();
                    ReleaseIdleSuite(host, idle);
                }
                break;
            default:
                break;
        }
    }
    return ApplyVisibility(in_data, host);
}

PF_Err MainUpdateParamsUI(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[]) {
    if (!MarkOnce(in_data, kSeqFlagVisibilityCurrent)) return PF_Err_NONE;
    return MainUserChangedParam(in_data, out_data, params, nullptr);
}

}  // namespace tv
