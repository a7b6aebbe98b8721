#include "engines/AGGEngine.h"

#include <agg_path_storage.h>
#include <agg_rasterizer_scanline_aa.h>
#include <agg_scanline_u.h>

#include <algorithm>
#include <cmath>

#include "engines/KDLRender.h"

namespace tv {

namespace {
constexpr double kPi = 3.14159265358979323846;
}

int32_t CapsuleArcSteps(double r) {
    if (!(r > 0)) return 1;
    const double da = std::acos(r / (r + 0.125));
    const int32_t n = int32_t(2 * kPi / (2 * da) + 0.5) * 180 / 360;
    return std::max(n, 1);
}

namespace {

// Appends a half circle of radius r about c, from direction `from` turning by +pi.
void AppendArc(agg::path_storage& path, double cx, double cy, double fromX, double fromY,
               double r) {
    const int32_t n = CapsuleArcSteps(r);
    const double step = kPi / n;
    // Clockwise in screen terms: from +n through the cap direction to -n.
    const double cs = std::cos(step), sn = -std::sin(step);
    double ox = fromX * r, oy = fromY * r;
    for (int32_t i = 0; i <= n; ++i) {
        path.line_to(cx + ox, cy + oy);
        const double nx = ox * cs - oy * sn;
        oy = ox * sn + oy * cs;
        ox = nx;
    }
}

}  // namespace

void AGGEngine::drawLinesInTile(const std::vector<DrawLine>& lines, const ScanTile& tile) const {
    agg::rasterizer_scanline_aa<> ras;
    agg::scanline_u8 sl;
    ras.clip_box(tile.left, tile.top, tile.right, tile.bottom);
    for (const DrawLine& l : lines) {
        if (!(l.startColor[3] > 0) && !(l.endColor[3] > 0)) continue;
        double dx = l.end[0] - l.start[0], dy = l.end[1] - l.start[1];
        const double len = std::hypot(dx, dy);
        // Coincident ends still have a direction.
        double ux = 1, uy = 0;
        if (len > 0) ux = dx / len, uy = dy / len;
        const double r0 = l.startSize, r1 = l.endSize;
        // A quick reject against the tile.
        const double reach = std::max(r0, r1) + 1;
        if (std::max(l.start[0], l.end[0]) + reach < tile.left ||
            std::min(l.start[0], l.end[0]) - reach > tile.right ||
            std::max(l.start[1], l.end[1]) + reach < tile.top ||
            std::min(l.start[1], l.end[1]) - reach > tile.bottom)
            continue;
        agg::path_storage path;
        // Left side at the start, around the end cap, back along the right side.
        const double nx = -uy, ny = ux;
        path.move_to(l.start[0] + nx * r0, l.start[1] + ny * r0);
        path.line_to(l.end[0] + nx * r1, l.end[1] + ny * r1);
        AppendArc(path, l.end[0], l.end[1], nx, ny, r1);  // turns from +n to -n through +u
        path.line_to(l.start[0] - nx * r0, l.start[1] - ny * r0);
        AppendArc(path, l.start[0], l.start[1], -nx, -ny, r0);
        path.close_polygon();
        ras.reset();
        ras.add_path(path);
        if (!ras.rewind_scanlines()) continue;
        const bool solid = std::equal(l.startColor, l.startColor + 4, l.endColor);
        sl.reset(ras.min_x(), ras.max_x());
        while (ras.sweep_scanline(sl)) {
            const int32_t y = sl.y();
            if (y < tile.top || y >= tile.bottom) continue;
            uint8_t* row = world_->data + size_t(y) * size_t(world_->rowbytes);
            auto span = sl.begin();
            for (unsigned s = 0; s < sl.num_spans(); ++s, ++span) {
                for (int32_t k = 0; k < span->len; ++k) {
                    const int32_t x = span->x + k;
                    if (x < tile.left || x >= tile.right) continue;
                    const int32_t coverage = span->covers[k];
                    float c[4];
                    if (solid || len == 0) {
                        std::copy(l.startColor, l.startColor + 4, c);
                    } else {
                        double t =
                            ((x + 0.5 - l.start[0]) * ux + (y + 0.5 - l.start[1]) * uy) / len;
                        t = std::floor(std::clamp(t, 0.0, 1.0) * 255.0) / 255.0;
                        for (int i = 0; i < 4; ++i)
                            c[i] = float(l.startColor[i] + (l.endColor[i] - l.startColor[i]) * t);
                    }
                    const float a = c[3];
                    if (bitDepth_ == 8) {
                        auto q = [](float v) {
                            return uint8_t(std::clamp(v, 0.0f, 1.0f) * 255.0f + 0.5f);
                        };
                        const PF_Pixel8 px{q(a), q(c[0] * a), q(c[1] * a), q(c[2] * a)};
                        BlendPixel8(reinterpret_cast<PF_Pixel8*>(row)[x], px, coverage);
                    } else {
                        const PF_PixelFloat px{a, c[0] * a, c[1] * a, c[2] * a};
                        BlendPixelFloat(reinterpret_cast<PF_PixelFloat*>(row)[x], px, coverage);
                    }
                }
            }
        }
    }
}

PF_Err AGGEngine::drawLines(std::vector<DrawLine>& lines) {
    if (lines.empty()) return PF_Err_NONE;
    if (bitDepth_ != 8 && bitDepth_ != 32) return PF_Err_NONE;
    std::vector<DrawLine> projected;
    projected.reserve(lines.size());
    for (DrawLine l : lines)
        if (projectLine(l)) projected.push_back(l);
    std::vector<ScanTile> tiles;
    SplitIntoTiles(*world_, 5, tiles);
    if (tiles.empty()) return PF_Err_NONE;
    auto work = [&](int32_t t) -> PF_Err {
        drawLinesInTile(projected, tiles[size_t(t)]);
        return PF_Err_NONE;
    };
    if (host_) return host_->iterate(int32_t(tiles.size()), work);
    for (int32_t t = 0; t < int32_t(tiles.size()); ++t) work(t);
    return PF_Err_NONE;
}

}  // namespace tv
