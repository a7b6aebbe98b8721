// A layer's pixels in the host's representation: straight A, R, G, B at 8 bits or float.
#pragma once

#include <cstdint>
#include <vector>

#include "host/HostTypes.h"
#include "standalone/UnsetAllocator.h"

namespace tv::standalone {

using WorldBytes = std::vector<uint8_t, UnsetAllocator<uint8_t>>;

// Zero or copy `bytes` bytes in slices over the threads: a float frame at 1080p is 33 MB.
void ZeroOnThreads(uint8_t* data, size_t bytes);
void CopyOnThreads(uint8_t* to, const uint8_t* from, size_t bytes);

struct LayerWorld {
    PF_EffectWorld world;
    WorldBytes bytes;  // transparent black when made
    LayerWorld() = default;
    LayerWorld(int32_t width, int32_t height, int32_t bitDepth) {
        const int32_t pixelBytes = bitDepth == 32 ? 16 : 4;
        bytes.resize(size_t(width) * size_t(height) * size_t(pixelBytes));
        ZeroOnThreads(bytes.data(), bytes.size());
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
