#include "engines/gl/TextureData.h"

#include <cmath>
#include <numeric>
#include <utility>

namespace tv::gl {

std::vector<float> CircleTextureData(int32_t size) {
    std::vector<float> out(size_t(size) * size_t(size) * 4, 1.0f);
    const double r = size * 0.5;
    const double inner = (r - 1) * (r - 1), outer = r * r;
    for (int32_t y = 0; y < size; ++y)
        for (int32_t x = 0; x < size; ++x) {
            const double dx = x + 0.5 - r, dy = y + 0.5 - r;
            const double d2 = dx * dx + dy * dy;
            double a = 1.0;
            if (d2 > outer)
                a = 0.0;
            else if (d2 > inner)
                a = (outer - d2) / (outer - inner);
            out[(size_t(y) * size_t(size) + size_t(x)) * 4 + 3] = float(a);
        }
    return out;
}

std::vector<uint8_t> RandomMaskData(int32_t bits, int32_t width, int32_t height,
                                    std::mt19937& twister) {
    std::vector<uint8_t> out(size_t(width) * size_t(height), 0);
    std::vector<int32_t> order(static_cast<size_t>(bits));
    for (int32_t y = 0; y < height; ++y) {
        const double x = double(y) / double(height - 1) * bits;
        const auto whole = int32_t(std::trunc(x));
        for (int32_t column = 0; column < width; ++column) {
            std::iota(order.begin(), order.end(), 0);
            for (int32_t s = 0; s < 2 * bits; ++s) {
                const uint32_t a = twister() % uint32_t(bits);
                const uint32_t b = twister() % uint32_t(bits);
                std::swap(order[a], order[b]);
            }
            uint32_t mask = 0;
            for (int32_t k = 0; k < whole && k < bits; ++k) mask |= 1u << order[size_t(k)];
            const double u = twister() * 2.3283064365386963e-10;
            if (whole < bits && x - std::floor(x) > u) mask |= 1u << order[size_t(whole)];
            out[size_t(y) * size_t(width) + size_t(column)] = uint8_t(mask);
        }
    }
    return out;
}

std::mt19937& MaskTwister() {
    static std::mt19937 twister(5489u);
    return twister;
}

}  // namespace tv::gl
