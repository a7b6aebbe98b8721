// The software point engine: crisp and soft discs blended "over" into 25 tiles in parallel.
#pragma once

#include <vector>

#include "engines/BlendPixel.h"
#include "engines/RenderEngine.h"

namespace tv {

class KDLRender : public TV_Base_Render {
  public:
    // `pixel` and `colour` point at one pixel and one colour of the world's depth.
    using BlendFn = void (*)(void* pixel, const void* colour, int32_t coverage);

    KDLRender(HostServices* host, PF_EffectWorld* world, int32_t bitDepth);
    PF_Err drawPoints(std::vector<DrawPoint>& points) override;
    PF_Err drawLines(std::vector<DrawLine>& lines) override;
    size_t recordsPerCall() const override { return kSoftwareRecordsPerCall; }
    // Sprites: drawSprites renders the frames its records name and warps them onto the
    // sprites' rectangles; prepareSprites only notes the sample times' scale.
    PF_Err prepareSprites(AEGP_LayerH layer, const std::vector<A_Time>& times) override;
    PF_Err drawSprites(std::vector<DrawSprite>& sprites) override;

    // Draw one projected record clipped to a tile.
    void drawPointInTile(const DrawPoint& p, const ScanTile& tile) const;
    void drawLineInTile(const DrawLine& l, const ScanTile& tile) const;

    // A float world read back as R, G, B, A turned to A, R, G, B in place.
    PF_Err reorderChannels(PF_EffectWorld& world) const;

    BlendFn blendPixel;

  private:
    uint32_t spriteTimeScale_ = 1;
};

// R, G, B, A to A, R, G, B for the rows [rowBegin, rowEnd) of a float world.
void ReorderRowsRgbaToArgb(PF_EffectWorld& world, int32_t rowBegin, int32_t rowEnd);

}  // namespace tv
