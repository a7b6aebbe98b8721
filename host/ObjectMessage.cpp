#include "host/ObjectMessage.h"

#include "host/RenderPayloads.h"

#include <cstring>
#include <mutex>
#include <new>

namespace tv {

namespace {

void AddDependency(HashSink* sink, uint64_t layer, uint64_t time) {
    sink->dependencies.push_back(HashDependency{layer, time});
}

void MixIn(HashSink* sink, const void* data, int32_t size) {
    if (sink->mixInCallback)
        sink->mixInCallback(sink->effectRef, static_cast<uint32_t>(size), data);
}

void PushRenderItem(RenderList* list, const RenderItem* item) {
    list->items.push_back(*item);
}

void RequestLayer(RenderList* list, uint32_t layerId, uint64_t time) {
    list->requests.push_back(LayerRequest{layerId, UnpackTime(time)});
}

void GatheredCount(RenderList* list, uint32_t* count) {
    *count = static_cast<uint32_t>(list->gathered.size());
}

void GatheredAt(RenderList* list, int32_t index, ObjectMessage** out) {
    if (index < 0 || size_t(index) >= list->gathered.size()) return;
    *out = list->gathered[size_t(index)];
}

void RenderItemCount(RenderList* list, uint32_t* count) {
    *count = static_cast<uint32_t>(list->items.size());
}

void RenderItemAt(RenderList* list, int32_t index, RenderItem** out) {
    if (index < 0 || size_t(index) >= list->items.size()) return;
    *out = &list->items[size_t(index)];
}

std::mutex gReleasersMutex;
RenderItemReleaser gReleasers[8] = {};

}  // namespace

int16_t ObjectMessage::payloadGroup() const {
    int16_t g;
    std::memcpy(&g, payload, 2);
    return g;
}
void ObjectMessage::setPayloadGroup(int16_t group) {
    std::memcpy(payload, &group, 2);
}
int32_t ObjectMessage::payloadInt() const {
    int32_t v;
    std::memcpy(&v, payload, 4);
    return v;
}
void ObjectMessage::setPayloadInt(int32_t value) {
    std::memcpy(payload, &value, 4);
}

PF_Err InitObjectMessage(ObjectMessage& m) {
    m.magic = kTavrMagic;
    m.command = 0;
    std::memset(m.payload, 0, sizeof m.payload);
    m.flags = 0;
    m.geometry = new (std::nothrow) GeometryStore();
    m.renders = new (std::nothrow) RenderList();
    m.hash = new (std::nothrow) HashSink();
    if (!m.geometry || !m.renders || !m.hash) {
        DisposeObjectMessage(m);
        return PF_Err_OUT_OF_MEMORY;
    }
    m.hash->guard = HashSink::kGuard;
    m.addDependency = &AddDependency;
    m.mixIn = &MixIn;
    m.pushRenderItem = &PushRenderItem;
    m.requestLayer = &RequestLayer;
    m.gatheredCount = &GatheredCount;
    m.gatheredAt = &GatheredAt;
    m.renderItemCount = &RenderItemCount;
    m.renderItemAt = &RenderItemAt;
    m.svgContext = 0;
    return PF_Err_NONE;
}

void DisposeObjectMessage(ObjectMessage& m) {
    if (m.renders) {
        for (ObjectMessage* g : m.renders->gathered) DeleteObjectMessage(g);
        FreeRenderItems(m.renders->items);
    }
    delete m.geometry;
    delete m.renders;
    delete m.hash;
    m.geometry = nullptr;
    m.renders = nullptr;
    m.hash = nullptr;
}

ObjectMessage* NewObjectMessage() {
    auto* m = new (std::nothrow) ObjectMessage();
    if (!m) return nullptr;
    if (InitObjectMessage(*m) != PF_Err_NONE) {
        delete m;
        return nullptr;
    }
    return m;
}

void DeleteObjectMessage(ObjectMessage* m) {
    if (!m) return;
    DisposeObjectMessage(*m);
    delete m;
}

uint64_t PackTime(const A_Time& t) {
    return uint64_t(uint32_t(t.value)) | (uint64_t(t.scale) << 32);
}

A_Time UnpackTime(uint64_t packed) {
    return A_Time{static_cast<int32_t>(uint32_t(packed & 0xFFFFFFFFu)),
                  static_cast<uint32_t>(packed >> 32)};
}

void RegisterRenderItemReleaser(uint32_t kind, RenderItemReleaser releaser) {
    std::lock_guard lock(gReleasersMutex);
    if (kind < std::size(gReleasers)) gReleasers[kind] = releaser;
}

void FreeRenderItem(RenderItem& item) {
    static std::once_flag standardKinds;
    std::call_once(standardKinds, &RegisterStandardPayloadReleasers);
    RenderItemReleaser releaser = nullptr;
    {
        std::lock_guard lock(gReleasersMutex);
        if (item.kind < std::size(gReleasers)) releaser = gReleasers[item.kind];
    }
    if (releaser) releaser(item);
    std::memset(item.data, 0, sizeof item.data);
}

void FreeRenderItems(std::vector<RenderItem>& items) {
    for (RenderItem& item : items) FreeRenderItem(item);
    items.clear();
}

}  // namespace tv
