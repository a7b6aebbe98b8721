// The embedded host's core: the installed effects, building the project (comps, layers,
// effect instances with their default values), and calling an instance's entry function with
// in_data filled as a compositing host does. The services are in *Services.cpp by concern.
#include "standalone/EmbeddedHost.h"

#include <chrono>
#include <random>

#include "standalone/CallTimes.h"

namespace tv::standalone {

// ---- the idle suite ----------------------------------------------------------------------------

class EmbeddedHost::Idle : public IdleSuite {
  public:
    explicit Idle(EmbeddedHost& host) : host_(host) {}
    void queueTask(std::function<void()> task) override {
        std::lock_guard lock(host_.idleMutex_);
        host_.idleTasks_.push_back(std::move(task));
    }
    void panelNotify() override {}  // the embedded host has no object panel
    void instanceIdChanged() override {}

  private:
    EmbeddedHost& host_;
};

IdleSuite* EmbeddedHost::acquireIdleSuite() {
    return idleAvailable_ ? idle_.get() : nullptr;
}

void EmbeddedHost::releaseIdleSuite(IdleSuite*) {
    if (idleReleaseFails_) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
}

// ---- construction ------------------------------------------------------------------------------

EmbeddedHost::EmbeddedHost() : idle_(std::make_unique<Idle>(*this)) {
    for (const EffectInfo& info : EffectTable())
        registerEffect(info.displayName, info.matchName, info.entry);
    std::random_device rd;
    guidState_[0] = (uint64_t(rd()) << 32) ^ rd() ^
                    uint64_t(std::chrono::steady_clock::now().time_since_epoch().count());
    guidState_[1] = (uint64_t(rd()) << 32) ^ rd();
}

EmbeddedHost::~EmbeddedHost() {
    // Release every instance's sequence data and every effect's global data, as a host does
    // when it closes a project and unloads the module.
    for (auto& comp : state_.project.comps)
        for (auto& layer : comp->layers)
            for (auto& instance : layer->effects)
                if (instance->sequenceData) {
                    try {
                        callEffect(*instance, PF_Cmd_SEQUENCE_SETDOWN, A_Time{0, 1}, nullptr);
                    } catch (...) {
                    }
                }
    for (auto& effect : state_.installed) {
        if (!effect.globalSetupDone) continue;
        PF_InData in;
        in.pica_basicP = this;
        in.global_data = effect.globalData;
        PF_OutData out;
        try {
            effect.entry(PF_Cmd_GLOBAL_SETDOWN, &in, &out, nullptr, nullptr, nullptr);
        } catch (...) {
        }
    }
}

AEGP_InstalledEffectKey EmbeddedHost::registerEffect(const std::string& displayName,
                                                     const std::string& matchName,
                                                     PF_EntryFunc entry) {
    InstalledEffect effect;
    effect.key = static_cast<AEGP_InstalledEffectKey>(state_.installed.size() + 1);
    effect.displayName = displayName;
    effect.matchName = matchName;
    effect.entry = entry;
    state_.installed.push_back(std::move(effect));
    return state_.installed.back().key;
}

const InstalledEffect* EmbeddedHost::findInstalledByMatchName(const std::string& name) const {
    for (const auto& e : state_.installed)
        if (e.matchName == name) return &e;
    return nullptr;
}

const InstalledEffect* EmbeddedHost::findInstalledByDisplayName(const std::string& name) const {
    for (const auto& e : state_.installed)
        if (e.displayName == name) return &e;
    return nullptr;
}

Comp& EmbeddedHost::addComp(const std::string& name, int32_t width, int32_t height, int32_t fpsNum,
                            int32_t fpsDen, double duration) {
    auto comp = std::make_unique<Comp>();
    comp->name = name;
    comp->width = width;
    comp->height = height;
    comp->fpsNum = fpsNum;
    comp->fpsDen = fpsDen;
    comp->duration = duration;
    return state_.addComp(std::move(comp));
}

Layer& EmbeddedHost::addLayer(Comp& comp, const std::string& name, LayerKind kind) {
    auto layer = std::make_unique<Layer>();
    layer->name = name;
    layer->kind = kind;
    layer->inPoint = 0;
    layer->outPoint = comp.duration;
    layer->width = comp.width;
    layer->height = comp.height;
    return state_.addLayer(comp, std::move(layer));
}

void EmbeddedHost::ensureGlobalSetup(InstalledEffect& effect) {
    if (effect.globalSetupDone) return;
    PF_InData in;
    in.pica_basicP = this;
    PF_OutData out;
    const PF_Err err = effect.entry(PF_Cmd_GLOBAL_SETUP, &in, &out, nullptr, nullptr, nullptr);
    if (err) throw HostErrorCode{err};
    effect.globalSetupDone = true;
    effect.globalData = out.global_data;
    effect.outFlags = out.out_flags;
    effect.outFlags2 = out.out_flags2;
    // PARAMS_SETUP runs once per effect; the host keeps the definitions.
    effect.params.clear();
    ParamSpec input;
    input.index = 0;
    input.type = PF_Param_LAYER;
    input.name = "input";
    effect.params.push_back(input);
    PF_InData pin;
    pin.pica_basicP = this;
    pin.global_data = effect.globalData;
    pin.effect_ref = effect.key;  // params are added to the effect kind, not an instance
    PF_OutData pout;
    const PF_Err perr = effect.entry(PF_Cmd_PARAMS_SETUP, &pin, &pout, nullptr, nullptr, nullptr);
    if (perr) throw HostErrorCode{perr};
}

EffectInstance& EmbeddedHost::applyEffectInstance(Layer& layer, const std::string& matchName,
                                                  bool renderOnly) {
    const InstalledEffect* effect = findInstalledByMatchName(matchName);
    if (!effect) throw HostErrorCode{PF_Err_INVALID_INDEX};
    return applyEffectInstance(layer, effect->key, renderOnly);
}

EffectInstance& EmbeddedHost::applyEffectInstance(Layer& layer, AEGP_InstalledEffectKey key,
                                                  bool renderOnly) {
    InstalledEffect* effect = state_.installedEffect(key);
    if (!effect) throw HostErrorCode{PF_Err_INVALID_INDEX};
    ensureGlobalSetup(*effect);
    auto instance = std::make_unique<EffectInstance>();
    instance->key = key;
    for (const ParamSpec& spec : effect->params) {
        ParamState state;
        state.value = DefaultParamValue(spec);
        if (spec.type == PF_Param_ARBITRARY_DATA && state.value.u.arbData)
            state.value.u.arbData = handleFromBytes(handleBytes(state.value.u.arbData));
        if (spec.type == PF_Param_POINT && spec.unit == ParamUnit::Percent) {
            // Point defaults are given in percent of the layer's size.
            state.value.u.point[0] = DoubleToFixed(layer.width * spec.def[0] / 100.0);
            state.value.u.point[1] = DoubleToFixed(layer.height * spec.def[1] / 100.0);
        }
        instance->params.push_back(state);
    }
    EffectInstance& added = state_.addInstance(layer, std::move(instance));
    PF_OutData out;
    const PF_Err err =
        callEffect(added, PF_Cmd_SEQUENCE_SETUP, A_Time{0, 1}, nullptr, &out, nullptr, nullptr,
                   renderOnly ? PF_InFlag_PROJECT_IS_RENDER_ONLY : 0);
    if (err) throw HostErrorCode{err};
    return added;
}

// ---- lookups -------------------------------------------------------------------------------

Comp* EmbeddedHost::compByName(const std::string& name) const {
    for (const auto& c : state_.project.comps)
        if (c->name == name) return c.get();
    return nullptr;
}

// ---- calling effects -----------------------------------------------------------------------

PF_InData EmbeddedHost::makeInData(const EffectInstance& instance, const InstalledEffect& effect,
                                   const A_Time& time, uint32_t inFlags) const {
    PF_InData in;
    in.pica_basicP = const_cast<EmbeddedHost*>(this);
    in.in_flags = inFlags;
    in.effect_ref = instance.uid;
    in.global_data = effect.globalData;
    in.sequence_data = instance.sequenceData;
    in.current_time = time.value;
    in.time_scale = time.scale;
    in.downsample_x = downsample_;
    in.downsample_y = downsample_;
    if (const Layer* layer = layerOfInstance(instance.uid)) {
        in.width = layer->width;
        in.height = layer->height;
        if (const Comp* comp = compOfLayer(*layer)) {
            in.time_step = comp->ticksPerFrame();
            in.local_time_step = comp->ticksPerFrame();
            in.total_time = static_cast<int32_t>(comp->duration * comp->timeScale());
            // The host reports shutter angle and phase as 16.16 fractions of a turn.
            in.shutter_angle = DoubleToFixed(comp->shutterAngle / 360.0);
            in.shutter_phase = DoubleToFixed(comp->shutterPhase / 360.0);
        }
        in.extent_hint = PF_LRect{0, 0, downsampled(in.width), downsampled(in.height)};
    }
    return in;
}

PF_Err EmbeddedHost::callEffect(EffectInstance& instance, PF_Cmd cmd, const A_Time& time,
                                void* extra, PF_OutData* out, PF_ParamDef** params,
                                PF_LayerDef* output, uint32_t inFlags) {
    InstalledEffect* effect = state_.installedEffect(instance.key);
    if (!effect) return PF_Err_INVALID_INDEX;
    ensureGlobalSetup(*effect);
    PF_InData in = makeInData(instance, *effect, time, inFlags);
    PF_OutData local;
    PF_OutData& o = out ? *out : local;
    o.sequence_data = instance.sequenceData;
    o.global_data = effect->globalData;
    const PF_Handle oldSequence = instance.sequenceData;
    PF_Err err;
    {
        const CallTimeScope scope(instance.uid, time);
        err = effect->entry(cmd, &in, &o, params, output, extra);
    }
    switch (cmd) {
        case PF_Cmd_SEQUENCE_SETUP:
            instance.sequenceData = o.sequence_data;
            break;
        case PF_Cmd_SEQUENCE_RESETUP:
        case PF_Cmd_SEQUENCE_FLATTEN:
            // The host owns the data it handed in; the effect returned a new record.
            if (!err && o.sequence_data != oldSequence) {
                if (oldSequence) disposeHandle(oldSequence);
                instance.sequenceData = o.sequence_data;
            }
            break;
        case PF_Cmd_SEQUENCE_SETDOWN:
            instance.sequenceData = 0;
            break;
        default:
            // A dialog or a click may hand back a new record (the OBJ source's stored path).
            if (o.sequence_data && o.sequence_data != oldSequence) {
                if (oldSequence) disposeHandle(oldSequence);
                instance.sequenceData = o.sequence_data;
            }
            break;
    }
    if (o.return_msg[0]) reportInfo(o.return_msg);
    return err;
}

std::string EmbeddedHost::aboutText(AEGP_InstalledEffectKey key) {
    const InstalledEffect* effect = installedEffect(key);
    if (!effect) return {};
    PF_InData in;
    in.pica_basicP = this;
    PF_OutData out;
    effect->entry(PF_Cmd_ABOUT, &in, &out, nullptr, nullptr, nullptr);
    return out.return_msg;
}

}  // namespace tv::standalone
