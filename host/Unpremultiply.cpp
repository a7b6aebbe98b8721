#include "host/Unpremultiply.h"

#include <algorithm>

namespace tv {

void UnpremultiplyRow8(PF_Pixel8* row, int32_t width) {
    for (int32_t x = 0; x < width; ++x) {
        PF_Pixel8& p = row[x];
        if (p.alpha == 0) {
            p = PF_Pixel8{0, 0, 0, 0};
            continue;
        }
        const uint32_t a = p.alpha;
        p.red = static_cast<uint8_t>(std::min<uint32_t>(255, (uint32_t(p.red) << 8) / a));
        p.green = static_cast<uint8_t>(std::min<uint32_t>(255, (uint32_t(p.green) << 8) / a));
        p.blue = static_cast<uint8_t>(std::min<uint32_t>(255, (uint32_t(p.blue) << 8) / a));
    }
}

void UnpremultiplyRowFloat(PF_PixelFloat* row, int32_t width) {
    for (int32_t x = 0; x < width; ++x) {
        PF_PixelFloat& p = row[x];
        if (p.alpha == 0.0f) {
            p = PF_PixelFloat{0, 0, 0, 0};
            continue;
        }
        p.red /= p.alpha;
        p.green /= p.alpha;
        p.blue /= p.alpha;
    }
}

PF_Err UnpremultiplyWorld(HostServices* host, PF_EffectWorld& world) {
    if (!world.data || world.format == PF_PixelFormat_ARGB64) return PF_Err_NONE;
    auto row = [&world](int32_t y) -> PF_Err {
        uint8_t* bytes = world.data + size_t(y) * size_t(world.rowbytes);
        if (world.format == PF_PixelFormat_ARGB32)
            UnpremultiplyRow8(reinterpret_cast<PF_Pixel8*>(bytes), world.width);
        else
            UnpremultiplyRowFloat(reinterpret_cast<PF_PixelFloat*>(bytes), world.width);
        return PF_Err_NONE;
    };
    if (host && (world.width > 256 || world.height > 256)) return host->iterate(world.height, row);
    for (int32_t y = 0; y < world.height; ++y) row(y);
    return PF_Err_NONE;
}

}  // namespace tv
