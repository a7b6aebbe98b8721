#include "engines/KDLRender.h"

#include <algorithm>
#include <cmath>

namespace tv {

void BlendPixel8(PF_Pixel8& dst, const PF_Pixel8& src, int32_t coverage) {
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

void BlendPixelFloat(PF_PixelFloat& dst, const PF_PixelFloat& src, int32_t coverage) {
    PF_PixelFloat s = src;
    if (coverage != 255) {
        const float k = coverage / 255.0f;
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

void KDLRender::drawPointInTile(const DrawPoint& p, const ScanTile& tile) const {
    const float a = p.color[3];
    if (!(a > 0)) return;
    if (bitDepth_ != 8 && bitDepth_ != 32) return;
    const double cx = p.x, cy = p.y;
    const bool soft = p.softness > 0;
    double r, inner2, outer, amplitude = 1.0, s = 0;
    if (soft) {
        s = p.softness + 1.0;
        r = p.size * cameraScale;
        double inner = r - s;
        outer = 2 * s + r;
        if (inner < 0) {
            amplitude = r / s;
            inner = 0;
        }
        inner2 = inner * inner;
    } else {
        r = p.size;
        outer = r + 1.0;  // the feather
        inner2 = (r - 1.0) * (r - 1.0);
    }
    const int32_t x0 = std::max<int32_t>({tile.left, 0, int32_t(std::floor(cx - outer))});
    const int32_t y0 = std::max<int32_t>({tile.top, 0, int32_t(std::floor(cy - outer))});
    const int32_t x1 =
        std::min<int32_t>({tile.right - 1, world_->width - 1, int32_t(std::ceil(cx + outer))});
    const int32_t y1 =
        std::min<int32_t>({tile.bottom - 1, world_->height - 1, int32_t(std::ceil(cy + outer))});
    if (x0 > x1 || y0 > y1) return;
    const double r2 = soft ? outer * outer : r * r;
    const PF_PixelFloat fc{a, a * p.color[0], a * p.color[1], a * p.color[2]};
    auto byte = [](float v) { return uint8_t(std::clamp(v, 0.0f, 1.0f) * 255.0f + 0.5f); };
    const PF_Pixel8 bc{byte(fc.alpha), byte(fc.red), byte(fc.green), byte(fc.blue)};
    for (int32_t iy = y0; iy <= y1; ++iy) {
        uint8_t* row = world_->data + size_t(iy) * size_t(world_->rowbytes);
        for (int32_t ix = x0; ix <= x1; ++ix) {
            const double dx = ix - cx, dy = iy - cy;
            const double d2 = dx * dx + dy * dy;
            if (d2 > r2) continue;
            int32_t coverage = 255;
            if (d2 > inner2) {
                if (soft) {
                    const double d = std::max(0.0, std::sqrt(d2) - std::sqrt(inner2));
                    coverage = int32_t(std::exp(-(d * d) / (2 * s * s)) * amplitude * 255);
                } else {
                    coverage = int32_t((r * r - d2) / (r * r - inner2) * 255);
                }
            }
            if (bitDepth_ == 8)
                BlendPixel8(reinterpret_cast<PF_Pixel8*>(row)[ix], bc, coverage);
            else
                BlendPixelFloat(reinterpret_cast<PF_PixelFloat*>(row)[ix], fc, coverage);
        }
    }
}

PF_Err KDLRender::drawPoints(std::vector<DrawPoint>& points) {
    if (points.empty()) return PF_Err_NONE;
    // Project once; every tile then walks the projected records in order.
    std::vector<DrawPoint> projected;
    projected.reserve(points.size());
    for (DrawPoint p : points)
        if (projectPoint(p)) projected.push_back(p);
    std::vector<ScanTile> tiles;
    SplitIntoTiles(*world_, 5, tiles);
    if (tiles.empty()) return PF_Err_NONE;
    auto tileWork = [&](int32_t t) -> PF_Err {
        for (const DrawPoint& p : projected) drawPointInTile(p, tiles[size_t(t)]);
        return PF_Err_NONE;
    };
    if (host_) return host_->iterate(int32_t(tiles.size()), tileWork);
    for (int32_t t = 0; t < int32_t(tiles.size()); ++t) tileWork(t);
    return PF_Err_NONE;
}

}  // namespace tv
