// The feeding step: turns one render item into flat draw records and hands them to an engine.
#pragma once

#include <vector>

#include "engines/RenderEngine.h"
#include "engines/Shading.h"
#include "host/GeometryStore.h"
#include "host/RenderItem.h"

namespace tv {

inline constexpr const char* kSpriteNotCompMessage =
    "Tavrin - Item has to be Pre-Comped to use it as a Sprite";

// Which vertices the items of a frame use: lines, triangles and beams.
struct UsageMasks {
    std::vector<uint8_t> lines;
    std::vector<uint8_t> triangles;
    std::vector<uint8_t> beams;
};
UsageMasks BuildUsageMasks(const std::vector<RenderItem>& items, size_t vertexCount);

// Each step looks at the item's kind and does nothing for the others.
PF_Err FeedPoints(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store,
                  const UsageMasks& masks);
PF_Err FeedLines(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store);
// Triangles lit through `shading` when it is given and enabled.
PF_Err FeedTriangles(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store,
                     const ShadingRecord* shading = nullptr);
PF_Err FeedBeams(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store);

// One item to the engine its kind goes to: points and sprites, lines and beams, triangles and
// facets (the last two lit through `shading`). Facets go only to a GPU engine: the software
// frame does not draw them.
PF_Err FeedItem(TV_Base_Render& points, TV_Base_Render& lines, TV_Base_Render& triangles,
                const RenderItem& item, const GeometryStore& store, const UsageMasks& masks,
                const ShadingRecord* shading = nullptr);

// The beam item's paths: straight runs joined while each beam starts where the last ended,
// bezier beams one path each.
void BuildBeamPaths(const RenderItem& item, const GeometryStore& store, std::vector<BeamPath>& out);

}  // namespace tv
