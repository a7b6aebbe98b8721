// The embedded host's layer, item and comp services.
#include "standalone/EmbeddedHost.h"
#include "standalone/Transform.h"

namespace tv::standalone {

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

}  // namespace tv::standalone
