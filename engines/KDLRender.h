// The software point engine: crisp and soft discs blended "over" into 25 tiles in parallel.
#pragma once

#include "engines/RenderEngine.h"

namespace tv {

// Blends a premultiplied colour at a coverage of 0..255 into one pixel.
void BlendPixel8(PF_Pixel8& dst, const PF_Pixel8& src, int32_t coverage);
void BlendPixelFloat(PF_PixelFloat& dst, const PF_PixelFloat& src, int32_t coverage);

class KDLRender : public TV_Base_Render {
  public:
    KDLRender(HostServices* host, PF_EffectWorld* world, int32_t bitDepth)
        : TV_Base_Render(host, world, bitDepth) {}
    PF_Err drawPoints(std::vector<DrawPoint>& points) override;

    // Draws one projected point clipped to a tile.
    void drawPointInTile(const DrawPoint& p, const ScanTile& tile) const;
};

}  // namespace tv
