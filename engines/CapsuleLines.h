// The software engine's lines: capsules rasterised straight into a tile and blended "over" span
// by span, a solid colour or the start-to-end gradient of the line.
#pragma once

#include <array>
#include <cstdint>

#include "engines/CapsuleRaster.h"
#include "engines/DrawRecords.h"
#include "host/HostTypes.h"

namespace tv {

class CapsuleLineDrawer {
  public:
    // Depth 8 or 32; any other depth draws nothing.
    CapsuleLineDrawer(const PF_EffectWorld& world, int32_t bitDepth, bool perspectiveSizes,
                      const ScanTile& tile);
    ~CapsuleLineDrawer();
    CapsuleLineDrawer(const CapsuleLineDrawer&) = delete;
    CapsuleLineDrawer& operator=(const CapsuleLineDrawer&) = delete;
    void draw(const DrawLine& l);
    // Blends the lines still waiting (each is blended a few lines late); the destructor calls it.
    void finish();

  private:
    void blendOldest();
    void blend(CapsuleRaster& raster, const DrawLine& l);
    template <class Pixel>
    void blendSpans(CapsuleRaster& raster, const DrawLine& l);
    void resetGradient(const DrawLine& l);
    const PF_Pixel8& gradient8(int32_t i);
    const PF_PixelFloat& gradientFloat(int32_t i);

    const PF_EffectWorld& world_;
    int32_t bitDepth_;
    bool perspectiveSizes_;

    // Lines accumulated and waiting for their blend, oldest at first_.
    static constexpr size_t kInFlight = 4;
    CapsuleRaster rasters_[kInFlight];
    DrawLine pending_[kInFlight];
    size_t first_ = 0, count_ = 0;
    ArcStepCache arcSteps_;
    // A gradient's 256 colours, each worked out the first time a pixel asks for it.
    std::array<PF_Pixel8, 256> table8_{};
    std::array<PF_PixelFloat, 256> tableFloat_{};
    std::array<uint32_t, 256> stamps_{};
    uint32_t line_ = 0;
    const DrawLine* current_ = nullptr;
};

}  // namespace tv
