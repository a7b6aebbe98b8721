// The embedded host's state the services read: the installed effects, the project's comps,
// layers and effect instances, and maps from each uid to its object (and its owner), kept as
// objects are added so that a lookup by handle is one hash probe.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/HostTypes.h"
#include "host/ParamTable.h"
#include "standalone/Composition.h"

namespace tv::standalone {

// An effect the host knows: the 21 of the table, plus any a program registers itself.
struct InstalledEffect {
    AEGP_InstalledEffectKey key = 0;
    std::string displayName;
    std::string matchName;
    PF_EntryFunc entry = nullptr;
    bool globalSetupDone = false;
    PF_Handle globalData = 0;
    uint32_t outFlags = 0;
    uint32_t outFlags2 = 0;
    std::vector<ParamSpec> params;  // as the effect added them at PARAMS_SETUP, index 0 first
    std::string optionsButtonName;  // set at PARAMS_SETUP; empty: the host's own label
};

// Whether the effect's options button opens the "Import OBJ" dialog (the OBJ source's; the
// Container's button carries the label and opens nothing).
inline bool OpensImportObjDialog(const InstalledEffect& effect) {
    return effect.optionsButtonName == "Import OBJ" && effect.matchName == "KDL TAVRSRC OBJ";
}

struct HostState {
    Project project;
    std::deque<InstalledEffect> installed;  // key N is element N - 1
    uint64_t nextUid = 1;
    uint32_t nextLayerId = 1;

    // Every object the project owns is added through these, which give it its uid and enter it
    // in the maps (the objects are held by pointer, so reordering a stack keeps them valid).
    Comp& addComp(std::unique_ptr<Comp> comp);
    Layer& addLayer(Comp& comp, std::unique_ptr<Layer> layer);
    EffectInstance& addInstance(Layer& layer, std::unique_ptr<EffectInstance> instance);

    const InstalledEffect* installedEffect(AEGP_InstalledEffectKey key) const;
    InstalledEffect* installedEffect(AEGP_InstalledEffectKey key);

    Comp* compByUid(uint64_t uid) const;
    Layer* layerByUid(uint64_t uid) const;
    // The comp that holds this very layer (not a copy of it with the same uid).
    Comp* compOfLayer(const Layer& layer) const;
    EffectInstance* instanceByUid(uint64_t uid) const;
    Layer* layerOfInstance(uint64_t instanceUid) const;

  private:
    struct LayerEntry {
        Layer* layer = nullptr;
        Comp* comp = nullptr;
    };
    struct InstanceEntry {
        EffectInstance* instance = nullptr;
        Layer* layer = nullptr;
    };
    std::unordered_map<uint64_t, Comp*> comps_;
    std::unordered_map<uint64_t, LayerEntry> layers_;
    std::unordered_map<uint64_t, InstanceEntry> instances_;
};

}  // namespace tv::standalone
