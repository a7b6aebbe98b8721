// The software line and triangle engine drawing into 25 tiles: lines as capsules rasterised
// straight into each tile, triangles on Anti-Grain Geometry.
#pragma once

#include "engines/RenderEngine.h"

namespace tv {

class AGGEngine : public TV_Base_Render {
  public:
    // The fourth argument is taken as the engine factory passes it, and not used.
    AGGEngine(HostServices* host, PF_EffectWorld* world, int32_t bitDepth, int32_t = 0)
        : TV_Base_Render(host, world, bitDepth) {
        perspectiveSizes = true;
    }
    PF_Err drawLines(std::vector<DrawLine>& lines) override;
    size_t recordsPerCall() const override { return kSoftwareRecordsPerCall; }
    PF_Err drawTriangles(std::vector<DrawTriangle>& triangles) override;

    // Draw already projected records clipped to one tile.
    void drawLinesInTile(const std::vector<DrawLine>& lines, const ScanTile& tile) const;
    void drawTrianglesInTile(const std::vector<DrawTriangle>& triangles,
                             const ScanTile& tile) const;
};

// The stroked path lines took before the capsule rasteriser: an outline per line through AGG's
// general rasteriser. Kept as the reference the rasteriser is tested and measured against.
void StrokeLinesInTileWithAgg(const PF_EffectWorld& world, int32_t bitDepth, bool perspectiveSizes,
                              const std::vector<DrawLine>& lines, const ScanTile& tile);

// Arc steps of a half circle of radius r so that the chord error stays at 1/8 pixel.
int32_t CapsuleArcSteps(double r);
// The seam-closing dilation of a triangle whose first corner has alpha a.
double TriangleDilation(double a);

}  // namespace tv
