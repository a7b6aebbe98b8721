#include "standalone/HostState.h"

namespace tv::standalone {

Comp& HostState::addComp(std::unique_ptr<Comp> comp) {
    comp->uid = nextUid++;
    Comp& added = *comp;
    project.comps.push_back(std::move(comp));
    comps_[added.uid] = &added;
    return added;
}

Layer& HostState::addLayer(Comp& comp, std::unique_ptr<Layer> layer) {
    layer->uid = nextUid++;
    layer->id = nextLayerId++;
    Layer& added = *layer;
    comp.layers.push_back(std::move(layer));
    layers_[added.uid] = LayerEntry{&added, &comp};
    return added;
}

EffectInstance& HostState::addInstance(Layer& layer, std::unique_ptr<EffectInstance> instance) {
    instance->uid = nextUid++;
    EffectInstance& added = *instance;
    layer.effects.push_back(std::move(instance));
    instances_[added.uid] = InstanceEntry{&added, &layer};
    return added;
}

const InstalledEffect* HostState::installedEffect(AEGP_InstalledEffectKey key) const {
    if (key < 1 || size_t(key) > installed.size()) return nullptr;
    return &installed[size_t(key) - 1];
}

InstalledEffect* HostState::installedEffect(AEGP_InstalledEffectKey key) {
    if (key < 1 || size_t(key) > installed.size()) return nullptr;
    return &installed[size_t(key) - 1];
}

Comp* HostState::compByUid(uint64_t uid) const {
    const auto it = comps_.find(uid);
    return it == comps_.end() ? nullptr : it->second;
}

Layer* HostState::layerByUid(uint64_t uid) const {
    const auto it = layers_.find(uid);
    return it == layers_.end() ? nullptr : it->second.layer;
}

Comp* HostState::compOfLayer(const Layer& layer) const {
    const auto it = layers_.find(layer.uid);
    return it == layers_.end() || it->second.layer != &layer ? nullptr : it->second.comp;
}

EffectInstance* HostState::instanceByUid(uint64_t uid) const {
    const auto it = instances_.find(uid);
    return it == instances_.end() ? nullptr : it->second.instance;
}

Layer* HostState::layerOfInstance(uint64_t instanceUid) const {
    const auto it = instances_.find(instanceUid);
    return it == instances_.end() ? nullptr : it->second.layer;
}

}  // namespace tv::standalone
