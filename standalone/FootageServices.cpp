// The embedded host's project footage: OBJ files the import dialog brings in, found again by
// their file or by the comment that records it, and the layers that show them.
#include <filesystem>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

AEGP_ItemH EmbeddedHost::findFootage(const std::string& path, bool& byComment) {
    byComment = false;
    for (const FootageItem& item : state_.project.footage)
        if (!item.files.empty() && item.files.front() == path) return item.uid;
    for (const auto& comp : state_.project.comps)
        for (const auto& layer : comp->layers)
            if (layer->kind == LayerKind::Obj && !layer->objFiles.empty() &&
                layer->objFiles.front() == path)
                return layer->sourceItem ? layer->sourceItem : layer->uid;
    for (const FootageItem& item : state_.project.footage)
        if (item.comment == path) {
            byComment = true;
            return item.uid;
        }
    for (const auto& comp : state_.project.comps)
        for (const auto& layer : comp->layers)
            if (layer->kind == LayerKind::Obj && layer->comment == path) {
                byComment = true;
                return layer->sourceItem ? layer->sourceItem : layer->uid;
            }
    return 0;
}

AEGP_ItemH EmbeddedHost::importFootage(const std::vector<std::string>& files,
                                       const std::string& comment) {
    FootageItem item;
    item.uid = state_.nextUid++;
    item.files = files;
    item.comment = comment;
    state_.project.footage.push_back(item);
    return item.uid;
}

void EmbeddedHost::replaceFootageFiles(AEGP_ItemH item, const std::vector<std::string>& files) {
    // A layer's own uid stands for its item; the project's item is the one it was made from.
    AEGP_ItemH shared = item;
    for (const auto& comp : state_.project.comps)
        for (const auto& layer : comp->layers)
            if (layer->uid == item && layer->kind == LayerKind::Obj && layer->sourceItem)
                shared = layer->sourceItem;
    bool found = false;
    for (FootageItem& f : state_.project.footage)
        if (f.uid == shared) f.files = files, found = true;
    for (const auto& comp : state_.project.comps)
        for (const auto& layer : comp->layers)
            if (layer->kind == LayerKind::Obj &&
                (layer->uid == item || layer->uid == shared || layer->sourceItem == shared)) {
                layer->objFiles = files;
                if (!files.empty()) layer->sourceFile = files.front();
                found = true;
            }
    if (!found) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
}

AEGP_LayerH EmbeddedHost::compLayerOfItem(AEGP_CompH compH, AEGP_ItemH item) {
    const Comp* comp = compByUid(compH);
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    for (const auto& layer : comp->layers)
        if (layer->uid == item || (layer->sourceItem && layer->sourceItem == item))
            return layer->uid;
    return 0;
}

AEGP_LayerH EmbeddedHost::addLayerOfItem(AEGP_CompH compH, AEGP_ItemH item) {
    Comp* comp = compByUid(compH);
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    std::vector<std::string> files;
    std::string comment;
    bool found = false;
    for (const FootageItem& f : state_.project.footage)
        if (f.uid == item) files = f.files, comment = f.comment, found = true;
    if (!found)
        for (const auto& c : state_.project.comps)
            for (const auto& layer : c->layers)
                if (layer->uid == item && layer->kind == LayerKind::Obj)
                    files = layer->objFiles, comment = layer->comment, found = true;
    if (!found) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const std::string name =
        files.empty() ? "Missing OBJ" : std::filesystem::path(files.front()).filename().string();
    Layer& layer = addLayer(*comp, name, LayerKind::Obj);
    layer.objFiles = files;
    if (!files.empty()) layer.sourceFile = files.front();
    layer.sourceItem = item;
    layer.comment = comment;
    layer.enabled = false;  // OBJ footage has no picture of its own
    return layer.uid;
}

}  // namespace tv::standalone
