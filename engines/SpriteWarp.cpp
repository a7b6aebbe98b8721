#include "engines/SpriteWarp.h"

#include <algorithm>
#include <cmath>

#include "engines/KDLRender.h"

namespace tv {

namespace {

// Straight A, R, G, B of one texel as premultiplied R, G, B, A floats.
void Texel(const PF_EffectWorld& w, int32_t x, int32_t y, float out[4]) {
    x = std::clamp(x, 0, w.width - 1);
    y = std::clamp(y, 0, w.height - 1);
    const uint8_t* row = w.data + size_t(y) * size_t(w.rowbytes);
    float a, r, g, b;
    if (w.format == PF_PixelFormat_ARGB128) {
        const auto* p = reinterpret_cast<const PF_PixelFloat*>(row) + x;
        a = p->alpha, r = p->red, g = p->green, b = p->blue;
    } else {
        const auto* p = reinterpret_cast<const PF_Pixel8*>(row) + x;
        a = p->alpha / 255.0f, r = p->red / 255.0f, g = p->green / 255.0f, b = p->blue / 255.0f;
    }
    out[0] = r * a, out[1] = g * a, out[2] = b * a, out[3] = a;
}

}  // namespace

void SampleBilinear(const PF_EffectWorld& source, double u, double v, float out[4]) {
    const double x = u - 0.5, y = v - 0.5;
    const auto x0 = int32_t(std::floor(x)), y0 = int32_t(std::floor(y));
    const auto fx = float(x - x0), fy = float(y - y0);
    float t00[4], t10[4], t01[4], t11[4];
    Texel(source, x0, y0, t00);
    Texel(source, x0 + 1, y0, t10);
    Texel(source, x0, y0 + 1, t01);
    Texel(source, x0 + 1, y0 + 1, t11);
    for (int c = 0; c < 4; ++c) {
        const float top = t00[c] + (t10[c] - t00[c]) * fx;
        const float bottom = t01[c] + (t11[c] - t01[c]) * fx;
        out[c] = top + (bottom - top) * fy;
    }
}

float SpriteHalfHeight(float halfWidth, const PF_EffectWorld& source) {
    return source.width > 0 ? halfWidth * float(source.height) / float(source.width) : halfWidth;
}

void DrawSpriteInTile(const DrawSprite& s, const PF_EffectWorld& source, PF_EffectWorld& target,
                      const ScanTile& tile) {
    if (!source.data || !target.data || !(s.width > 0) || !(s.height > 0)) return;
    const double left = s.x - s.width, top = s.y - s.height;
    const double spanX = 2.0 * s.width, spanY = 2.0 * s.height;
    const int32_t x0 = std::max(tile.left, int32_t(std::ceil(left)));
    const int32_t x1 =
        std::min({tile.right - 1, target.width - 1, int32_t(std::floor(left + spanX))});
    const int32_t y0 = std::max(tile.top, int32_t(std::ceil(top)));
    const int32_t y1 =
        std::min({tile.bottom - 1, target.height - 1, int32_t(std::floor(top + spanY))});
    const bool isFloat = target.format == PF_PixelFormat_ARGB128;
    const float tint = s.color[3];
    for (int32_t y = y0; y <= y1; ++y) {
        uint8_t* row = target.data + size_t(y) * size_t(target.rowbytes);
        const double v = (y - top) / spanY * source.height;
        for (int32_t x = x0; x <= x1; ++x) {
            const double u = (x - left) / spanX * source.width;
            float c[4];
            SampleBilinear(source, u, v, c);
            const float a = c[3] * tint;
            if (!(a > 0)) continue;
            const float r = c[0] * s.color[0] * tint, g = c[1] * s.color[1] * tint,
                        b = c[2] * s.color[2] * tint;
            if (isFloat) {
                BlendPixelFloat(reinterpret_cast<PF_PixelFloat*>(row)[x], PF_PixelFloat{a, r, g, b},
                                255);
            } else {
                auto byte = [](float f) {
                    return uint8_t(std::clamp(f, 0.0f, 1.0f) * 255.0f + 0.5f);
                };
                BlendPixel8(reinterpret_cast<PF_Pixel8*>(row)[x],
                            PF_Pixel8{byte(a), byte(r), byte(g), byte(b)}, 255);
            }
        }
    }
}

}  // namespace tv
