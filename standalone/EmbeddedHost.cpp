#include "standalone/EmbeddedHost.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <random>
#include <thread>

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
    const PF_Err err = effect->entry(cmd, &in, &o, params, output, extra);
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
    // A precomp layer's item is its comp; other layers have an item of their own uid.
    return layer->kind == LayerKind::Precomp ? layer->sourceComp : layer->uid;
}

AEGP_ItemType EmbeddedHost::itemType(AEGP_ItemH item) {
    if (compByUid(item)) return AEGP_ItemType_COMP;
    const Layer* layer = layerByUid(item);
    if (!layer) return AEGP_ItemType_NONE;
    return layer->kind == LayerKind::Solid ? AEGP_ItemType_SOLID : AEGP_ItemType_FOOTAGE;
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

PF_Err EmbeddedHost::checkoutLayerPixels(PF_ProgPtr ref, int32_t index, PF_EffectWorld** out) {
    if (!out || index != 0) return PF_Err_BAD_CALLBACK_PARAM;
    for (auto it = tRenderWorlds.rbegin(); it != tRenderWorlds.rend(); ++it)
        if (it->instance == ref) {
            *out = it->input;
            return PF_Err_NONE;
        }
    return PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err EmbeddedHost::checkinLayerPixels(PF_ProgPtr, int32_t) {
    return PF_Err_NONE;
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
void EmbeddedHost::releaseIdleSuite(IdleSuite*) {}

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

}  // namespace tv::standalone
