// The software line and triangle engine, on Anti-Grain Geometry, drawing into 25 tiles.
#pragma once

#include "engines/RenderEngine.h"

namespace tv {

class AGGEngine : public TV_Base_Render {
  public:
    AGGEngine(HostServices* host, PF_EffectWorld* world, int32_t bitDepth)
        : TV_Base_Render(host, world, bitDepth) {
        perspectiveSizes = true;
    }
    PF_Err drawLines(std::vector<DrawLine>& lines) override;

    // Draws projected lines clipped to one tile.
    void drawLinesInTile(const std::vector<DrawLine>& lines, const ScanTile& tile) const;
};

// Arc steps of a half circle of radius r so that the chord error stays at 1/8 pixel.
int32_t CapsuleArcSteps(double r);

}  // namespace tv
