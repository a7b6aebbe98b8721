#include "engines/Shading.h"

#include <algorithm>
#include <cmath>

namespace tv {

void ShadeColor(const ShadingRecord& s, const double p[3], const double n[3], float rgba[4]) {
    if (!s.enabled) return;
    double sum[3] = {0, 0, 0};
    for (const ShadingLight& light : s.lights) {
        const double d[3] = {light.position[0] - p[0], light.position[1] - p[1],
                             light.position[2] - p[2]};
        const double dist = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        double reach = 1.0;
        if (dist > s.radius)
            reach = s.falloff > 0 ? std::max(0.0, 1.0 - (dist - s.radius) / s.falloff) : 0.0;
        if (reach <= 0) continue;
        double facing = 1.0;
        if (dist > 0) {
            facing = (n[0] * d[0] + n[1] * d[1] + n[2] * d[2]) / dist;
            facing = s.bothSides ? std::abs(facing) : std::max(0.0, facing);
        }
        const double amount = light.intensity / 100.0 * reach * facing;
        for (int c = 0; c < 3; ++c) sum[c] += light.color[c] * amount;
    }
    for (int c = 0; c < 3; ++c) rgba[c] = float(rgba[c] * std::clamp(sum[c], 0.0, 1.0));
}

}  // namespace tv
