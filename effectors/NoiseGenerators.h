// The noise effector's two generators: four channels of noise for one element.
#pragma once

#include <cstdint>

#include "host/Noise.h"

namespace tv {

struct NoiseSettings {
    double scale[3] = {0.25, 0.25, 0.25};
    double offset[3] = {0, 0, 0};  // degrees
    double evolution = 0;          // degrees
    double rate = 0.5;
    int32_t period = 0x7FFFFFFF;
    int32_t octaves = 3;
    int32_t seed = 10;
};

// The current generator: periodic 4D gradient noise with channel shifts; only w wraps.
void CurrentNoise(const NoiseSettings& s, int32_t ix, int32_t iy, int32_t iz, float n[4]);
// The compatibility generator over a Perlin table seeded with the noise seed.
void CompatibilityNoise(const NoiseSettings& s, const Perlin& table, int32_t ix, int32_t iy,
                        int32_t iz, float n[4]);

// RGB (0..1) to HSL (0..1 each) and back.
void RgbToHsl(float r, float g, float b, float& h, float& s, float& l);
void HslToRgb(float h, float s, float l, float& r, float& g, float& b);

}  // namespace tv
