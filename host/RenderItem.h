// The tagged record a renderer pushes and the frame driver draws. Each kind's payload layout is
// owned by its renderer; the arrays it points to are freed by FreeRenderItem after drawing.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

namespace tv {

enum RenderItemKind : uint32_t {
    kRenderPoints = 0,
    kRenderLines = 1,
    kRenderTriangles = 2,
    kRenderBeams = 3,
    kRenderFacets = 4,
};

struct RenderItem {
    uint32_t kind = 0;
    alignas(8) uint8_t data[80] = {};

    template <class T>
    T& as() {
        static_assert(sizeof(T) <= sizeof(data));
        return *reinterpret_cast<T*>(data);
    }
    template <class T>
    const T& as() const {
        static_assert(sizeof(T) <= sizeof(data));
        return *reinterpret_cast<const T*>(data);
    }
};
static_assert(sizeof(RenderItem) == 88);

// Per-kind release of a render item's arrays; each renderer registers its kind's releaser.
using RenderItemReleaser = void (*)(RenderItem&);
void RegisterRenderItemReleaser(uint32_t kind, RenderItemReleaser releaser);
void FreeRenderItem(RenderItem& item);
// Frees every item of the list and empties it.
void FreeRenderItems(std::vector<RenderItem>& items);

}  // namespace tv
