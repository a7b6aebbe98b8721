// A layer's pixels in the host's representation: straight A, R, G, B at 8 bits or float.
#pragma once

#include <cstdint>
#include <vector>

#include "host/HostTypes.h"

namespace tv::standalone {

struct LayerWorld {
    PF_EffectWorld world;
    std::vector<uint8_t> bytes;
    LayerWorld() = default;
    LayerWorld(int32_t width, int32_t height, int32_t bitDepth) {
        const int32_t pixelBytes = bitDepth == 32 ? 16 : 4;
        bytes.assign(size_t(width) * size_t(height) * size_t(pixelBytes), 0);
        world.width = width;
        world.height = height;
        world.rowbytes = width * pixelBytes;
        world.format = bitDepth == 32 ? PF_PixelFormat_ARGB128 : PF_PixelFormat_ARGB32;
        world.data = bytes.data();
        world.extent_hint = PF_LRect{0, 0, width, height};
    }
    LayerWorld(const LayerWorld&) = delete;
    LayerWorld& operator=(const LayerWorld&) = delete;
};

}  // namespace tv::standalone
