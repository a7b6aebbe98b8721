// The main effect, "Tavrin": the only effect that draws. It finds its siblings on the layer,
// drives them for each frame and renders what they contribute.
#include <array>
#include <cstdio>
#include <cstring>

#include "engines/gl/GlGlobals.h"
#include "engines/gl/GlLog.h"
#include "host/IdleSuiteAccess.h"
#include "host/ParamBuilders.h"
#include "host/ScriptBridge.h"
#include "host/EffectTemplate.h"
#include "main/FrameDriver.h"
#include "host/Gather.h"
#include "main/MainParams.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "host/TextParam.h"
#include "main/MainEntries.h"

namespace tv {

namespace {

constexpr uint32_t kMainOutFlags = 0x88001;
constexpr uint32_t kMainOutFlags2AtSetup = 0x201406;
constexpr uint32_t kMainOutFlags2OnExit = 0x200001;

// The main effect's global data: word 0 reserved, word 1 the GL framework (null without one).
struct GlobalRecord {
    uint64_t reserved = 0;
    void* glFramework = nullptr;
};
static_assert(sizeof(GlobalRecord) == 16);

PF_Err GlobalSetup(PF_InData* in_data, PF_OutData* out_data) {
    SuiteCache suites(in_data);
    out_data->my_version = kEffectVersionWord;
    out_data->out_flags = kMainOutFlags;
    out_data->out_flags2 = kMainOutFlags2AtSetup;
    const PF_Handle handle = suites->newHandle(sizeof(GlobalRecord));
    if (!handle) return PF_Err_OUT_OF_MEMORY;
    auto* record = static_cast<GlobalRecord*>(suites->lockHandle(handle));
    if (record) {
        *record = GlobalRecord{};
        // The GL context and programs are made when a frame or the panel first asks for them.
        record->glFramework = new gl::GlFramework;
        suites->unlockHandle(handle);
    }
    out_data->global_data = handle;
    out_data->out_flags2 |= kMainOutFlags2OnExit;
    return PF_Err_NONE;
}

PF_Err GlobalSetdown(PF_InData* in_data) {
    SuiteCache suites(in_data);
    if (!in_data->global_data) return PF_Err_NONE;
    if (auto* record = static_cast<GlobalRecord*>(suites->lockHandle(in_data->global_data))) {
        gl::DeleteGlFramework(static_cast<gl::GlFramework*>(record->glFramework));
        record->glFramework = nullptr;
        suites->unlockHandle(in_data->global_data);
    }
    suites->disposeHandle(in_data->global_data);
    return PF_Err_NONE;
}

PF_Err SequenceSetup(PF_InData* in_data, PF_OutData* out_data) {
    const PF_Err err = SetupSequence(in_data, out_data);
    if (err || (in_data->in_flags & PF_InFlag_PROJECT_IS_RENDER_ONLY)) return err;
    SuiteCache suites(in_data);
    IdleSuite* idle = suites->acquireIdleSuite();
    if (!idle) {
        suites->diagnostic(kIdleSuiteLoadError);
        std::snprintf(out_data->return_msg, sizeof(out_data->return_msg), "%s", kIdleSuiteMissing);
        return PF_Err_NONE;
    }
    AEGP_EffectRefH self = suites->effectFromInstance(0, in_data->effect_ref);
    const AEGP_LayerH layer = suites->effectLayer(self);
    suites->disposeEffect(self);
    HostServices* host = &suites.host();
    idle->panelNotify();
    idle->queueTask([host, layer] { AddDefaultRenderer(*host, layer); });
    ReleaseIdleSuite(suites.host(), idle);
    return PF_Err_NONE;
}

PF_Err CompletelyGeneral(PF_InData* in_data, PF_OutData* out_data, ObjectMessage* message) {
    if (!message || message->magic != kTavrMagic) return PF_Err_NONE;
    // An export pass: the frame goes to an SVG engine instead of pixels.
    if (message->svgContext)
        return MainSvgPass(in_data, out_data, *reinterpret_cast<SvgPass*>(message->svgContext));
    switch (message->command) {
        case kObjGetGroup:
            message->setPayloadGroup(static_cast<int16_t>(0xFFFF));
            return PF_Err_NONE;
        case kObjSetGroup:
        case kObjGetTarget:
            return PF_Err_NONE;
        case kObjMixHash: {
            // The same value that pre-render mixes in as the frame's own key.
            bool ok = false;
            const uint64_t key = MainFrameHash(in_data, ok);
            if (!ok) return PF_Err_OUT_OF_MEMORY;
            MixHashInto(*message, key);
            return PF_Err_NONE;
        }
        case kObjGetInstanceId: {
            std::array<uint8_t, 16> id{};
            if (!ReadInstanceId(in_data, id)) {
                SuiteCache(in_data)->diagnostic("No Sequence Data Detected");
                return PF_Err_INTERNAL_STRUCT_DAMAGED;
            }
            std::memcpy(message->payload, id.data(), 16);
            return PF_Err_NONE;
        }
        default:
            // Other numbers matter only to the SVG pass, which is not built yet.
            return PF_Err_NONE;
    }
}

PF_Err Dispatch(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                void* extra) {
    switch (cmd) {
        case PF_Cmd_ABOUT:
            WriteAbout(out_data, "Tavrin",
                       "Next Gen 3D Plugin to Create Organic Structures & Networks.");
            return PF_Err_NONE;
        case PF_Cmd_GLOBAL_SETUP:
            return GlobalSetup(in_data, out_data);
        case PF_Cmd_GLOBAL_SETDOWN:
            return GlobalSetdown(in_data);
        case PF_Cmd_PARAMS_SETUP:
            return SetupParams(in_data, out_data, MainEffectParams());
        case PF_Cmd_SEQUENCE_SETUP:
            return SequenceSetup(in_data, out_data);
        case PF_Cmd_SEQUENCE_RESETUP:
            return ResetupSequence(in_data, out_data);
        case PF_Cmd_SEQUENCE_FLATTEN:
            return FlattenSequence(in_data, out_data);
        case PF_Cmd_SEQUENCE_SETDOWN: {
            // The end of a sequence of renders: this thread's GL context and circle texture go.
            SuiteCache suites(in_data);
            gl::ScopedLogSink sink(
                [&suites](const std::string& line) { suites->diagnostic(line); });
            gl::ThreadRenderSetdown();
            return SetdownSequence(in_data, out_data);
        }
        case PF_Cmd_USER_CHANGED_PARAM:
            return MainUserChangedParam(in_data, out_data, params,
                                        static_cast<const PF_UserChangedParamExtra*>(extra));
        case PF_Cmd_EVENT: {
            // The light filter draws its name or "<All Lights>"; a click opens its name dialog.
            auto* event = static_cast<PF_EventExtra*>(extra);
            if (!event || event->paramIndex != kMainLightNames) return PF_Err_NONE;
            if (event->e_type == PF_Event_DRAW)
                return DrawNameText(in_data, kMainLightNames, &AllLightsLabel, *event);
            if (event->e_type != PF_Event_DO_CLICK) return PF_Err_NONE;
            return RunNameDialog(in_data, kMainLightNames, params::kSetLightNameDialog,
                                 event->changeFlags);
        }
        case PF_Cmd_UPDATE_PARAMS_UI:
            return MainUpdateParamsUI(in_data, out_data, params);
        case PF_Cmd_COMPLETELY_GENERAL:
            return CompletelyGeneral(in_data, out_data, static_cast<ObjectMessage*>(extra));
        case PF_Cmd_QUERY_DYNAMIC_FLAGS:
            if (HostSupportsRenderGuid(in_data)) {
                out_data->out_flags &= ~PF_OutFlag_NON_PARAM_VARY;
                out_data->out_flags2 &= ~PF_OutFlag2_I_USE_3D_LIGHTS;
            }
            return PF_Err_NONE;
        case PF_Cmd_ARBITRARY_CALLBACK: {
            const auto* arb = static_cast<const PF_ArbParamsExtra*>(extra);
            if (!arb || reinterpret_cast<uintptr_t>(arb->refconPV) != 0x41537472)
                return PF_Err_NONE;
            // The text parameter's handler is not built yet.
            return PF_Err_NONE;
        }
        case PF_Cmd_SMART_PRE_RENDER:
            return MainPreRender(in_data, out_data, static_cast<PF_PreRenderExtra*>(extra));
        case PF_Cmd_SMART_RENDER:
            return MainSmartRender(in_data, out_data, static_cast<PF_SmartRenderExtra*>(extra));
        default:
            return PF_Err_NONE;
    }
}

}  // namespace

const gl::GlGlobals* MainGlGlobals(PF_InData* in_data, std::string* why) {
    SuiteCache suites(in_data);
    if (!in_data->global_data) return nullptr;
    auto* record = static_cast<GlobalRecord*>(suites->lockHandle(in_data->global_data));
    if (!record) return nullptr;
    auto* framework = static_cast<gl::GlFramework*>(record->glFramework);
    suites->unlockHandle(in_data->global_data);
    if (!framework) return nullptr;
    gl::ScopedLogSink sink([&suites](const std::string& line) { suites->diagnostic(line); });
    const gl::GlGlobals* globals = gl::FrameworkGlobals(*framework);
    if (!globals && why) *why = framework->why;
    return globals;
}

bool MainHasGLFramework(PF_InData* in_data) {
    return MainGlGlobals(in_data, nullptr) != nullptr;
}

PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                      PF_LayerDef* /*output*/, void* extra) {
    if (cmd < 0 || cmd >= PF_Cmd_NUM_CMDS) return PF_Err_NONE;
    try {
        return Dispatch(cmd, in_data, out_data, params, extra);
    } catch (const HostErrorCode& e) {
        return e.code;
    }
}

// The effect's row in the module's effect table.
const EffectInfo kMainEffectInfo{
    1,
    "Tavrin",
    "KDL TAVRUS TWO",
    "EntryPointFunc",
    &EntryPointFunc,
    0x88001,
    0x201407,
    EffectRole::Main,
    "Next Gen 3D Plugin to Create Organic Structures & Networks.",
    true,
    &MainEffectParams,
    "The effect that draws. It gathers the vertices the layer's sources make, runs its effectors "
    "over them and hands the result to its renderers, then draws points, lines, triangles, facets "
    "and beams with the comp's camera, lights, depth of field and motion blur.",
    "Put \"Tavrin\" first on the layer that should show the network; without it the other Tavrin "
    "effects of the layer make geometry that nothing draws. Add at least one source and one "
    "renderer below it. Turn on Unified Rendering for depth of field and motion blur (it needs "
    "OpenGL), and Use Lights for Shading to light faces with the comp's lights."};

}  // namespace tv
