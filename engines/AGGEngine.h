// The software line and triangle engine, on Anti-Grain Geometry, drawing into 25 tiles.
#pragma once

#include "engines/RenderEngine.h"

namespace tv {

class AGGEngine : public TV_Base_Render {
  public:
    AGGEngine(HostServices* host, PF_EffectWorld* world, int32_t bitDepth, int32_t unused = 0)
        : TV_Base_Render(host, world, bitDepth), unused_(unused) {
        perspectiveSizes = true;
    }
    PF_Err drawLines(std::vector<DrawLine>& lines) override;
    PF_Err drawTriangles(std::vector<DrawTriangle>& triangles) override;

    // Draw already projected records clipped to one tile.
    void drawLinesInTile(const std::vector<DrawLine>& lines, const ScanTile& tile) const;
    void drawTrianglesInTile(const std::vector<DrawTriangle>& triangles,
                             const ScanTile& tile) const;

  private:
    int32_t unused_;  // kept from the constructor, never read
};

// Arc steps of a half circle of radius r so that the chord error stays at 1/8 pixel.
int32_t CapsuleArcSteps(double r);
// The seam-closing dilation of a triangle whose first corner has alpha a.
double TriangleDilation(double a);

}  // namespace tv
