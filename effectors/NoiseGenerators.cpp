#include "effectors/NoiseGenerators.h"

#include <algorithm>
#include <cmath>

namespace tv {

void CurrentNoise(const NoiseSettings& s, int32_t ix, int32_t iy, int32_t iz, float n[4]) {
    const float x = float((ix + s.offset[0]) * s.scale[0] + 0.11729999631643295);
    const float y = float((iy + s.offset[1]) * s.scale[1] + 0.7519000172615051);
    const float z = float((iz + s.offset[2]) * s.scale[2] + 0.3296999931335449);
    const float w = float(s.evolution * double(0.0027777778450399637f) + 1.0);
    const double seed = s.seed;
    float k[4] = {1, 32, 64, 128};
    if (seed > 0) {
        k[0] = float(std::trunc(seed + 127));
        k[1] = float(std::trunc((seed + 63) * 32));
        k[2] = float(std::trunc((seed + 31) * 64));
        k[3] = float(std::trunc((seed + 1) * 128));
    }
    for (int c = 0; c < 4; ++c)
        n[c] = Fbm4(s.octaves, x + k[c], y + k[c], z + k[c], w + k[c], s.period);
}

void CompatibilityNoise(const NoiseSettings& s, const Perlin& table, int32_t ix, int32_t iy,
                        int32_t iz, float n[4]) {
    const double a = ix + s.offset[0] + 0.23, b = iy + s.offset[1] + 0.27,
                 c = iz + s.offset[2] + 0.31;
    float sx = float(s.scale[0]);
    // Whole-number X scales sample noise at lattice points, where it is zero: nudge them off.
    if (sx == std::floor(sx)) sx -= 0.001f;
    if (sx == std::ceil(sx)) sx -= 0.001f;
    const double e = s.rate * s.evolution;
    const float u = float(sx * a + e), v = float(b * s.scale[1] + e), t = float(c * s.scale[2] + e);
    n[0] = table.fbm3(u + 3, v + 8, t + 12);
    n[1] = table.fbm3(u + 4, v + 9, t + 13);
    n[2] = table.fbm3(u + 5, v + 10, t + 14);
    n[3] = table.fbm3(u + 7, v + 11, t + 15);
}

void RgbToHsl(float r, float g, float b, float& h, float& s, float& l) {
    const float mx = std::max({r, g, b}), mn = std::min({r, g, b});
    l = (mx + mn) * 0.5f;
    if (mx == mn) {
        h = s = 0;
        return;
    }
    const float d = mx - mn;
    s = l > 0.5f ? d / (2 - mx - mn) : d / (mx + mn);
    if (mx == r)
        h = (g - b) / d + (g < b ? 6 : 0);
    else if (mx == g)
        h = (b - r) / d + 2;
    else
        h = (r - g) / d + 4;
    h /= 6;
}

namespace {
float HueToRgb(float p, float q, float t) {
    t -= std::floor(t);
    if (t < 1.0f / 6) return p + (q - p) * 6 * t;
    if (t < 0.5f) return q;
    if (t < 2.0f / 3) return p + (q - p) * (2.0f / 3 - t) * 6;
    return p;
}
}  // namespace

void HslToRgb(float h, float s, float l, float& r, float& g, float& b) {
    if (s == 0) {
        r = g = b = l;
        return;
    }
    const float q = l < 0.5f ? l * (1 + s) : l + s - l * s;
    const float p = 2 * l - q;
    r = HueToRgb(p, q, h + 1.0f / 3);
    g = HueToRgb(p, q, h);
    b = HueToRgb(p, q, h - 1.0f / 3);
}

}  // namespace tv
