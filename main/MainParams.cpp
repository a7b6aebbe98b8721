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
    Row(1, 38, PF_Param_BUTTON, "Toggle Tavrin Object Panel", 0, kParamFlagsSup, "Open/Close"),
    Row(2, 1, PF_Param_GROUP_START, "Shading"),
    Row(3, 2, PF_Param_CHECKBOX, "Use Lights for Shading", 0, kParamFlagsSup, ""),
    TextArb(),
    Popup(5, 4, "Shading Mode", kShadingModes, 2),
    Float(6, 5, "Shading Radius", 500, 0, 1000000, 0, 100, 2),
    Float(7, 6, "Shading Falloff", 500, 0, 1000000, 0, 100, 2),
    Row(8, 7, PF_Param_GROUP_END, ""),
    Row(9, 8, PF_Param_CHECKBOX, "Unified Rendering", 0, kParamFlagsSup,
        "Required for DoF & Motion Blur (GPU)"),
    Row(10, 34, PF_Param_GROUP_START, "Depth of Field"),
    Popup(11, 9, "Depth of Field", kDofModes, 1, kParamFlagsSup),
    Float(12, 11, "Blur Factor", 1, 0, 1000, 0, 1, 3),
    Row(13, 35, PF_Param_GROUP_END, ""),
    Row(14, 30, PF_Param_GROUP_START, "Motion Blur"),
    Popup(15, 32, "Render Motion Blur", kMotionBlurModes, 2, kParamFlagsSup),
    Float(16, 18, "Shutter Angle", 180, 0, 1000000, 0, 360, 0),
    Float(17, 19, "Shutter Phase", -180, -1000000, 1000000, -180, 180, 0),
    Int(18, 40, "Motion Blur Samples", 16, 1, 2048, 1, 128, kParamFlagsSup),
    Row(19, 31, PF_Param_GROUP_END, ""),
    Row(20, 21, PF_Param_GROUP_START, "Visibility"),
    Popup(21, 39, "Polygon Visibility", kPolygonVisibility, 1),
    Float(22, 22, "Near Vanish", 10, 1, 1000000, 1, 200, 0),
    Float(23, 23, "Near Fade", 200, 1, 1000000, 100, 200, 0),
    Float(24, 24, "Far Fade", 25000, 1, 1000000, 20000, 30000, 0),
    Float(25, 25, "Far Vanish", 30000, 1, 1000000, 30000, 50000, 0),
    Row(26, 26, PF_Param_LAYER, "Depth Map for Occlusion"),
    Float(27, 27, "White Pixels Depth", 0, 0, 1000000, 0, 1000, 0),
    Float(28, 28, "Dark Pixels Depth", 10000, 0, 1000000, 10000, 20000, 0),
    Row(29, 29, PF_Param_GROUP_END, ""),
    Popup(30, 12, "Render Quality", kRenderQualities, 1, kParamFlagsSup),
    Row(31, 14, PF_Param_BUTTON, "Export SVG", 0, kParamFlagsSup, "Export SVG"),
    Row(32, 36, PF_Param_BUTTON, "Refresh Cache", 0, kParamFlagsSup, "Refresh"),
    Int(33, 37, "Re-Render", 0, -2147483648.0, 2147483647.0, 0, 100, kParamFlagsSup,
        PF_PUI_NO_ECW_UI | PF_PUI_INVISIBLE),
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
