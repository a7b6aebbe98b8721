// The main effect's 34 parameters and their behaviour in the host's panel.
#pragma once

#include <string>

#include "host/HostTypes.h"
#include "host/ParamTable.h"

namespace tv {

// Indices the frame driver reads.
enum MainParam : int32_t {
    kMainInput = 0,
    kMainTogglePanel = 1,
    kMainUseLights = 3,
    kMainLightNames = 4,
    kMainShadingMode = 5,
    kMainShadingRadius = 6,
    kMainShadingFalloff = 7,
    kMainUnified = 9,
    kMainDofGroup = 10,
    kMainDof = 11,
    kMainBlurFactor = 12,
    kMainMotionBlurGroup = 14,
    kMainMotionBlur = 15,
    kMainShutterAngle = 16,
    kMainShutterPhase = 17,
    kMainMotionBlurSamples = 18,
    kMainVisibilityGroup = 20,
    kMainPolygonVisibility = 21,
    kMainNearVanish = 22,
    kMainNearFade = 23,
    kMainFarFade = 24,
    kMainFarVanish = 25,
    kMainDepthMap = 26,
    kMainWhiteDepth = 27,
    kMainDarkDepth = 28,
    kMainRenderQuality = 30,
    kMainExportSvg = 31,
    kMainRefreshCache = 32,
    kMainReRender = 33,
    kMainParamCount = 34,
};

inline constexpr const char* kNoGpuMessage =
    "This GPU is not compatible.\nOpenGL 3.2 or greater required. Turning off Unified Rendering.";

namespace gl {
struct GlGlobals;
}
// The main effect's GL globals, made at the first call after GLOBAL_SETUP; null without usable
// GL, and then `why` (when given) says what was missing.
const gl::GlGlobals* MainGlGlobals(PF_InData* in_data, std::string* why);
bool MainHasGLFramework(PF_InData* in_data);

PF_Err MainUserChangedParam(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                            const PF_UserChangedParamExtra* extra);
PF_Err MainUpdateParamsUI(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[]);

}  // namespace tv
