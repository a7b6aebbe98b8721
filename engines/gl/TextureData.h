// The pixels of the two fixed textures, made on the CPU so that they can be checked without GL.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace tv::gl {

// RGBA floats of a white disc filling `size` square: alpha 1 up to radius r - 1, falling
// linearly in r^2 to 0 at r, 0 beyond.
std::vector<float> CircleTextureData(int32_t size);

// One byte per texel: for each row (an alpha level) and column, a mask of `bits` bits of which
// the expected number set is row / (height - 1) * bits, spread evenly over the bit positions by
// a random permutation per texel.
std::vector<uint8_t> RandomMaskData(int32_t bits, int32_t width, int32_t height,
                                    std::mt19937& twister);

// The process's twister for the mask, seeded with 5489 once.
std::mt19937& MaskTwister();

}  // namespace tv::gl
