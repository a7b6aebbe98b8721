// The embedded host: owns a project, registers the effect table, calls entry functions exactly
// as a compositing host would, and implements HostServices over its composition model (the
// state in HostState.h). The services are implemented by concern: EffectServices, LayerServices,
// ParamServices, PixelServices, TimeServices, SceneServices, StateToken, HandleServices,
// SystemServices, FootageServices, PathServices, AudioServices and ScriptServices.
#pragma once

#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/HostServices.h"
#include "resources/EffectTable.h"
#include "standalone/HostState.h"

namespace tv::standalone {

class EmbeddedHost : public HostServices {
  public:
    // Registers the 21 effects of the table.
    EmbeddedHost();
    ~EmbeddedHost() override;
    EmbeddedHost(const EmbeddedHost&) = delete;
    EmbeddedHost& operator=(const EmbeddedHost&) = delete;

    // ---- building the project ----------------------------------------------------------------
    AEGP_InstalledEffectKey registerEffect(const std::string& displayName,
                                           const std::string& matchName, PF_EntryFunc entry);
    const InstalledEffect* installedEffect(AEGP_InstalledEffectKey key) const {
        return state_.installedEffect(key);
    }
    const InstalledEffect* findInstalledByMatchName(const std::string& matchName) const;
    const InstalledEffect* findInstalledByDisplayName(const std::string& displayName) const;
    const std::deque<InstalledEffect>& installedEffects() const { return state_.installed; }

    Project& project() { return state_.project; }
    Comp& addComp(const std::string& name, int32_t width, int32_t height, int32_t fpsNum = 30,
                  int32_t fpsDen = 1, double duration = 10.0);
    // Appends a layer at the bottom of the comp's stack; its in and out points span the comp.
    Layer& addLayer(Comp& comp, const std::string& name, LayerKind kind);
    // Applies an installed effect to a layer as a host does: GLOBAL_SETUP on first use,
    // PARAMS_SETUP, default values, SEQUENCE_SETUP. Returns the instance.
    EffectInstance& applyEffectInstance(Layer& layer, AEGP_InstalledEffectKey key,
                                        bool renderOnly = false);
    EffectInstance& applyEffectInstance(Layer& layer, const std::string& matchName,
                                        bool renderOnly = false);

    // Lookups by handle through the state's maps; compByName walks the comps.
    Comp* compByUid(uint64_t uid) const { return state_.compByUid(uid); }
    Comp* compByName(const std::string& name) const;
    Layer* layerByUid(uint64_t uid) const { return state_.layerByUid(uid); }
    Comp* compOfLayer(const Layer& layer) const { return state_.compOfLayer(layer); }
    EffectInstance* instanceByUid(uint64_t uid) const { return state_.instanceByUid(uid); }
    Layer* layerOfInstance(uint64_t uid) const { return state_.layerOfInstance(uid); }

    // Calls one command of an instance's entry function, with in_data filled as a host does;
    // keeps what the effect hands back (global and sequence data). `out` receives the record.
    PF_Err callEffect(EffectInstance& instance, PF_Cmd cmd, const A_Time& time, void* extra,
                      PF_OutData* out = nullptr, PF_ParamDef** params = nullptr,
                      PF_LayerDef* output = nullptr, uint32_t inFlags = 0);
    // The about text of an installed effect.
    std::string aboutText(AEGP_InstalledEffectKey key);

    // The project's file (the document's path); empty for a project never saved.
    void setProjectPath(std::string path) { projectPath_ = std::move(path); }
    const std::string& projectPath() const { return projectPath_; }
    // This host runs no script engine: a dialog a script would open is answered with the text
    // given here for its title (once, in order), and without one as if cancelled.
    void queueDialogAnswer(const std::string& title, std::string answer);
    size_t pendingDialogAnswers() const;
    // A click in a parameter's custom UI (a name filter opens its dialog); the change flags.
    int32_t clickParam(EffectInstance& instance, int32_t index, const A_Time& time);
    // What a parameter's custom UI shows (a name filter: its name, or a placeholder such as
    // "<All Masks>" when empty); empty when the effect draws nothing there.
    std::string drawParam(EffectInstance& instance, int32_t index, const A_Time& time);

    // Runs and empties the idle queue, as a host does when it is idle.
    void runIdleTasks();
    size_t pendingIdleTasks() const;
    // Makes the idle suite unavailable (as when its companion is missing).
    void setIdleSuiteAvailable(bool available) { idleAvailable_ = available; }
    // Makes giving the idle suite back fail (as a host whose suite went away meanwhile).
    void setIdleReleaseFails(bool fails) { idleReleaseFails_ = fails; }

    // The diagnostic lines the effects printed, and the user messages they reported.
    std::vector<std::string> takeDiagnostics();
    std::vector<std::string> takeReports();
    // Where each diagnostic line is also printed as it comes (standard error, a log file); null
    // keeps them only for takeDiagnostics.
    void setDiagnosticStream(std::FILE* stream) { diagnosticStream_ = stream; }
    // The resolution frames are drawn at, as a host's preview resolution: every effect call
    // reports it as the downsample factors, and comps, layers and positions shrink by it.
    void setDownsample(PF_RationalScale scale) { downsample_ = scale; }
    PF_RationalScale downsample() const { return downsample_; }
    // A full-resolution size at the downsample, as the effects compute it.
    int32_t downsampled(int32_t size) const {
        return int32_t(double(size) * downsample_.num / downsample_.den);
    }
    // What the frames said of how they were drawn (renderNote), each distinct text once, by key.
    std::map<std::string, std::set<std::string>> renderNotes() const;

    // Worlds for the smart-render protocol of the instance rendering on this thread (pushed and
    // popped by a RenderWorldsScope).
    struct RenderWorlds {
        uint64_t instance = 0;
        PF_EffectWorld* input = nullptr;
        PF_EffectWorld* output = nullptr;
    };
    void pushRenderWorlds(const RenderWorlds& worlds);
    void popRenderWorlds();

    // ---- HostServices ------------------------------------------------------------------------
    int32_t layerNumEffects(AEGP_LayerH) override;
    AEGP_EffectRefH layerEffectByIndex(AEGP_PluginID, AEGP_LayerH, int32_t) override;
    AEGP_InstalledEffectKey installedKeyFromLayerEffect(AEGP_EffectRefH) override;
    std::string effectMatchName(AEGP_InstalledEffectKey) override;
    std::string effectDisplayName(AEGP_InstalledEffectKey) override;
    uint32_t effectFlags(AEGP_EffectRefH) override;
    PF_Err disposeEffect(AEGP_EffectRefH) override;
    PF_Err effectCallGeneric(AEGP_PluginID, AEGP_EffectRefH, const A_Time&, PF_Cmd, void*) override;
    AEGP_EffectRefH effectFromInstance(AEGP_PluginID, PF_ProgPtr) override;
    AEGP_LayerH effectLayer(AEGP_EffectRefH) override;
    int32_t numInstalledEffects() override;
    AEGP_InstalledEffectKey nextInstalledEffect(AEGP_InstalledEffectKey) override;
    AEGP_EffectRefH applyEffect(AEGP_PluginID, AEGP_LayerH, AEGP_InstalledEffectKey) override;

    uint32_t layerId(AEGP_LayerH) override;
    AEGP_LayerH layerFromLayerId(AEGP_CompH, uint32_t) override;
    AEGP_CompH layerParentComp(AEGP_LayerH) override;
    uint32_t layerFlags(AEGP_LayerH) override;
    std::string layerName(AEGP_LayerH) override;
    AEGP_ItemH layerSourceItem(AEGP_LayerH) override;
    AEGP_ItemType itemType(AEGP_ItemH) override;
    std::vector<std::string> footageFiles(AEGP_ItemH) override;
    void itemSolidColor(AEGP_ItemH, float[3]) override;
    AEGP_LayerH layerParent(AEGP_LayerH) override;
    AEGP_CompH compFromItem(AEGP_ItemH) override;
    int32_t compNumLayers(AEGP_CompH) override;
    AEGP_LayerH compLayerByIndex(AEGP_CompH, int32_t) override;
    bool layerActiveAtTime(AEGP_LayerH, const A_Time&) override;

    A_Time convertEffectToCompTime(PF_ProgPtr, int32_t, uint32_t) override;
    HostCameraMatrix effectCameraMatrix(PF_ProgPtr, const A_Time&) override;
    AEGP_LayerH effectCamera(PF_ProgPtr, const A_Time&) override;
    void cameraFilmSize(AEGP_LayerH, int32_t*, double*) override;
    int32_t cameraType(AEGP_LayerH) override;
    void layerStreamValue(AEGP_LayerH, int32_t, const A_Time&, double[4]) override;
    int32_t layerObjectType(AEGP_LayerH) override;
    int32_t layerLightType(AEGP_LayerH) override;
    void layerToWorldXform(AEGP_LayerH, const A_Time&, double[16]) override;
    void compDimensions(AEGP_CompH, int32_t*, int32_t*) override;
    A_Time compDuration(AEGP_CompH) override;
    void compWorkArea(AEGP_CompH, A_Time*, A_Time*) override;

    A_Time convertCompToLayerTime(AEGP_LayerH, const A_Time&) override;
    A_Time convertLayerToCompTime(AEGP_LayerH, const A_Time&) override;

    PF_Err addParam(PF_ProgPtr, const ParamSpec&) override;
    PF_Err checkoutParam(PF_ProgPtr, int32_t, int32_t, int32_t, uint32_t, PF_ParamDef*) override;
    PF_Err checkinParam(PF_ProgPtr, PF_ParamDef*) override;
    PF_Err setParamValue(PF_ProgPtr, int32_t, const PF_ParamDef&) override;
    PF_Err setParamHidden(PF_ProgPtr, int32_t, bool) override;
    PF_Err setParamLabel(PF_ProgPtr, int32_t, const std::string&) override;
    PF_Err setOptionsButtonName(PF_ProgPtr, const std::string&) override;
    // The label parameter `index` of an instance shows: as the effect last rewrote it, else the
    // text it was added with.
    std::string paramLabel(uint64_t instanceUid, int32_t index) const;
    PF_Err setParamName(PF_ProgPtr, int32_t, const std::string&) override;
    // The name parameter `index` of an instance shows: as the effect renamed it, else its own.
    std::string paramName(uint64_t instanceUid, int32_t index) const;

    PF_Err checkoutLayerPixels(PF_ProgPtr, int32_t, PF_EffectWorld**) override;
    PF_Err checkinLayerPixels(PF_ProgPtr, int32_t) override;
    PF_Err checkoutOutput(PF_ProgPtr, PF_EffectWorld**) override;
    uint64_t layerParamStateToken(PF_ProgPtr, int32_t, const A_Time&, int32_t) override;
    PF_Err reorderEffect(AEGP_EffectRefH, int32_t) override;
    PF_Err checkoutLayerFrame(AEGP_LayerH, const A_Time&, int32_t, PF_EffectWorld**) override;
    PF_Err checkinLayerFrame(PF_EffectWorld*) override;
    A_Time layerDuration(AEGP_LayerH) override;
    PF_Err layerAudio(PF_ProgPtr, int32_t, double, double, int32_t, std::vector<float>&) override;
    PF_Err executeScript(const std::string&, std::string&, std::string&) override;
    AEGP_ItemH findFootage(const std::string&, bool&) override;
    AEGP_ItemH importFootage(const std::vector<std::string>&, const std::string&) override;
    void replaceFootageFiles(AEGP_ItemH, const std::vector<std::string>&) override;
    AEGP_LayerH compLayerOfItem(AEGP_CompH, AEGP_ItemH) override;
    AEGP_LayerH addLayerOfItem(AEGP_CompH, AEGP_ItemH) override;
    int32_t layerMaskCount(PF_ProgPtr) override;
    PF_Err layerMask(PF_ProgPtr, int32_t, const A_Time&, MaskData&) override;
    PF_Err layerTextOutlines(PF_ProgPtr, const A_Time&, std::vector<BezierPath>&) override;

    PF_Handle newHandle(uint64_t) override;
    void* lockHandle(PF_Handle) override;
    void unlockHandle(PF_Handle) override;
    void disposeHandle(PF_Handle) override;
    uint64_t handleSize(PF_Handle) override;
    // Test and loader access: replaces a handle's bytes (a new handle when 0).
    PF_Handle handleFromBytes(const std::vector<uint8_t>& bytes);
    std::vector<uint8_t> handleBytes(PF_Handle);
    size_t liveHandleCount() const;

    void newGuid(uint8_t[16]) override;
    IdleSuite* acquireIdleSuite() override;
    void releaseIdleSuite(IdleSuite*) override;
    PF_Err iterate(int32_t, const std::function<PF_Err(int32_t)>&) override;
    void diagnostic(const std::string&) override;
    void reportInfo(const std::string&) override;
    // A note naming the layer, the effect and the file when `line` comes from the OBJ source's
    // reader (the innermost effect call on this thread); empty otherwise.
    std::string ObjProblemNote(const std::string& line) const;
    void renderNote(const std::string& key, const std::string& text) override;

  private:
    struct HandleBlock {
        std::vector<uint8_t> bytes;
        int32_t locks = 0;
    };
    struct EffectRef {
        uint64_t layer = 0;
        uint64_t instance = 0;
    };
    class Idle;

    EffectInstance* instanceOfRef(AEGP_EffectRefH) const;
    void ensureGlobalSetup(InstalledEffect& effect);
    PF_InData makeInData(const EffectInstance& instance, const InstalledEffect& effect,
                         const A_Time& time, uint32_t inFlags) const;

    HostState state_;
    PF_RationalScale downsample_;  // 1/1: full resolution

    mutable std::mutex handlesMutex_;
    std::unordered_map<PF_Handle, HandleBlock> handles_;
    PF_Handle nextHandle_ = 1;

    mutable std::mutex refsMutex_;
    std::unordered_map<AEGP_EffectRefH, EffectRef> refs_;
    AEGP_EffectRefH nextRef_ = 1;

    mutable std::mutex paramsMutex_;  // parameter writes during rendering
    std::map<std::pair<uint64_t, int32_t>, std::string> labels_;  // (instance, index): label
    std::map<std::pair<uint64_t, int32_t>, std::string> names_;   // (instance, index): name
    mutable std::mutex idleMutex_;
    std::vector<std::function<void()>> idleTasks_;
    std::unique_ptr<Idle> idle_;
    bool idleAvailable_ = true;
    std::string projectPath_;
    std::vector<std::pair<std::string, std::string>> dialogAnswers_;
    bool idleReleaseFails_ = false;

    mutable std::mutex messagesMutex_;
    std::vector<std::string> diagnostics_;
    std::map<std::string, std::set<std::string>> renderNotes_;
    std::vector<std::string> reports_;
    std::FILE* diagnosticStream_ = nullptr;

    mutable std::mutex guidMutex_;
    uint64_t guidState_[2] = {0, 0};
};

// Pushes an instance's render worlds for this thread and pops them when it ends, however the
// call it spans returns.
class RenderWorldsScope {
  public:
    RenderWorldsScope(EmbeddedHost& host, const EmbeddedHost::RenderWorlds& worlds) : host_(host) {
        host_.pushRenderWorlds(worlds);
    }
    ~RenderWorldsScope() { host_.popRenderWorlds(); }
    RenderWorldsScope(const RenderWorldsScope&) = delete;
    RenderWorldsScope& operator=(const RenderWorldsScope&) = delete;

  private:
    EmbeddedHost& host_;
};

// A mask's path at a comp time: its keys blended linearly, or held.
BezierPath MaskPathAt(const Mask& mask, double seconds);

}  // namespace tv::standalone
