// The embedded host's effect services: effect references on layers, the installed effects,
// applying and reordering effects, and calling an effect from another.
#include <algorithm>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

EffectInstance* EmbeddedHost::instanceOfRef(AEGP_EffectRefH ref) const {
    std::lock_guard lock(refsMutex_);
    const auto it = refs_.find(ref);
    if (it == refs_.end()) return nullptr;
    return instanceByUid(it->second.instance);
}

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
    return static_cast<int32_t>(state_.installed.size());
}

AEGP_InstalledEffectKey EmbeddedHost::nextInstalledEffect(AEGP_InstalledEffectKey key) {
    if (key < 0) key = 0;
    return size_t(key) < state_.installed.size() ? key + 1 : 0;
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

}  // namespace tv::standalone
