// Blending one premultiplied colour "over" a pixel at a coverage of 0..255, inline: every
// software engine calls these once per covered pixel.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "host/HostTypes.h"

namespace tv {

inline void BlendPixel8(PF_Pixel8& dst, const PF_Pixel8& src, int32_t coverage) {
    uint32_t a = src.alpha, r = src.red, g = src.green, b = src.blue;
    if (coverage != 255) {
        auto scale = [coverage](uint32_t c) {
            const uint32_t cc = c * uint32_t(coverage);
            return (cc + 1 + (cc >> 8)) >> 8;
        };
        a = scale(a), r = scale(r), g = scale(g), b = scale(b);
    }
    if (a > 254) {
        dst = PF_Pixel8{uint8_t(a), uint8_t(r), uint8_t(g), uint8_t(b)};
        return;
    }
    if (a == 0) return;
    const uint32_t m = 255 - a;
    auto over = [m](uint32_t d, uint32_t s) {
        return uint8_t(std::min<uint32_t>(255, ((d * m) >> 8) + s));
    };
    dst.alpha = over(dst.alpha, a);
    dst.red = over(dst.red, r);
    dst.green = over(dst.green, g);
    dst.blue = over(dst.blue, b);
}

inline void BlendPixelFloat(PF_PixelFloat& dst, const PF_PixelFloat& src, int32_t coverage) {
    PF_PixelFloat s = src;
    if (coverage != 255) {
        const float k = float(coverage) / 255.0f;
        s.alpha *= k, s.red *= k, s.green *= k, s.blue *= k;
    }
    if (s.alpha == 0.0f) return;
    if (s.alpha == 1.0f) {
        dst = s;
        return;
    }
    const float keep = 1.0f - s.alpha;
    dst.alpha = dst.alpha * keep + s.alpha;
    dst.red = dst.red * keep + s.red;
    dst.green = dst.green * keep + s.green;
    dst.blue = dst.blue * keep + s.blue;
}

// A pixel's four bytes in four 16-bit lanes, and back.
inline uint64_t SpreadPixel8(const PF_Pixel8& p) {
    uint32_t v;
    std::memcpy(&v, &p, 4);
    uint64_t e = v;
    e = (e | (e << 16)) & 0x0000FFFF0000FFFFull;
    return (e | (e << 8)) & 0x00FF00FF00FF00FFull;
}
inline void PackPixel8(uint64_t e, PF_Pixel8& p) {
    e = (e | (e >> 8)) & 0x0000FFFF0000FFFFull;
    const auto v = uint32_t(e | (e >> 16));
    std::memcpy(&p, &v, 4);
}

// BlendPixel8's bytes for a source none of whose colours exceeds its alpha (a colour
// premultiplied from bytes), all four channels in one multiply and without branches, which
// anti-aliased edges mispredict: no sum passes 255 so no lane spills into the next, an alpha of
// 255 gives m = 0 (the source replaces the pixel) and one of 0 gives m = 256 over a zero source
// (the pixel stays).
inline void BlendPremultipliedPixel8(PF_Pixel8& dst, const PF_Pixel8& src, int32_t cover) {
    constexpr uint64_t kLow = 0x00FF00FF00FF00FFull, kOnes = 0x0001000100010001ull;
    const uint64_t cc = SpreadPixel8(src) * uint64_t(cover);
    const uint64_t s = ((cc + kOnes + ((cc >> 8) & kLow)) >> 8) & kLow;
    const uint64_t a = s & 0xFF;
    const uint64_t m = 255 - a + (a == 0 ? 1 : 0);
    PackPixel8((((SpreadPixel8(dst) * m) >> 8) & kLow) + s, dst);
}

}  // namespace tv
