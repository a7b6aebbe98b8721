#include "standalone/EmbeddedHost.h"

#include "standalone/Audio.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <random>
#include <thread>

#include "host/ParamHash.h"
#include "standalone/CompRenderer.h"
#include "standalone/Transform.h"

namespace tv::standalone {

// ---- parameter values as numbers ----------------------------------------------------------------

std::array<double, 4> ParamToNumbers(const PF_ParamDef& d) {
    switch (d.param_type) {
        case PF_Param_FLOAT_SLIDER:
            return {d.u.floatValue, 0, 0, 0};
        case PF_Param_SLIDER:
            return {double(d.u.slider), 0, 0, 0};
        case PF_Param_FIX_SLIDER:
        case PF_Param_ANGLE:
            return {FixedToDouble(d.u.fixed), 0, 0, 0};
        case PF_Param_COLOR:
            return {d.u.color.red / 255.0, d.u.color.green / 255.0, d.u.color.blue / 255.0,
                    d.u.color.alpha / 255.0};
        case PF_Param_POINT:
            return {FixedToDouble(d.u.point[0]), FixedToDouble(d.u.point[1]), 0, 0};
        case PF_Param_POPUP:
            return {double(d.u.popup), 0, 0, 0};
        case PF_Param_CHECKBOX:
            return {double(d.u.checkbox), 0, 0, 0};
        default:
            return {};
    }
}

PF_ParamDef NumbersToParam(PF_ParamType type, const std::array<double, 4>& v) {
    PF_ParamDef d;
    d.param_type = type;
    auto byte = [](double c) { return uint8_t(std::clamp(c, 0.0, 1.0) * 255.0 + 0.5); };
    switch (type) {
        case PF_Param_FLOAT_SLIDER:
            d.u.floatValue = v[0];
            break;
        case PF_Param_SLIDER:
            d.u.slider = int32_t(std::llround(v[0]));
            break;
        case PF_Param_FIX_SLIDER:
        case PF_Param_ANGLE:
            d.u.fixed = DoubleToFixed(v[0]);
            break;
        case PF_Param_COLOR:
            d.u.color = PF_Pixel8{byte(v[3]), byte(v[0]), byte(v[1]), byte(v[2])};
            break;
        case PF_Param_POINT:
            d.u.point[0] = DoubleToFixed(v[0]);
            d.u.point[1] = DoubleToFixed(v[1]);
            break;
        case PF_Param_POPUP:
            d.u.popup = int32_t(v[0]);
            break;
        case PF_Param_CHECKBOX:
            d.u.checkbox = int32_t(v[0]);
            break;
        default:
            break;
    }
    return d;
}

bool Interpolates(PF_ParamType type) {
    return type == PF_Param_FLOAT_SLIDER || type == PF_Param_SLIDER ||
           type == PF_Param_FIX_SLIDER || type == PF_Param_ANGLE || type == PF_Param_COLOR ||
           type == PF_Param_POINT;
}

// ---- comp time -------------------------------------------------------------------------------

uint32_t Comp::timeScale() const {
    const int32_t den = std::max(fpsDen, 1);
    const int32_t ticksPerUnit = (1000 + den - 1) / den;  // at least 1000 ticks per frame
    return static_cast<uint32_t>(std::max(fpsNum, 1) * ticksPerUnit);
}

int32_t Comp::ticksPerFrame() const {
    const int32_t den = std::max(fpsDen, 1);
    return den * ((1000 + den - 1) / den);
}

A_Time Comp::frameTime(int64_t frame) const {
    return A_Time{static_cast<int32_t>(frame * ticksPerFrame()), timeScale()};
}

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
    for (auto& comp : project_.comps)
        for (auto& layer : comp->layers)
            for (auto& instance : layer->effects)
                if (instance->sequenceData) {
                    try {
                        callEffect(*instance, PF_Cmd_SEQUENCE_SETDOWN, A_Time{0, 1}, nullptr);
                    } catch (...) {
                    }
                }
    for (auto& effect : installed_) {
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
    effect.key = static_cast<AEGP_InstalledEffectKey>(installed_.size() + 1);
    effect.displayName = displayName;
    effect.matchName = matchName;
    effect.entry = entry;
    installed_.push_back(std::move(effect));
    return installed_.back().key;
}

const InstalledEffect* EmbeddedHost::installedEffect(AEGP_InstalledEffectKey key) const {
    if (key < 1 || size_t(key) > installed_.size()) return nullptr;
    return &installed_[size_t(key) - 1];
}

InstalledEffect* EmbeddedHost::installedMutable(AEGP_InstalledEffectKey key) {
    if (key < 1 || size_t(key) > installed_.size()) return nullptr;
    return &installed_[size_t(key) - 1];
}

const InstalledEffect* EmbeddedHost::findInstalledByMatchName(const std::string& name) const {
    for (const auto& e : installed_)
        if (e.matchName == name) return &e;
    return nullptr;
}

const InstalledEffect* EmbeddedHost::findInstalledByDisplayName(const std::string& name) const {
    for (const auto& e : installed_)
        if (e.displayName == name) return &e;
    return nullptr;
}

Comp& EmbeddedHost::addComp(const std::string& name, int32_t width, int32_t height, int32_t fpsNum,
                            int32_t fpsDen, double duration) {
    auto comp = std::make_unique<Comp>();
    comp->uid = nextUid_++;
    comp->name = name;
    comp->width = width;
    comp->height = height;
    comp->fpsNum = fpsNum;
    comp->fpsDen = fpsDen;
    comp->duration = duration;
    project_.comps.push_back(std::move(comp));
    return *project_.comps.back();
}

Layer& EmbeddedHost::addLayer(Comp& comp, const std::string& name, LayerKind kind) {
    auto layer = std::make_unique<Layer>();
    layer->uid = nextUid_++;
    layer->id = nextLayerId_++;
    layer->name = name;
    layer->kind = kind;
    layer->inPoint = 0;
    layer->outPoint = comp.duration;
    layer->width = comp.width;
    layer->height = comp.height;
    comp.layers.push_back(std::move(layer));
    return *comp.layers.back();
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
    InstalledEffect* effect = installedMutable(key);
    if (!effect) throw HostErrorCode{PF_Err_INVALID_INDEX};
    ensureGlobalSetup(*effect);
    auto instance = std::make_unique<EffectInstance>();
    instance->uid = nextUid_++;
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
    layer.effects.push_back(std::move(instance));
    EffectInstance& added = *layer.effects.back();
    PF_OutData out;
    const PF_Err err =
        callEffect(added, PF_Cmd_SEQUENCE_SETUP, A_Time{0, 1}, nullptr, &out, nullptr, nullptr,
                   renderOnly ? PF_InFlag_PROJECT_IS_RENDER_ONLY : 0);
    if (err) throw HostErrorCode{err};
    return added;
}

// ---- lookups
// -------------------------------------------------------------------------------------

Comp* EmbeddedHost::compByUid(uint64_t uid) const {
    for (const auto& c : project_.comps)
        if (c->uid == uid) return c.get();
    return nullptr;
}

Comp* EmbeddedHost::compByName(const std::string& name) const {
    for (const auto& c : project_.comps)
        if (c->name == name) return c.get();
    return nullptr;
}

Layer* EmbeddedHost::layerByUid(uint64_t uid) const {
    for (const auto& c : project_.comps)
        for (const auto& l : c->layers)
            if (l->uid == uid) return l.get();
    return nullptr;
}

Comp* EmbeddedHost::compOfLayer(const Layer& layer) const {
    for (const auto& c : project_.comps)
        for (const auto& l : c->layers)
            if (l.get() == &layer) return c.get();
    return nullptr;
}

EffectInstance* EmbeddedHost::instanceByUid(uint64_t uid) const {
    for (const auto& c : project_.comps)
        for (const auto& l : c->layers)
            for (const auto& e : l->effects)
                if (e->uid == uid) return e.get();
    return nullptr;
}

Layer* EmbeddedHost::layerOfInstance(uint64_t instanceUid) const {
    for (const auto& c : project_.comps)
        for (const auto& l : c->layers)
            for (const auto& e : l->effects)
                if (e->uid == instanceUid) return l.get();
    return nullptr;
}

EffectInstance* EmbeddedHost::instanceOfRef(AEGP_EffectRefH ref) const {
    std::lock_guard lock(refsMutex_);
    const auto it = refs_.find(ref);
    if (it == refs_.end()) return nullptr;
    return instanceByUid(it->second.instance);
}

// ---- calling effects
// -----------------------------------------------------------------------------

namespace {
// The time each instance is being called at on this thread, innermost last: a layer
// parameter's pixels are those at the time of the call that asks for them.
thread_local std::vector<std::pair<uint64_t, A_Time>> tCallTimes;

struct CallTimeScope {
    CallTimeScope(uint64_t instance, const A_Time& time) {
        tCallTimes.emplace_back(instance, time);
    }
    ~CallTimeScope() { tCallTimes.pop_back(); }
    CallTimeScope(const CallTimeScope&) = delete;
    CallTimeScope& operator=(const CallTimeScope&) = delete;
};
}  // namespace

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
        in.extent_hint = PF_LRect{0, 0, in.width, in.height};
    }
    return in;
}

PF_Err EmbeddedHost::callEffect(EffectInstance& instance, PF_Cmd cmd, const A_Time& time,
                                void* extra, PF_OutData* out, PF_ParamDef** params,
                                PF_LayerDef* output, uint32_t inFlags) {
    InstalledEffect* effect = installedMutable(instance.key);
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

void EmbeddedHost::runIdleTasks() {
    std::vector<std::function<void()>> tasks;
    {
        std::lock_guard lock(idleMutex_);
        tasks.swap(idleTasks_);
    }
    for (auto& task : tasks) task();
}

size_t EmbeddedHost::pendingIdleTasks() const {
    std::lock_guard lock(idleMutex_);
    return idleTasks_.size();
}

std::vector<std::string> EmbeddedHost::takeDiagnostics() {
    std::lock_guard lock(messagesMutex_);
    return std::exchange(diagnostics_, {});
}

std::vector<std::string> EmbeddedHost::takeReports() {
    std::lock_guard lock(messagesMutex_);
    return std::exchange(reports_, {});
}

namespace {
thread_local std::vector<EmbeddedHost::RenderWorlds> tRenderWorlds;
}

void EmbeddedHost::pushRenderWorlds(const RenderWorlds& worlds) {
    tRenderWorlds.push_back(worlds);
}
void EmbeddedHost::popRenderWorlds() {
    if (!tRenderWorlds.empty()) tRenderWorlds.pop_back();
}

// ---- HostServices: effects
// -------------------------------------------------------------------------

int32_t EmbeddedHost::layerNumEffects(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return static_cast<int32_t>(layer->effects.size());
}

AEGP_EffectRefH EmbeddedHost::layerEffectByIndex(AEGP_PluginID, AEGP_LayerH layerH, int32_t index) {
    const Layer* layer = layerByUid(layerH);
    if (!layer || index < 0 || size_t(index) >= layer->effects.size())
        throw HostErrorCode{PF_Err_INVALID_INDEX};
    std::lock_guard lock(refsMutex_);
    const AEGP_EffectRefH ref = nextRef_++;
    refs_[ref] = EffectRef{layerH, layer->effects[size_t(index)]->uid};
    return ref;
}

AEGP_InstalledEffectKey EmbeddedHost::installedKeyFromLayerEffect(AEGP_EffectRefH ref) {
    const EffectInstance* instance = instanceOfRef(ref);
    if (!instance) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return instance->key;
}

std::string EmbeddedHost::effectMatchName(AEGP_InstalledEffectKey key) {
    const InstalledEffect* effect = installedEffect(key);
    if (!effect) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return effect->matchName;
}

std::string EmbeddedHost::effectDisplayName(AEGP_InstalledEffectKey key) {
    const InstalledEffect* effect = installedEffect(key);
    if (!effect) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return effect->displayName;
}

uint32_t EmbeddedHost::effectFlags(AEGP_EffectRefH ref) {
    const EffectInstance* instance = instanceOfRef(ref);
    if (!instance) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return instance->active ? AEGP_EffectFlags_ACTIVE : 0;
}

PF_Err EmbeddedHost::disposeEffect(AEGP_EffectRefH ref) {
    std::lock_guard lock(refsMutex_);
    return refs_.erase(ref) ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err EmbeddedHost::effectCallGeneric(AEGP_PluginID, AEGP_EffectRefH ref, const A_Time& time,
                                       PF_Cmd cmd, void* extra) {
    EffectInstance* instance = instanceOfRef(ref);
    if (!instance) return PF_Err_BAD_CALLBACK_PARAM;
    return callEffect(*instance, cmd, time, extra);
}

AEGP_EffectRefH EmbeddedHost::effectFromInstance(AEGP_PluginID, PF_ProgPtr effectRef) {
    Layer* layer = layerOfInstance(effectRef);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    std::lock_guard lock(refsMutex_);
    const AEGP_EffectRefH ref = nextRef_++;
    refs_[ref] = EffectRef{layer->uid, effectRef};
    return ref;
}

AEGP_LayerH EmbeddedHost::effectLayer(AEGP_EffectRefH ref) {
    std::lock_guard lock(refsMutex_);
    const auto it = refs_.find(ref);
    if (it == refs_.end()) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return it->second.layer;
}

int32_t EmbeddedHost::numInstalledEffects() {
    return static_cast<int32_t>(installed_.size());
}

AEGP_InstalledEffectKey EmbeddedHost::nextInstalledEffect(AEGP_InstalledEffectKey key) {
    if (key < 0) key = 0;
    return size_t(key) < installed_.size() ? key + 1 : 0;
}

AEGP_EffectRefH EmbeddedHost::applyEffect(AEGP_PluginID, AEGP_LayerH layerH,
                                          AEGP_InstalledEffectKey key) {
    Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    EffectInstance& instance = applyEffectInstance(*layer, key);
    std::lock_guard lock(refsMutex_);
    const AEGP_EffectRefH ref = nextRef_++;
    refs_[ref] = EffectRef{layerH, instance.uid};
    return ref;
}

PF_Err EmbeddedHost::reorderEffect(AEGP_EffectRefH ref, int32_t index) {
    EffectRef r;
    {
        std::lock_guard lock(refsMutex_);
        const auto it = refs_.find(ref);
        if (it == refs_.end()) return PF_Err_BAD_CALLBACK_PARAM;
        r = it->second;
    }
    Layer* layer = layerByUid(r.layer);
    if (!layer) return PF_Err_BAD_CALLBACK_PARAM;
    auto& effects = layer->effects;
    const auto from = std::find_if(effects.begin(), effects.end(),
                                   [&r](const auto& e) { return e->uid == r.instance; });
    if (from == effects.end() || index < 0 || size_t(index) >= effects.size())
        return PF_Err_INVALID_INDEX;
    auto moved = std::move(*from);
    effects.erase(from);
    effects.insert(effects.begin() + index, std::move(moved));
    return PF_Err_NONE;
}

// ---- HostServices: layers, items, comps
// ------------------------------------------------------------

uint32_t EmbeddedHost::layerId(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return layer->id;
}

AEGP_LayerH EmbeddedHost::layerFromLayerId(AEGP_CompH compH, uint32_t id) {
    const Comp* comp = compByUid(compH);
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    for (const auto& l : comp->layers)
        if (l->id == id) return l->uid;
    return 0;
}

AEGP_CompH EmbeddedHost::layerParentComp(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return compOfLayer(*layer)->uid;
}

uint32_t EmbeddedHost::layerFlags(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    uint32_t flags = AEGP_LayerFlag_EFFECTS_ACTIVE;
    if (layer->enabled) flags |= AEGP_LayerFlag_VIDEO_ACTIVE;
    if (layer->kind == LayerKind::Audio) flags |= AEGP_LayerFlag_AUDIO_ACTIVE;
    if (layer->motionBlur) flags |= AEGP_LayerFlag_MOTION_BLUR;
    if (layer->collapse) flags |= AEGP_LayerFlag_COLLAPSE;
    if (layer->is3D) flags |= AEGP_LayerFlag_LAYER_IS_3D;
    if (layer->kind == LayerKind::Null) flags |= AEGP_LayerFlag_NULL_LAYER;
    return flags;
}

std::string EmbeddedHost::layerName(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return layer->name;
}

AEGP_ItemH EmbeddedHost::layerSourceItem(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    // A precomp layer's item is its comp. Cameras, lights and text layers have no source item
    // (none is returned, as a compositing host does); other layers have an item of their own
    // uid.
    switch (layer->kind) {
        case LayerKind::Precomp:
            return layer->sourceComp;
        case LayerKind::Camera:
        case LayerKind::Light:
        case LayerKind::Text:
            return 0;
        default:
            return layer->uid;
    }
}

AEGP_ItemType EmbeddedHost::itemType(AEGP_ItemH item) {
    if (compByUid(item)) return AEGP_ItemType_COMP;
    const Layer* layer = layerByUid(item);
    if (!layer) return AEGP_ItemType_NONE;
    return layer->kind == LayerKind::Solid ? AEGP_ItemType_SOLID : AEGP_ItemType_FOOTAGE;
}

std::vector<std::string> EmbeddedHost::footageFiles(AEGP_ItemH item) {
    const Layer* layer = compByUid(item) ? nullptr : layerByUid(item);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return layer->kind == LayerKind::Obj ? layer->objFiles : std::vector<std::string>{};
}

void EmbeddedHost::itemSolidColor(AEGP_ItemH item, float rgb[3]) {
    const Layer* layer = compByUid(item) ? nullptr : layerByUid(item);
    if (!layer || layer->kind != LayerKind::Solid) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    for (int i = 0; i < 3; ++i) rgb[i] = layer->solidColor[i];
}

AEGP_LayerH EmbeddedHost::layerParent(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    if (layer->parent == 0) return 0;
    const Layer* parent = LayerById(*compOfLayer(*layer), layer->parent);
    return parent ? parent->uid : 0;
}

AEGP_CompH EmbeddedHost::compFromItem(AEGP_ItemH item) {
    if (!compByUid(item)) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return item;
}

int32_t EmbeddedHost::compNumLayers(AEGP_CompH compH) {
    const Comp* comp = compByUid(compH);
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return static_cast<int32_t>(comp->layers.size());
}

AEGP_LayerH EmbeddedHost::compLayerByIndex(AEGP_CompH compH, int32_t index) {
    const Comp* comp = compByUid(compH);
    if (!comp || index < 0 || size_t(index) >= comp->layers.size())
        throw HostErrorCode{PF_Err_INVALID_INDEX};
    return comp->layers[size_t(index)]->uid;
}

bool EmbeddedHost::layerActiveAtTime(AEGP_LayerH layerH, const A_Time& t) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const double s = TimeToSeconds(t);
    return layer->enabled && s >= layer->inPoint && s < layer->outPoint;
}

A_Time EmbeddedHost::convertCompToLayerTime(AEGP_LayerH layerH, const A_Time& t) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const double offset = layer->startTime * t.scale;
    return A_Time{static_cast<int32_t>(std::llround(t.value - offset)), t.scale};
}

A_Time EmbeddedHost::convertLayerToCompTime(AEGP_LayerH layerH, const A_Time& t) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const double offset = layer->startTime * t.scale;
    return A_Time{static_cast<int32_t>(std::llround(t.value + offset)), t.scale};
}

// ---- HostServices: parameters
// ------------------------------------------------------------------------

PF_Err EmbeddedHost::addParam(PF_ProgPtr ref, const ParamSpec& spec) {
    // During PARAMS_SETUP the effect_ref names the installed effect.
    InstalledEffect* effect = installedMutable(static_cast<AEGP_InstalledEffectKey>(ref));
    if (!effect) return PF_Err_BAD_CALLBACK_PARAM;
    ParamSpec added = spec;
    added.index = static_cast<int32_t>(effect->params.size());
    effect->params.push_back(added);
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::checkoutParam(PF_ProgPtr ref, int32_t index, int32_t time, int32_t,
                                   uint32_t scale, PF_ParamDef* out) {
    const EffectInstance* instance = instanceByUid(ref);
    if (!instance || !out) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    std::lock_guard lock(paramsMutex_);
    const ParamState& state = instance->params[size_t(index)];
    *out = state.value;
    if (!state.keys.empty() && scale) {
        const double seconds = double(time) / double(scale);
        *out = NumbersToParam(state.value.param_type, Evaluate(state.keys, seconds, 4));
    }
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::checkinParam(PF_ProgPtr, PF_ParamDef*) {
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::setParamValue(PF_ProgPtr ref, int32_t index, const PF_ParamDef& value) {
    EffectInstance* instance = instanceByUid(ref);
    if (!instance) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    std::lock_guard lock(paramsMutex_);
    ParamState& state = instance->params[size_t(index)];
    const PF_ParamType type = state.value.param_type;
    state.value = value;
    state.value.param_type = type;
    state.changeFlags |= 1;  // PF_ChangeFlag_CHANGED_VALUE
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::setParamHidden(PF_ProgPtr ref, int32_t index, bool hidden) {
    EffectInstance* instance = instanceByUid(ref);
    if (!instance) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    std::lock_guard lock(paramsMutex_);
    instance->params[size_t(index)].hidden = hidden;
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::setParamLabel(PF_ProgPtr ref, int32_t index, const std::string& label) {
    EffectInstance* instance = instanceByUid(ref);
    if (!instance) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    std::lock_guard lock(paramsMutex_);
    labels_[{ref, index}] = label;
    instance->params[size_t(index)].changeFlags |= 1;  // PF_ChangeFlag_CHANGED_VALUE
    return PF_Err_NONE;
}

std::string EmbeddedHost::paramLabel(uint64_t instanceUid, int32_t index) const {
    {
        std::lock_guard lock(paramsMutex_);
        const auto it = labels_.find({instanceUid, index});
        if (it != labels_.end()) return it->second;
    }
    const EffectInstance* instance = instanceByUid(instanceUid);
    const InstalledEffect* effect = instance ? installedEffect(instance->key) : nullptr;
    if (!effect || index < 0 || size_t(index) >= effect->params.size()) return {};
    return effect->params[size_t(index)].text;
}

PF_Err EmbeddedHost::setParamName(PF_ProgPtr ref, int32_t index, const std::string& name) {
    EffectInstance* instance = instanceByUid(ref);
    if (!instance) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    std::lock_guard lock(paramsMutex_);
    names_[{ref, index}] = name;
    return PF_Err_NONE;
}

std::string EmbeddedHost::paramName(uint64_t instanceUid, int32_t index) const {
    {
        std::lock_guard lock(paramsMutex_);
        const auto it = names_.find({instanceUid, index});
        if (it != names_.end()) return it->second;
    }
    const EffectInstance* instance = instanceByUid(instanceUid);
    const InstalledEffect* effect = instance ? installedEffect(instance->key) : nullptr;
    if (!effect || index < 0 || size_t(index) >= effect->params.size()) return {};
    return effect->params[size_t(index)].name;
}

// ---- HostServices: pixels
// -------------------------------------------------------------------------------

namespace {

// Pixels checked out for layer parameters on this thread, until they are checked in.
struct ParamPixels {
    uint64_t instance = 0;
    int32_t index = 0;
    std::unique_ptr<LayerWorld> world;
};
thread_local std::vector<ParamPixels> tParamPixels;

// Layers whose pixels are being made for a layer parameter on this thread. A layer met again
// (through an effect on it that maps itself) gives its source alone, so cycles end.
thread_local std::vector<uint64_t> tLayersInMaking;

struct MakingScope {
    explicit MakingScope(uint64_t layer) { tLayersInMaking.push_back(layer); }
    ~MakingScope() { tLayersInMaking.pop_back(); }
    MakingScope(const MakingScope&) = delete;
    MakingScope& operator=(const MakingScope&) = delete;
};

// A layer's own pixels as a layer parameter shows them, at a comp time: its source and, when
// asked, its effects, before its transform and opacity (straight, at 8 bits or float).
PF_Err MakeLayerPixels(EmbeddedHost& host, Layer& layer, const A_Time& compTime, int32_t bitDepth,
                       bool withEffects, std::unique_ptr<LayerWorld>& result) {
    // The comp renderer fills a comp just the layer's size that holds a copy of its source at
    // the default placement, so the pixels come through unmoved. The copy keeps the layer's uid:
    // its time conversions are the layer's own.
    Comp stage;
    stage.width = layer.width;
    stage.height = layer.height;
    auto copy = std::make_unique<Layer>();
    copy->uid = layer.uid;
    copy->id = layer.id;
    copy->kind = layer.kind;
    copy->inPoint = layer.inPoint;
    copy->outPoint = layer.outPoint;
    copy->startTime = layer.startTime;
    copy->width = layer.width;
    copy->height = layer.height;
    copy->sourceComp = layer.sourceComp;
    std::copy(std::begin(layer.solidColor), std::end(layer.solidColor), copy->solidColor);
    copy->imagePath = layer.imagePath;
    copy->sourceFile = layer.sourceFile;
    stage.layers.push_back(std::move(copy));
    std::vector<std::string> messages;
    CompRenderer renderer(host);
    const FloatImage image = renderer.renderAtTime(stage, compTime, bitDepth, messages, 1);

    auto a = std::make_unique<LayerWorld>(layer.width, layer.height, bitDepth);
    for (int32_t y = 0; y < layer.height; ++y) {
        uint8_t* row = a->world.data + size_t(y) * size_t(a->world.rowbytes);
        for (int32_t x = 0; x < layer.width; ++x) {
            const float* p = image.pixel(x, y);
            const float inv = p[3] > 0 ? 1.0f / p[3] : 0.0f;
            const float argb[4] = {p[3], p[0] * inv, p[1] * inv, p[2] * inv};
            for (int c = 0; c < 4; ++c) {
                if (bitDepth == 32)
                    reinterpret_cast<float*>(row)[x * 4 + c] = argb[c];
                else
                    row[x * 4 + c] = uint8_t(std::clamp(argb[c], 0.0f, 1.0f) * 255.0f + 0.5f);
            }
        }
    }
    if (withEffects) {
        const A_Time layerTime = host.convertCompToLayerTime(layer.uid, compTime);
        auto b = std::make_unique<LayerWorld>(layer.width, layer.height, bitDepth);
        for (auto& instance : layer.effects) {
            if (!instance->active) continue;
            host.pushRenderWorlds({instance->uid, &a->world, &b->world});
            PF_SmartRenderExtra extra;
            extra.bit_depth = bitDepth;
            PF_Err err;
            try {
                err = host.callEffect(*instance, PF_Cmd_SMART_RENDER, layerTime, &extra);
            } catch (...) {
                host.popRenderWorlds();
                throw;
            }
            host.popRenderWorlds();
            if (err) return err;
            std::swap(a, b);
        }
    }
    result = std::move(a);
    return PF_Err_NONE;
}

}  // namespace

PF_Err EmbeddedHost::checkoutLayerPixels(PF_ProgPtr ref, int32_t index, PF_EffectWorld** out) {
    if (!out) return PF_Err_BAD_CALLBACK_PARAM;
    if (index == 0) {
        for (auto it = tRenderWorlds.rbegin(); it != tRenderWorlds.rend(); ++it)
            if (it->instance == ref) {
                *out = it->input;
                return PF_Err_NONE;
            }
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    // A layer parameter: the chosen layer of the instance's comp, at the time of the call.
    *out = nullptr;
    const EffectInstance* instance = instanceByUid(ref);
    Layer* own = layerOfInstance(ref);
    if (!instance || !own) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    const auto call = std::find_if(tCallTimes.rbegin(), tCallTimes.rend(),
                                   [ref](const auto& c) { return c.first == ref; });
    if (call == tCallTimes.rend()) return PF_Err_BAD_CALLBACK_PARAM;
    const A_Time time = call->second;
    PF_ParamDef def;
    if (const PF_Err err = checkoutParam(ref, index, time.value, 0, time.scale, &def)) return err;
    if (def.param_type != PF_Param_LAYER) return PF_Err_BAD_CALLBACK_PARAM;
    if (def.u.layerId == 0) return PF_Err_NONE;  // no layer chosen: no pixels
    const Comp* comp = compOfLayer(*own);
    Layer* chosen =
        comp ? layerByUid(layerFromLayerId(comp->uid, uint32_t(def.u.layerId))) : nullptr;
    if (!chosen || chosen->width <= 0 || chosen->height <= 0) return PF_Err_NONE;
    if (chosen->kind == LayerKind::Camera || chosen->kind == LayerKind::Light ||
        chosen->kind == LayerKind::Audio)
        return PF_Err_NONE;
    // At the depth of the frame being rendered on this thread; 16 bits have no pixel path here.
    int32_t bitDepth = 8;
    if (!tRenderWorlds.empty() && tRenderWorlds.back().output &&
        tRenderWorlds.back().output->format == PF_PixelFormat_ARGB128)
        bitDepth = 32;
    // The effect's own layer, or one already being made, gives its source alone.
    const bool withEffects =
        chosen != own && std::find(tLayersInMaking.begin(), tLayersInMaking.end(), chosen->uid) ==
                             tLayersInMaking.end();
    const A_Time compTime = convertLayerToCompTime(own->uid, time);
    std::unique_ptr<LayerWorld> world;
    {
        const MakingScope making(chosen->uid);
        if (const PF_Err err =
                MakeLayerPixels(*this, *chosen, compTime, bitDepth, withEffects, world))
            return err;
    }
    *out = &world->world;
    tParamPixels.push_back(ParamPixels{ref, index, std::move(world)});
    return PF_Err_NONE;
}

namespace {
// Layer frames checked out for sprites on this thread.
thread_local std::vector<std::unique_ptr<LayerWorld>> tLayerFrames;
}  // namespace

PF_Err EmbeddedHost::checkoutLayerFrame(AEGP_LayerH layerH, const A_Time& layerTime,
                                        int32_t bitDepth, PF_EffectWorld** out) {
    if (!out) return PF_Err_BAD_CALLBACK_PARAM;
    *out = nullptr;
    Layer* layer = layerByUid(layerH);
    if (!layer) return PF_Err_BAD_CALLBACK_PARAM;
    if (layer->width <= 0 || layer->height <= 0 || layer->kind == LayerKind::Camera ||
        layer->kind == LayerKind::Light || layer->kind == LayerKind::Audio)
        return PF_Err_NONE;
    // A layer already being made (a sprite of itself) gives its source alone, so cycles end.
    const bool withEffects = std::find(tLayersInMaking.begin(), tLayersInMaking.end(),
                                       layer->uid) == tLayersInMaking.end();
    std::unique_ptr<LayerWorld> world;
    {
        const MakingScope making(layer->uid);
        if (const PF_Err err =
                MakeLayerPixels(*this, *layer, convertLayerToCompTime(layerH, layerTime),
                                bitDepth == 32 ? 32 : 8, withEffects, world))
            return err;
    }
    *out = &world->world;
    tLayerFrames.push_back(std::move(world));
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::checkinLayerFrame(PF_EffectWorld* world) {
    for (auto it = tLayerFrames.begin(); it != tLayerFrames.end(); ++it)
        if (&(*it)->world == world) {
            tLayerFrames.erase(it);
            break;
        }
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::layerAudio(PF_ProgPtr ref, int32_t index, double startSeconds,
                                double lengthSeconds, int32_t rate, std::vector<float>& out) {
    out.clear();
    const EffectInstance* instance = instanceByUid(ref);
    Layer* own = layerOfInstance(ref);
    if (!instance || !own || rate <= 0) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 1 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    const PF_ParamDef& def = instance->params[size_t(index)].value;
    if (def.param_type != PF_Param_LAYER || def.u.layerId == 0) return PF_Err_BAD_CALLBACK_PARAM;
    const Comp* comp = compOfLayer(*own);
    const Layer* audio =
        comp ? layerByUid(layerFromLayerId(comp->uid, uint32_t(def.u.layerId))) : nullptr;
    if (!audio || audio->kind != LayerKind::Audio || audio->sourceFile.empty())
        return PF_Err_BAD_CALLBACK_PARAM;
    std::string error;
    const auto samples = MonoSamples(audio->sourceFile, rate, error);
    if (!samples) {
        diagnostic(error);
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    // The effect's time to the comp's, then to the audio layer's own.
    const double offset = own->startTime - audio->startTime;
    const auto first = int64_t(std::floor((startSeconds + offset) * rate));
    const auto count = int64_t(std::max(0.0, lengthSeconds) * rate);
    out.assign(size_t(count), 0.0f);
    for (int64_t i = 0; i < count; ++i) {
        const int64_t j = first + i;
        if (j >= 0 && j < int64_t(samples->size())) out[size_t(i)] = (*samples)[size_t(j)];
    }
    return PF_Err_NONE;
}

A_Time EmbeddedHost::layerDuration(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    const Comp* comp = layer ? compOfLayer(*layer) : nullptr;
    if (!layer || !comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const uint32_t scale = comp->timeScale();
    return A_Time{int32_t(std::llround((layer->outPoint - layer->inPoint) * scale)), scale};
}

PF_Err EmbeddedHost::checkinLayerPixels(PF_ProgPtr ref, int32_t index) {
    if (index == 0) return PF_Err_NONE;
    for (auto it = tParamPixels.rbegin(); it != tParamPixels.rend(); ++it)
        if (it->instance == ref && it->index == index) {
            tParamPixels.erase(std::next(it).base());
            break;
        }
    return PF_Err_NONE;
}

namespace {

constexpr int kMaxStateDepth = 32;  // precomps nested deeper are not followed

// A file by its name, size and time of change: a rewritten file changes the token.
void HashFile(ParamHasher& h, const std::string& path) {
    h.add(std::string_view(path));
    if (path.empty()) return;
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    h.add(uint64_t(ec ? 0 : size));
    const auto stamp = std::filesystem::last_write_time(path, ec);
    h.add(int64_t(ec ? 0 : stamp.time_since_epoch().count()));
}

void HashKeys(ParamHasher& h, const std::vector<Key>& keys) {
    h.add(uint64_t(keys.size()));
    for (const Key& k : keys) {
        h.add(k.t).add(int32_t(k.interp));
        for (double v : k.v) h.add(v);
        h.add(k.speedIn).add(k.influenceIn).add(k.speedOut).add(k.influenceOut);
    }
}

void HashAnimated(ParamHasher& h, const AnimatedValue& a) {
    for (double v : a.value) h.add(v);
    HashKeys(h, a.keys);
}

void HashVertices(ParamHasher& h, const std::vector<MaskVertex>& vertices) {
    h.add(uint64_t(vertices.size()));
    for (const MaskVertex& v : vertices)
        h.add(v.x).add(v.y).add(v.inX).add(v.inY).add(v.outX).add(v.outY);
}

void HashParam(EmbeddedHost& host, ParamHasher& h, const ParamState& p) {
    const PF_ParamDef& v = p.value;
    h.add(int32_t(v.param_type));
    switch (v.param_type) {
        case PF_Param_LAYER:
            h.add(v.u.layerId);
            break;
        case PF_Param_ARBITRARY_DATA: {
            const std::vector<uint8_t> bytes = host.handleBytes(v.u.arbData);
            h.bytes(bytes.data(), bytes.size());
            break;
        }
        case PF_Param_POINT_3D:
            for (double c : v.u.point3d) h.add(c);
            break;
        case PF_Param_PATH:
            h.add(v.u.pathId);
            break;
        default:
            for (double c : ParamToNumbers(v)) h.add(c);
            break;
    }
    HashKeys(h, p.keys);
}

void HashComp(EmbeddedHost& host, const Comp& comp, ParamHasher& h, int depth);

// Everything of a layer that its pixels, or the effects on it, may depend on.
void HashLayer(EmbeddedHost& host, const Layer& l, ParamHasher& h, int depth) {
    h.add(l.id).add(int32_t(l.kind)).add(int32_t(l.enabled)).add(int32_t(l.is3D));
    h.add(int32_t(l.motionBlur)).add(int32_t(l.collapse)).add(l.parent);
    h.add(l.inPoint).add(l.outPoint).add(l.startTime).add(l.width).add(l.height);
    for (float c : l.solidColor) h.add(c);
    HashFile(h, l.imagePath);
    HashFile(h, l.sourceFile);
    for (const std::string& f : l.objFiles) HashFile(h, f);
    h.add(std::string_view(l.objPattern)).add(l.objFirst).add(l.objLast);
    h.add(std::string_view(l.text)).add(std::string_view(l.fontFamily)).add(l.fontSize);
    for (float c : l.textColor) h.add(c);
    for (const Mask& m : l.masks) {
        h.add(std::string_view(m.name)).add(int32_t(m.inverted)).add(int32_t(m.closed));
        for (float c : m.color) h.add(c);
        HashAnimated(h, m.opacity);
        HashVertices(h, m.vertices);
        for (const MaskPathKey& k : m.keys) {
            h.add(k.t).add(int32_t(k.interp));
            HashVertices(h, k.vertices);
        }
    }
    const Transform2D& t = l.transform;
    h.add(int32_t(t.set));
    for (const AnimatedValue* a : {&t.anchor, &t.position, &t.scale, &t.rotation, &t.opacity,
                                   &t.orientation, &t.rotationX, &t.rotationY})
        HashAnimated(h, *a);
    const CameraData& c = l.camera;
    h.add(int32_t(c.oneNode)).add(c.filmSize).add(int32_t(c.orthographic));
    h.add(int32_t(c.depthOfField));
    for (const AnimatedValue* a :
         {&c.position, &c.pointOfInterest, &c.zoom, &c.focusDistance, &c.aperture, &c.blurLevel})
        HashAnimated(h, *a);
    const LightData& li = l.light;
    h.add(li.type);
    for (const AnimatedValue* a :
         {&li.position, &li.pointOfInterest, &li.coneAngle, &li.coneFeather, &li.intensity,
          &li.color, &li.shadowDarkness, &li.shadowDiffusion})
        HashAnimated(h, *a);
    h.add(uint64_t(l.effects.size()));
    for (const auto& e : l.effects) {
        h.add(e->key).add(int32_t(e->active));
        for (const ParamState& p : e->params) HashParam(host, h, p);
    }
    if (l.kind == LayerKind::Precomp && depth < kMaxStateDepth)
        if (const Comp* source = host.compByUid(l.sourceComp))
            HashComp(host, *source, h, depth + 1);
}

void HashComp(EmbeddedHost& host, const Comp& comp, ParamHasher& h, int depth) {
    h.add(comp.width).add(comp.height).add(comp.pixelAspect).add(comp.fpsNum).add(comp.fpsDen);
    h.add(comp.duration).add(comp.shutterAngle).add(comp.shutterPhase);
    h.add(int32_t(comp.motionBlur));
    for (float c : comp.background) h.add(c);
    h.add(uint64_t(comp.layers.size()));
    for (const auto& layer : comp.layers) HashLayer(host, *layer, h, depth);
}

}  // namespace

uint64_t EmbeddedHost::layerParamStateToken(PF_ProgPtr ref, int32_t index, const A_Time& time,
                                            int32_t timeStep) {
    const EffectInstance* instance = instanceByUid(ref);
    const Layer* own = layerOfInstance(ref);
    if (!instance || !own) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    if (index < 0 || size_t(index) >= instance->params.size())
        throw HostErrorCode{PF_Err_INVALID_INDEX};
    PF_ParamDef def;
    if (const PF_Err err = checkoutParam(ref, index, time.value, timeStep, time.scale, &def))
        throw HostErrorCode{err};
    if (def.param_type != PF_Param_LAYER) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    ParamHasher h(0x6c61796572ull);
    h.add(def.u.layerId);
    const Comp* comp = compOfLayer(*own);
    const Layer* chosen = def.u.layerId && comp
                              ? layerByUid(layerFromLayerId(comp->uid, uint32_t(def.u.layerId)))
                              : nullptr;
    if (!chosen) return h.value();  // no pixels, whatever the time
    // The span in comp time: moving the effect's layer in time moves what it sees.
    const A_Time compTime = convertLayerToCompTime(own->uid, time);
    h.add(compTime.value).add(compTime.scale).add(timeStep);
    std::lock_guard lock(paramsMutex_);
    HashLayer(*this, *chosen, h, 0);
    // Effects on the chosen layer may read the rest of its comp (cameras, lights, layers).
    const bool effects = std::any_of(chosen->effects.begin(), chosen->effects.end(),
                                     [](const auto& e) { return e->active; });
    if (effects) HashComp(*this, *comp, h, 0);
    return h.value();
}

PF_Err EmbeddedHost::checkoutOutput(PF_ProgPtr ref, PF_EffectWorld** out) {
    if (!out) return PF_Err_BAD_CALLBACK_PARAM;
    for (auto it = tRenderWorlds.rbegin(); it != tRenderWorlds.rend(); ++it)
        if (it->instance == ref) {
            *out = it->output;
            return PF_Err_NONE;
        }
    return PF_Err_BAD_CALLBACK_PARAM;
}

// ---- HostServices: handles
// ------------------------------------------------------------------------------

PF_Handle EmbeddedHost::newHandle(uint64_t size) {
    std::lock_guard lock(handlesMutex_);
    const PF_Handle h = nextHandle_++;
    handles_[h].bytes.assign(size, 0);
    return h;
}

void* EmbeddedHost::lockHandle(PF_Handle h) {
    std::lock_guard lock(handlesMutex_);
    const auto it = handles_.find(h);
    if (it == handles_.end()) return nullptr;
    ++it->second.locks;
    // An empty block still locks to a valid address.
    return it->second.bytes.empty() ? static_cast<void*>(&it->second.locks)
                                    : it->second.bytes.data();
}

void EmbeddedHost::unlockHandle(PF_Handle h) {
    std::lock_guard lock(handlesMutex_);
    const auto it = handles_.find(h);
    if (it != handles_.end() && it->second.locks > 0) --it->second.locks;
}

void EmbeddedHost::disposeHandle(PF_Handle h) {
    std::lock_guard lock(handlesMutex_);
    handles_.erase(h);
}

uint64_t EmbeddedHost::handleSize(PF_Handle h) {
    std::lock_guard lock(handlesMutex_);
    const auto it = handles_.find(h);
    return it == handles_.end() ? 0 : it->second.bytes.size();
}

PF_Handle EmbeddedHost::handleFromBytes(const std::vector<uint8_t>& bytes) {
    std::lock_guard lock(handlesMutex_);
    const PF_Handle h = nextHandle_++;
    handles_[h].bytes = bytes;
    return h;
}

std::vector<uint8_t> EmbeddedHost::handleBytes(PF_Handle h) {
    std::lock_guard lock(handlesMutex_);
    const auto it = handles_.find(h);
    return it == handles_.end() ? std::vector<uint8_t>{} : it->second.bytes;
}

size_t EmbeddedHost::liveHandleCount() const {
    std::lock_guard lock(handlesMutex_);
    return handles_.size();
}

// ---- HostServices: system
// -------------------------------------------------------------------------------

void EmbeddedHost::newGuid(uint8_t out[16]) {
    // xorshift128+ seeded from the system's entropy; version 4 and variant bits set.
    std::lock_guard lock(guidMutex_);
    for (int half = 0; half < 2; ++half) {
        uint64_t s1 = guidState_[0];
        const uint64_t s0 = guidState_[1];
        guidState_[0] = s0;
        s1 ^= s1 << 23;
        guidState_[1] = s1 ^ s0 ^ (s1 >> 17) ^ (s0 >> 26);
        const uint64_t v = guidState_[1] + s0;
        std::memcpy(out + 8 * half, &v, 8);
    }
    out[6] = static_cast<uint8_t>((out[6] & 0x0F) | 0x40);
    out[8] = static_cast<uint8_t>((out[8] & 0x3F) | 0x80);
}

IdleSuite* EmbeddedHost::acquireIdleSuite() {
    return idleAvailable_ ? idle_.get() : nullptr;
}
void EmbeddedHost::releaseIdleSuite(IdleSuite*) {
    if (idleReleaseFails_) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
}

PF_Err EmbeddedHost::iterate(int32_t count, const std::function<PF_Err(int32_t)>& fn) {
    std::atomic<PF_Err> first{PF_Err_NONE};
    tbb::parallel_for(0, count, [&](int32_t i) {
        const PF_Err err = fn(i);
        PF_Err expected = PF_Err_NONE;
        if (err) first.compare_exchange_strong(expected, err);
    });
    return first.load();
}

void EmbeddedHost::diagnostic(const std::string& line) {
    std::lock_guard lock(messagesMutex_);
    if (echoDiagnostics_) std::printf("%s\n", line.c_str());
    diagnostics_.push_back(line);
}

void EmbeddedHost::reportInfo(const std::string& message) {
    std::lock_guard lock(messagesMutex_);
    reports_.push_back(message);
}

void EmbeddedHost::renderNote(const std::string& key, const std::string& text) {
    std::lock_guard lock(messagesMutex_);
    renderNotes_[key].insert(text);
}

std::map<std::string, std::set<std::string>> EmbeddedHost::renderNotes() const {
    std::lock_guard lock(messagesMutex_);
    return renderNotes_;
}

}  // namespace tv::standalone
