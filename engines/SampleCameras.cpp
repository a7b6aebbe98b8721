#include "engines/SampleCameras.h"

#include <algorithm>
#include <cmath>

namespace tv {

namespace {

double RadicalInverse(uint32_t i, uint32_t base) {
    double f = 1.0, r = 0.0;
    while (i > 0) {
        f /= base;
        r += f * double(i % base);
        i /= base;
    }
    return r;
}

// Shirley's concentric map of the square onto the disc: even spacing survives the map.
std::array<double, 2> ToDisc(double u, double v) {
    const double a = 2 * u - 1, b = 2 * v - 1;
    if (a == 0 && b == 0) return {0, 0};
    double r, phi;
    constexpr double kQuarterPi = 0.78539816339744830962;
    if (std::abs(a) > std::abs(b)) {
        r = a;
        phi = kQuarterPi * (b / a);
    } else {
        r = b;
        phi = 2 * kQuarterPi - kQuarterPi * (a / b);
    }
    return {r * std::cos(phi), r * std::sin(phi)};
}

void Multiply(const float a[16], const float b[16], float out[16]) {
    float r[16];
    for (int c = 0; c < 4; ++c)
        for (int row = 0; row < 4; ++row) {
            float s = 0;
            for (int k = 0; k < 4; ++k) s += a[k * 4 + row] * b[c * 4 + k];
            r[c * 4 + row] = s;
        }
    std::copy(r, r + 16, out);
}

}  // namespace

int32_t SampleBudget(int32_t quality, bool depthOfField, int32_t timeSamples, bool gpu) {
    const int32_t q = std::clamp(quality, 1, 8) - 1;
    int32_t samples = depthOfField ? kDofSamples[q] : kPlainSamples[q];
    samples = std::max(samples, timeSamples);
    if (gpu) samples = std::max(samples, kGpuSampleFloor[q]);
    return samples;
}

PassRange PassRangeOf(int32_t sampleCount, int32_t timeSamples, int32_t index) {
    const int32_t perTime = timeSamples > 0 ? sampleCount / timeSamples : 0;
    return {perTime * index, perTime * (index + 1)};
}

std::vector<std::array<double, 2>> DiscPoints(int32_t n) {
    constexpr uint32_t kSeed = 23;
    std::vector<std::array<double, 2>> out;
    out.reserve(size_t(std::max(n, 0)));
    for (int32_t i = 0; i < n; ++i)
        out.push_back(
            ToDisc(RadicalInverse(kSeed + uint32_t(i), 2), RadicalInverse(kSeed + uint32_t(i), 3)));
    return out;
}

SampleOffsets MakeSampleOffsets(int32_t sampleCount, bool accumulate, bool applyDof,
                                double lensRadius) {
    SampleOffsets s;
    const auto n = size_t(std::max(sampleCount, 0));
    s.jitter.assign(n, {0, 0});
    s.lens.assign(n, {0, 0});
    if (sampleCount < 2 || !accumulate) return s;
    const auto points = DiscPoints(sampleCount);
    for (size_t i = 0; i < n; ++i) {
        const auto& j = points[n - i - 1];
        s.jitter[i] = {j[0] * 0.5, j[1] * 0.5};
        if (applyDof) s.lens[i] = {points[i][0] * lensRadius, points[i][1] * lensRadius};
    }
    return s;
}

void SampleMatrices(const float modelView[16], const float projection[16],
                    const std::array<double, 2>& jitter, const std::array<double, 2>& lens,
                    double focusDistance, double width, double height, float outModelView[16],
                    float outProjection[16]) {
    // The eye moves by the lens offset (translation -l), and a shear proportional to depth
    // (-z in view space) brings the focus plane back: x' = x - l + l * (-z / F).
    float shear[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const double f = focusDistance > 0 ? focusDistance : 1.0;
    shear[8] = float(-lens[0] / f);
    shear[9] = float(-lens[1] / f);
    shear[12] = float(-lens[0]);
    shear[13] = float(-lens[1]);
    Multiply(shear, modelView, outModelView);
    // The jitter as a clip-space shift of x and y by a fraction of w.
    float shift[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    shift[12] = width > 0 ? float(2 * jitter[0] / width) : 0.0f;
    shift[13] = height > 0 ? float(2 * jitter[1] / height) : 0.0f;
    Multiply(shift, projection, outProjection);
}

}  // namespace tv
