#include "host/Gather.h"

#include <cstring>

#include "host/GeometryStore.h"
#include "host/SequenceRecord.h"

namespace tv {

namespace {

bool StartsWith(const std::string& s, const char* prefix) {
    return s.rfind(prefix, 0) == 0;
}

void PrepareContribute(ObjectMessage& message) {
    message.magic = kTavrMagic;
    message.command = kObjContribute;
    message.setPayloadInt(-1);
    message.flags = 0;
}

// Sends one message; when the receiver asks for layers, gathers them and calls it again.
PF_Err SendWithLayerRequests(GatherContext& context, AEGP_LayerH layer, const A_Time& time,
                             ObjectMessage& message, int32_t index) {
    HostServices& host = *context.host;
    PF_Err err = SendMessage(host, layer, time, message, index, AEGP_EffectFlags_ACTIVE);
    if (!(message.flags & kMsgNeedsLayers)) return err;
    RenderList& list = *message.renders;
    for (const LayerRequest& request : std::vector<LayerRequest>(list.requests)) {
        ObjectMessage* gathered = NewObjectMessage();
        if (!gathered) {
            if (!err) err = PF_Err_OUT_OF_MEMORY;
            continue;
        }
        context.status = GatherById(context, *gathered, request.layerId, request.time);
        list.gathered.push_back(gathered);
    }
    const PF_Err second = SendMessage(host, layer, time, message, index, AEGP_EffectFlags_ACTIVE);
    if (!err) err = second;
    message.flags &= ~kMsgNeedsLayers;
    for (ObjectMessage* gathered : list.gathered) DeleteObjectMessage(gathered);
    list.gathered.clear();
    list.requests.clear();
    return err;
}

void UpdateGroupMap(std::map<int32_t, GroupRange>& groups, int32_t group, uint32_t base,
                    uint32_t pending) {
    auto [it, inserted] = groups.try_emplace(group, GroupRange{base, pending});
    if (inserted) return;
    if (it->second.start > 0xFFFFFFFEu) it->second.start = base;
    it->second.count += pending;
}

PF_Err RunSources(GatherContext& context, AEGP_LayerH layer, const A_Time& time,
                  ObjectMessage& message, const std::vector<int32_t>& sources) {
    GeometryStore& store = *message.geometry;
    store.vertexBase = store.vertexPending = 0;
    store.faceBase = store.facePending = 0;
    PF_Err err = PF_Err_NONE;
    for (int32_t index : sources) {
        PrepareContribute(message);
        const PF_Err e = SendWithLayerRequests(context, layer, time, message, index);
        if (!err) err = e;
        // The source answers with its group in the payload's first two bytes; the preset -1
        // stays negative there when it was switched off or added nothing.
        const int16_t group = message.payloadGroup();
        if (group >= 0) {
            UpdateGroupMap(store.vertexGroups, group, store.vertexBase, store.vertexPending);
            UpdateGroupMap(store.faceGroups, group, store.faceBase, store.facePending);
        }
        // The counters follow the arrays whether or not the source joined a group.
        store.vertexBase += store.vertexPending;
        store.vertexPending = 0;
        store.faceBase += store.facePending;
        store.facePending = 0;
    }
    return err;
}

PF_Err RunEffectors(GatherContext& context, AEGP_LayerH layer, const A_Time& time,
                    ObjectMessage& message, const std::vector<int32_t>& effectors) {
    PF_Err err = PF_Err_NONE;
    for (int32_t index : effectors) {
        PrepareContribute(message);
        const PF_Err e = SendWithLayerRequests(context, layer, time, message, index);
        if (!err) err = e;
    }
    return err;
}

}  // namespace

void FindEffects(HostServices& host, AEGP_LayerH layer, const char* prefix, const char* alternative,
                 std::vector<int32_t>& indices) {
    const int32_t count = host.layerNumEffects(layer);
    for (int32_t i = 0; i < count; ++i) {
        const AEGP_EffectRefH effect = host.layerEffectByIndex(0, layer, i);
        const std::string name = host.effectMatchName(host.installedKeyFromLayerEffect(effect));
        if (StartsWith(name, prefix) || (alternative && name == alternative)) indices.push_back(i);
        host.disposeEffect(effect);
    }
}

PF_Err SendMessage(HostServices& host, AEGP_LayerH layer, const A_Time& time,
                   ObjectMessage& message, int32_t effectIndex, uint32_t requiredFlags) {
    const A_Time layerTime = host.convertCompToLayerTime(layer, time);
    if (effectIndex < 0 || effectIndex >= host.layerNumEffects(layer)) return PF_Err_NONE;
    const AEGP_EffectRefH effect = host.layerEffectByIndex(0, layer, effectIndex);
    const uint32_t flags = host.effectFlags(effect);
    if (requiredFlags && !(flags & requiredFlags)) return host.disposeEffect(effect);
    const PF_Err err =
        host.effectCallGeneric(0, effect, layerTime, PF_Cmd_COMPLETELY_GENERAL, &message);
    const PF_Err disposeErr = host.disposeEffect(effect);
    return err ? err : disposeErr;
}

PF_Err QueryGroups(HostServices& host, AEGP_LayerH layer, const A_Time& time,
                   const std::vector<int32_t>& indices, std::vector<int16_t>& groups) {
    ScopedObjectMessage message;
    if (const PF_Err err = message.status()) return err;
    PF_Err err = PF_Err_NONE;
    for (int32_t index : indices) {
        message->command = kObjGetGroup;
        message->setPayloadGroup(-1);
        const PF_Err e = SendMessage(host, layer, time, *message, index, AEGP_EffectFlags_ACTIVE);
        if (!err) err = e;
        groups.push_back(message->payloadGroup());
    }
    return err;
}

PF_Err QueryInstanceIds(HostServices& host, AEGP_LayerH layer, const A_Time& time,
                        const std::vector<int32_t>& indices, std::vector<std::string>& ids) {
    ScopedObjectMessage message;
    if (const PF_Err err = message.status()) return err;
    PF_Err err = PF_Err_NONE;
    for (int32_t index : indices) {
        message->command = kObjGetInstanceId;
        std::memset(message->payload, 0, sizeof message->payload);
        // Required flags 0: switched-off effects answer too.
        const PF_Err e = SendMessage(host, layer, time, *message, index, 0);
        if (!err) err = e;
        ids.push_back(InstanceIdText(message->payload));
    }
    return err;
}

PF_Err SetGroupById(HostServices& host, AEGP_LayerH layer, const A_Time& time,
                    const std::string& instanceId, int16_t group) {
    std::vector<int32_t> all;
    const int32_t count = host.layerNumEffects(layer);
    for (int32_t i = 0; i < count; ++i) all.push_back(i);
    std::vector<std::string> ids;
    if (const PF_Err err = QueryInstanceIds(host, layer, time, all, ids)) return err;
    for (size_t i = 0; i < ids.size(); ++i) {
        if (ids[i].size() != instanceId.size() ||
            std::memcmp(ids[i].data(), instanceId.data(), ids[i].size()) != 0)
            continue;
        ScopedObjectMessage message;
        if (const PF_Err err = message.status()) return err;
        message->command = kObjSetGroup;
        message->setPayloadGroup(group);
        return SendMessage(host, layer, time, *message, all[i], 0);
    }
    return PF_Err_NONE;
}

PF_Err GatherLayer(GatherContext& context, AEGP_LayerH layer, const A_Time& time,
                   ObjectMessage& message) {
    HostServices& host = *context.host;
    GeometryStore& store = *message.geometry;

    std::vector<int32_t> sources;
    FindEffects(host, layer, kSourcePrefix, nullptr, sources);
    std::vector<int16_t> groups;
    PF_Err err = QueryGroups(host, layer, time, sources, groups);

    // Stable insertion sort of positions by group: equal groups keep stack order.
    std::vector<size_t> order(sources.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    for (size_t i = 1; i < order.size(); ++i) {
        const size_t key = order[i];
        size_t j = i;
        while (j > 0 && groups[order[j - 1]] > groups[key]) {
            order[j] = order[j - 1];
            --j;
        }
        order[j] = key;
    }
    std::vector<int32_t> sorted;
    for (size_t position : order) sorted.push_back(sources[position]);

    std::vector<int32_t> effectors, vertexEffectors, faceEffectors;
    FindEffects(host, layer, kEffectorPrefix, nullptr, effectors);
    for (int32_t index : effectors) {
        message.command = kObjGetTarget;
        message.setPayloadInt(-1);
        message.flags = 0;
        const PF_Err e = SendMessage(host, layer, time, message, index, AEGP_EffectFlags_ACTIVE);
        if (!err) err = e;
        if (message.flags & kMsgTargetsVertices) vertexEffectors.push_back(index);
        if (message.flags & kMsgTargetsFaces) faceEffectors.push_back(index);
    }
    message.flags = 0;

    const PF_Err sourceErr = RunSources(context, layer, time, message, sorted);
    if (!err) err = sourceErr;
    FillScales(store);
    if (!err) err = RunEffectors(context, layer, time, message, vertexEffectors);
    if (!store.faces.empty() && !err) {
        ComputeFaceCentroids(store);
        ComputeFaceColors(store);
    }
    if (!store.faces.empty()) ResetFaceRotations(store);
    if (!err) err = RunEffectors(context, layer, time, message, faceEffectors);
    if (!sourceErr) ComputeJitter(store);
    if (err && !context.status) context.status = err;
    return err;
}

PF_Err GatherById(GatherContext& context, ObjectMessage& message, uint32_t layerId,
                  const A_Time& time) {
    if (layerId == 0) return PF_Err_NONE;
    for (const GatherContext* c = &context; c; c = c->parent)
        if (c->layerId == layerId) return kLoopGuardStatus;
    HostServices& host = *context.host;
    const AEGP_CompH comp = host.layerParentComp(context.layer);
    const AEGP_LayerH layer = host.layerFromLayerId(comp, layerId);
    if (!layer) return PF_Err_NONE;
    GatherContext child = context;
    child.status = 0;
    child.layer = layer;
    child.layerId = layerId;
    child.parent = &context;
    child.time = time;
    GatherLayer(child, layer, time, message);
    return child.status;
}

PF_Err RunRenderers(GatherContext& context, AEGP_LayerH layer, const A_Time& time,
                    ObjectMessage& message) {
    std::vector<int32_t> renderers;
    FindEffects(*context.host, layer, kRendererPrefix, kLegacyRendererName, renderers);
    PF_Err err = PF_Err_NONE;
    for (int32_t index : renderers) {
        PrepareContribute(message);
        const PF_Err e = SendWithLayerRequests(context, layer, time, message, index);
        if (!err) err = e;
    }
    return err;
}

PF_Err Gather(HostServices& host, AEGP_LayerH layer, const A_Time& time, ObjectMessage& message) {
    GatherContext root;
    root.host = &host;
    root.layer = layer;
    root.time = time;
    const uint32_t id = host.layerId(layer);
    PF_Err status = GatherById(root, message, id, time);
    // Renderers run with the root context: a renderer may ask for its own layer at other times.
    const PF_Err renderErr = RunRenderers(root, layer, time, message);
    if (root.status == kLoopGuardStatus) status = kLoopGuardStatus;
    if (status == PF_Err_NONE) status = renderErr;
    return status;
}

PF_Err MixStackHash(HostServices& host, AEGP_LayerH layer, const A_Time& time, PF_ProgPtr effectRef,
                    GuidMixInPtr mixIn, std::vector<uint32_t> visited) {
    const int32_t count = host.layerNumEffects(layer);
    host.layerId(layer);
    PF_Err err = PF_Err_NONE;
    for (int32_t i = 0; i < count; ++i) {
        ScopedObjectMessage message;
        if (const PF_Err e = message.status()) return e;
        message->command = kObjMixHash;
        message->hash->effectRef = effectRef;
        message->hash->mixInCallback = mixIn;
        const PF_Err e = SendMessage(host, layer, time, *message, i, AEGP_EffectFlags_ACTIVE);
        if (!err) err = e;
        for (const HashDependency& dep : message->hash->dependencies) {
            const AEGP_LayerH other = dep.layer;
            if (!other) continue;
            const uint32_t otherId = host.layerId(other);
            bool seen = false;
            for (uint32_t v : visited) seen = seen || v == otherId;
            if (seen) continue;
            std::vector<uint32_t> deeper = visited;
            deeper.push_back(otherId);
            const PF_Err r =
                MixStackHash(host, other, UnpackTime(dep.time), effectRef, mixIn, deeper);
            if (!err) err = r;
        }
    }
    return err;
}

PF_Err AddDefaultRenderer(HostServices& host, AEGP_LayerH layer) {
    std::vector<int32_t> mains, family;
    FindEffects(host, layer, kLegacyRendererName, nullptr, mains);
    FindEffects(host, layer, kSourcePrefix, nullptr, family);
    FindEffects(host, layer, kEffectorPrefix, nullptr, family);
    FindEffects(host, layer, kRendererPrefix, nullptr, family);
    if (mains.size() >= 2 || !family.empty()) return PF_Err_NONE;
    for (AEGP_InstalledEffectKey key = host.nextInstalledEffect(0); key;
         key = host.nextInstalledEffect(key)) {
        if (host.effectMatchName(key) == kPointsRendererName) {
            host.disposeEffect(host.applyEffect(0, layer, key));
            return PF_Err_NONE;
        }
    }
    return PF_Err_NONE;
}

}  // namespace tv
