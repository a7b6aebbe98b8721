#include "engines/KDLRender.h"

#include "engines/SpriteWarp.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tv {

namespace {

void Blend8(void* pixel, const void* colour, int32_t coverage) {
    BlendPixel8(*static_cast<PF_Pixel8*>(pixel), *static_cast<const PF_Pixel8*>(colour), coverage);
}

void BlendFloat(void* pixel, const void* colour, int32_t coverage) {
    BlendPixelFloat(*static_cast<PF_PixelFloat*>(pixel), *static_cast<const PF_PixelFloat*>(colour),
                    coverage);
}

uint8_t ToByte(float v) {
    return uint8_t(std::clamp(v, 0.0f, 1.0f) * 255.0f + 0.5f);
}

// A premultiplied colour in the world's form: bytes for depth 8, floats for 32.
struct PixelColour {
    PF_Pixel8 bytes;
    PF_PixelFloat floats;
    PixelColour(float a, float r, float g, float b)
        : bytes{ToByte(a), ToByte(r), ToByte(g), ToByte(b)}, floats{a, r, g, b} {}
    PixelColour() : bytes{0, 0, 0, 0}, floats{0, 0, 0, 0} {}
};

}  // namespace

KDLRender::KDLRender(HostServices* host, PF_EffectWorld* world, int32_t bitDepth)
    : TV_Base_Render(host, world, bitDepth), blendPixel(bitDepth == 32 ? &BlendFloat : &Blend8) {}

PF_Err KDLRender::prepareSprites(AEGP_LayerH, const std::vector<A_Time>& times) {
    // Nothing is rendered here: drawSprites renders what its records name. Only the scale of
    // the sample times is kept, since a record holds a time's value alone.
    spriteTimeScale_ = times.empty() ? 1 : times.front().scale;
    return PF_Err_NONE;
}

PF_Err KDLRender::drawSprites(std::vector<DrawSprite>& sprites) {
    if (sprites.empty() || !host_ || !world_ || !world_->data) return PF_Err_NONE;
    if (bitDepth_ != 8 && bitDepth_ != 32) return PF_Err_NONE;
    // The first record's layer at its time serves every record; a record with `useLayer` set
    // shows its own layer at its own time. Each distinct frame is rendered once and given back
    // at the end of the call.
    struct Frame {
        uint64_t layer, time;
        PF_EffectWorld* world;
    };
    std::vector<Frame> frames;
    PF_Err err = PF_Err_NONE;
    auto frameOf = [&](uint64_t layer, uint64_t time) -> const PF_EffectWorld* {
        for (const Frame& f : frames)
            if (f.layer == layer && f.time == time) return f.world;
        PF_EffectWorld* w = nullptr;
        const A_Time at{int32_t(uint32_t(time)), spriteTimeScale_};
        if (!err) err = host_->checkoutLayerFrame(AEGP_LayerH(layer), at, bitDepth_, &w);
        if (!err && !w) diagnostic("No Sprite World Checked out");
        frames.push_back(Frame{layer, time, w});
        return w;
    };
    const DrawSprite& first = sprites.front();
    std::vector<const PF_EffectWorld*> sources;
    std::vector<DrawSprite> projected;
    sources.reserve(sprites.size());
    projected.reserve(sprites.size());
    for (DrawSprite s : sprites) {
        const PF_EffectWorld* source =
            s.useLayer ? frameOf(s.layer, s.time) : frameOf(first.layer, first.time);
        if (!source || !source->data) continue;
        // The old projection route takes the height from the frame's proportions.
        if (legacyProjection) s.height = SpriteHalfHeight(s.width, *source);
        if (!projectSprite(s)) continue;
        projected.push_back(s);
        sources.push_back(source);
    }
    if (!err && !projected.empty()) {
        std::vector<ScanTile> tiles;
        splitIntoTiles(*world_, kTileGrid, tiles);
        err = runTiles(tiles, [&](const ScanTile& tile) {
            for (size_t i = 0; i < projected.size(); ++i)
                DrawSpriteInTile(projected[i], *sources[i], *world_, tile);
        });
    }
    for (const Frame& f : frames)
        if (f.world) host_->checkinLayerFrame(f.world);
    return err;
}

namespace {

// A disc's shape: its radius, the squared radius inside which it is fully covered, how far from
// the centre it reaches, and for soft discs the Gaussian's width and amplitude.
struct DiscShape {
    bool soft = false;
    double r = 0, inner2 = 0, outer = 0, amplitude = 1.0, s = 0, inner = 0;
};

DiscShape DiscOf(const DrawPoint& p, double cameraScale) {
    DiscShape d;
    d.soft = p.softness > 0;
    if (d.soft) {
        d.s = p.softness + 1.0;
        d.r = p.size * cameraScale;
        d.inner = d.r - d.s;
        d.outer = 2 * d.s + d.r;
        if (d.inner < 0) {
            d.amplitude = d.r / d.s;
            d.inner = 0;
        }
        d.inner2 = d.inner * d.inner;
    } else {
        d.r = p.size;
        d.outer = d.r + 1.0;  // the feather
        d.inner2 = (d.r - 1.0) * (d.r - 1.0);
    }
    return d;
}

// The pixels a disc or line may touch along one axis of a tile, inclusive: from `low` to `high`
// in the image, within the tile's [tileLow, tileHigh) and the world's [0, size).
struct PixelSpan {
    int32_t first, last;
    bool empty() const { return first > last; }
};

PixelSpan SpanIn(double low, double high, int32_t tileLow, int32_t tileHigh, int32_t size) {
    return PixelSpan{std::max<int32_t>({tileLow, 0, int32_t(std::floor(low))}),
                     std::min<int32_t>({tileHigh - 1, size - 1, int32_t(std::ceil(high))})};
}

PixelSpan DiscColumns(const DrawPoint& p, double outer, const ScanTile& tile, int32_t width) {
    return SpanIn(p.x - outer, p.x + outer, tile.left, tile.right, width);
}
PixelSpan DiscRows(const DrawPoint& p, double outer, const ScanTile& tile, int32_t height) {
    return SpanIn(p.y - outer, p.y + outer, tile.top, tile.bottom, height);
}

// A line with round ends reaches its larger radius and a pixel beyond its two ends.
double LineReach(const DrawLine& l) {
    return std::max(l.startSize, l.endSize) + 1;
}
PixelSpan LineColumns(const DrawLine& l, const ScanTile& tile, int32_t width) {
    const double ax = l.start[0], dx = l.end[0] - ax, reach = LineReach(l);
    return SpanIn(std::min(ax, ax + dx) - reach, std::max(ax, ax + dx) + reach, tile.left,
                  tile.right, width);
}
PixelSpan LineRows(const DrawLine& l, const ScanTile& tile, int32_t height) {
    const double ay = l.start[1], dy = l.end[1] - ay, reach = LineReach(l);
    return SpanIn(std::min(ay, ay + dy) - reach, std::max(ay, ay + dy) + reach, tile.top,
                  tile.bottom, height);
}

}  // namespace

void KDLRender::drawPointInTile(const DrawPoint& p, const ScanTile& tile) const {
    const float a = p.color[3];
    if (!(a > 0)) return;
    if (bitDepth_ != 8 && bitDepth_ != 32) return;
    const double cx = p.x, cy = p.y;
    const DiscShape d = DiscOf(p, cameraScale);
    const bool soft = d.soft;
    const double r = d.r, inner2 = d.inner2, outer = d.outer, amplitude = d.amplitude, s = d.s,
                 inner = d.inner;
    const PixelSpan columns = DiscColumns(p, outer, tile, world_->width);
    const PixelSpan rows = DiscRows(p, outer, tile, world_->height);
    if (columns.empty() || rows.empty()) return;
    const double limit2 = soft ? outer * outer : r * r;
    const PixelColour colour(a, a * p.color[0], a * p.color[1], a * p.color[2]);
    const void* c = bitDepth_ == 8 ? static_cast<const void*>(&colour.bytes)
                                   : static_cast<const void*>(&colour.floats);
    const size_t pixelBytes = bitDepth_ == 8 ? 4 : 16;
    for (int32_t iy = rows.first; iy <= rows.last; ++iy) {
        uint8_t* row = world_->data + ptrdiff_t(iy) * world_->rowbytes;
        for (int32_t ix = columns.first; ix <= columns.last; ++ix) {
            // Pixels are taken at their integer coordinates, no half-pixel offset.
            const double dx = ix - cx, dy = iy - cy;
            const double d2 = dx * dx + dy * dy;
            if (d2 > limit2) continue;
            int32_t coverage = 255;
            if (d2 > inner2) {
                if (soft) {
                    const double e = std::max(0.0, std::sqrt(d2) - inner);
                    coverage = int32_t(std::exp(-(e * e) / (2 * s * s)) * amplitude * 255);
                } else {
                    coverage = int32_t((r * r - d2) / (r * r - inner2) * 255);
                }
            }
            blendPixel(row + size_t(ix) * pixelBytes, c, coverage);
        }
    }
}

PF_Err KDLRender::drawPoints(std::vector<DrawPoint>& points) {
    // Each tile gets only the discs that reach into it (the tests drawPointInTile starts with)
    // and draws them in order.
    return drawTiled(
        points, [this](DrawPoint& p) { return projectPoint(p); },
        [this](const DrawPoint& p, const ScanTile& tile) {
            return p.color[3] > 0 &&
                   !DiscColumns(p, DiscOf(p, cameraScale).outer, tile, world_->width).empty();
        },
        [this](const DrawPoint& p, const ScanTile& tile) {
            return !DiscRows(p, DiscOf(p, cameraScale).outer, tile, world_->height).empty();
        },
        [this](const ScanTile& tile, const auto& forEach) {
            forEach([&](const DrawPoint& p) { drawPointInTile(p, tile); });
        });
}

void KDLRender::drawLineInTile(const DrawLine& l, const ScanTile& tile) const {
    if (!(l.startSize > 0) || !(l.endSize > 0)) return;
    if (bitDepth_ != 8 && bitDepth_ != 32) return;
    const double ax = l.start[0], ay = l.start[1];
    const double dx = l.end[0] - ax, dy = l.end[1] - ay;
    const double len2 = dx * dx + dy * dy;
    const PixelSpan columns = LineColumns(l, tile, world_->width);
    const PixelSpan rows = LineRows(l, tile, world_->height);
    if (columns.empty() || rows.empty()) return;
    const int32_t x0 = columns.first, y0 = rows.first, x1 = columns.last, y1 = rows.last;
    // 256 premultiplied colours between the two ends.
    std::array<PixelColour, 256> table;
    for (size_t i = 0; i < 256; ++i) {
        float c[4];
        for (int k = 0; k < 4; ++k)
            c[k] = l.startColor[k] + (l.endColor[k] - l.startColor[k]) * float(i) / 255.0f;
        table[i] = PixelColour(c[3], c[0] * c[3], c[1] * c[3], c[2] * c[3]);
    }
    const size_t pixelBytes = bitDepth_ == 8 ? 4 : 16;
    for (int32_t iy = y0; iy <= y1; ++iy) {
        uint8_t* row = world_->data + ptrdiff_t(iy) * world_->rowbytes;
        for (int32_t ix = x0; ix <= x1; ++ix) {
            const double px = ix - ax, py = iy - ay;
            const double t = len2 > 0 ? std::clamp((px * dx + py * dy) / len2, 0.0, 1.0) : 0.0;
            const double qx = px - dx * t, qy = py - dy * t;
            const double d = std::sqrt(qx * qx + qy * qy);
            const double r = l.startSize + (l.endSize - l.startSize) * t;
            if (d > r) continue;
            // The soft edge width runs from one end's depth scale to the other's.
            const double edge = std::max(
                0.0, double(l.startDepthScale + (l.endDepthScale - l.startDepthScale) * t));
            int32_t coverage = 255;
            if (edge > 0 && d > r - edge) coverage = int32_t((r - d) / edge * 255);
            const PixelColour& c = table[size_t(t * 255)];
            blendPixel(row + size_t(ix) * pixelBytes,
                       bitDepth_ == 8 ? static_cast<const void*>(&c.bytes)
                                      : static_cast<const void*>(&c.floats),
                       coverage);
        }
    }
}

PF_Err KDLRender::drawLines(std::vector<DrawLine>& lines) {
    return drawTiled(
        lines, [this](DrawLine& l) { return projectLine(l); },
        [this](const DrawLine& l, const ScanTile& tile) {
            return l.startSize > 0 && l.endSize > 0 && !LineColumns(l, tile, world_->width).empty();
        },
        [this](const DrawLine& l, const ScanTile& tile) {
            return !LineRows(l, tile, world_->height).empty();
        },
        [this](const ScanTile& tile, const auto& forEach) {
            forEach([&](const DrawLine& l) { drawLineInTile(l, tile); });
        });
}

void ReorderRowsRgbaToArgb(PF_EffectWorld& world, int32_t rowBegin, int32_t rowEnd) {
    for (int32_t y = rowBegin; y < rowEnd; ++y) {
        float* p = reinterpret_cast<float*>(world.data + ptrdiff_t(y) * world.rowbytes);
        for (int32_t x = 0; x < world.width; ++x, p += 4) {
            const float r = p[0], g = p[1], b = p[2], a = p[3];
            p[0] = a, p[1] = r, p[2] = g, p[3] = b;
        }
    }
}

PF_Err KDLRender::reorderChannels(PF_EffectWorld& world) const {
    if (!world.data) return PF_Err_NONE;
    // Large worlds go in rows through the host's threads; small ones are done here.
    if ((world.width > 256 || world.height > 256) && host_)
        return host_->iterate(world.height, [&world](int32_t y) {
            ReorderRowsRgbaToArgb(world, y, y + 1);
            return PF_Err_NONE;
        });
    ReorderRowsRgbaToArgb(world, 0, world.height);
    return PF_Err_NONE;
}

}  // namespace tv
