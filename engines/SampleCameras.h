// The unified path's sample budget and the camera of each sample: a sub-pixel jitter for
// anti-aliasing and, with depth of field, a lens offset that keeps the focus plane sharp.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace tv {

// Samples per "Render Quality" (1..8): plain, depth of field, and the GPU's floor.
inline constexpr int32_t kPlainSamples[8] = {1, 4, 8, 16, 32, 64, 72, 128};
inline constexpr int32_t kDofSamples[8] = {32, 64, 128, 256, 512, 1024, 1536, 2048};
inline constexpr int32_t kGpuSampleFloor[8] = {16, 24, 32, 40, 48, 64, 72, 128};

// How many samples a frame takes: the plain or depth-of-field row, at least one per time, and
// on the GPU at least the floor row. Quality outside 1..8 is clamped.
int32_t SampleBudget(int32_t quality, bool depthOfField, int32_t timeSamples, bool gpu);

// The passes of time sample i: [perTime * i, perTime * (i + 1)) with perTime = samples / times;
// a remainder stays unrendered while each pass still weighs 1 / samples.
struct PassRange {
    int32_t start = 0, end = 0;
};
PassRange PassRangeOf(int32_t sampleCount, int32_t timeSamples, int32_t index);

// `n` low-discrepancy points in the unit disc (Halton 2, 3 from index 23, mapped concentrically):
// the same for every frame.
std::vector<std::array<double, 2>> DiscPoints(int32_t n);

struct SampleOffsets {
    std::vector<std::array<double, 2>> jitter;  // pixels
    std::vector<std::array<double, 2>> lens;    // view units
};
// Below 2 samples or without accumulation all offsets are zero. Sample i jitters by point
// n - i - 1 (half a pixel at most) and, with depth of field, moves the lens by `lensRadius`
// times point i; without it the lens stays at the centre.
SampleOffsets MakeSampleOffsets(int32_t sampleCount, bool accumulate, bool applyDof,
                                double lensRadius);

// One sample's matrices (column major) from the camera's: the lens moves the eye within the
// view plane and the view is sheared back so that points at `focusDistance` (view units) stay
// where they were; the jitter moves the whole image by a fraction of a pixel.
void SampleMatrices(const float modelView[16], const float projection[16],
                    const std::array<double, 2>& jitter, const std::array<double, 2>& lens,
                    double focusDistance, double width, double height, float outModelView[16],
                    float outProjection[16]);

}  // namespace tv
