#include "engines/AGGEngine.h"

#include <agg_color_rgba.h>
#include <agg_conv_stroke.h>
#include <agg_path_storage.h>
#include <agg_rasterizer_scanline_aa.h>
#include <agg_renderer_base.h>
#include <agg_renderer_scanline.h>
#include <agg_rendering_buffer.h>
#include <agg_scanline_u.h>
#include <agg_span_allocator.h>
#include <agg_span_gouraud_rgba.h>
#include <agg_span_gradient.h>
#include <agg_span_interpolator_linear.h>
#include <agg_trans_affine.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "engines/KDLRender.h"

namespace tv {

namespace {
constexpr double kPi = 3.14159265358979323846;

// 8 bits: spans carry straight colours; the write premultiplies, then blends "over".
struct Write8 {
    using color_type = agg::rgba8;
    static void blend(uint8_t* p, const color_type& c, unsigned cover) {
        const uint32_t a = c.a;
        auto pre = [a](uint32_t v) { return uint8_t((v * a + 255) >> 8); };
        BlendPixel8(*reinterpret_cast<PF_Pixel8*>(p),
                    PF_Pixel8{uint8_t(a), pre(c.r), pre(c.g), pre(c.b)}, int32_t(cover));
    }
};

// Float: spans carry premultiplied floats.
struct WriteFloat {
    using color_type = agg::rgba32;
    static void blend(uint8_t* p, const color_type& c, unsigned cover) {
        BlendPixelFloat(*reinterpret_cast<PF_PixelFloat*>(p), PF_PixelFloat{c.a, c.r, c.g, c.b},
                        int32_t(cover));
    }
};

// Float through 16-bit integer spans: the Gouraud span generator interpolates integers.
struct WriteFloatFrom16 {
    using color_type = agg::rgba16;
    static void blend(uint8_t* p, const color_type& c, unsigned cover) {
        constexpr float k = 1.0f / 65535.0f;
        BlendPixelFloat(*reinterpret_cast<PF_PixelFloat*>(p),
                        PF_PixelFloat{c.a * k, c.r * k, c.g * k, c.b * k}, int32_t(cover));
    }
};

// The pixel format over the host's world: A, R, G, B in memory, rows through the row bytes.
template <class Writer>
class WorldPixfmt {
  public:
    using color_type = typename Writer::color_type;
    using row_data = agg::rendering_buffer::row_data;
    WorldPixfmt(const PF_EffectWorld& w, int32_t pixelBytes) : pixelBytes_(pixelBytes) {
        rbuf_.attach(w.data, unsigned(w.width), unsigned(w.height), w.rowbytes);
    }
    unsigned width() const { return rbuf_.width(); }
    unsigned height() const { return rbuf_.height(); }
    void blend_hline(int x, int y, unsigned len, const color_type& c, agg::int8u cover) {
        uint8_t* p = pix(x, y);
        for (unsigned i = 0; i < len; ++i, p += pixelBytes_) Writer::blend(p, c, cover);
    }
    void blend_solid_hspan(int x, int y, unsigned len, const color_type& c,
                           const agg::int8u* covers) {
        uint8_t* p = pix(x, y);
        for (unsigned i = 0; i < len; ++i, p += pixelBytes_) Writer::blend(p, c, covers[i]);
    }
    void blend_color_hspan(int x, int y, unsigned len, const color_type* colors,
                           const agg::int8u* covers, agg::int8u cover) {
        uint8_t* p = pix(x, y);
        for (unsigned i = 0; i < len; ++i, p += pixelBytes_)
            Writer::blend(p, colors[i], covers ? covers[i] : cover);
    }

  private:
    uint8_t* pix(int x, int y) { return rbuf_.row_ptr(y) + size_t(x) * size_t(pixelBytes_); }
    agg::rendering_buffer rbuf_;
    int32_t pixelBytes_;
};

template <class Color>
struct ColorTable {
    std::array<Color, 256> entries;
    unsigned size() const { return 256; }
    const Color& operator[](unsigned i) const { return entries[i]; }
};

uint8_t Byte(float c) {
    return uint8_t(std::clamp(int32_t(c * 255.0f + 0.5f), 0, 255));
}

agg::rgba8 Straight8(const float c[4]) {
    return agg::rgba8(Byte(c[0]), Byte(c[1]), Byte(c[2]), Byte(c[3]));
}

agg::rgba32 Premultiplied(const float c[4]) {
    return agg::rgba32(c[0] * c[3], c[1] * c[3], c[2] * c[3], c[3]);
}

template <class Color>
Color LineColor(const float c[4]);
template <>
agg::rgba8 LineColor<agg::rgba8>(const float c[4]) {
    return Straight8(c);
}
template <>
agg::rgba32 LineColor<agg::rgba32>(const float c[4]) {
    return Premultiplied(c);
}

// Appends a half circle of radius r about c, from the offset direction `from`, turning by pi.
void AppendArc(agg::path_storage& path, double cx, double cy, double fromX, double fromY,
               double r) {
    const int32_t n = CapsuleArcSteps(r);
    const double step = kPi / n;
    const double cs = std::cos(step), sn = -std::sin(step);
    double ox = fromX * r, oy = fromY * r;
    for (int32_t i = 0; i <= n; ++i) {
        path.line_to(cx + ox, cy + oy);
        const double nx = ox * cs - oy * sn;
        oy = ox * sn + oy * cs;
        ox = nx;
    }
}

// The tapered capsule: side edges at +-90 degrees from u, half circles at both ends.
void TaperedCapsule(agg::path_storage& path, const DrawLine& l, double ux, double uy) {
    const double r0 = l.startSize, r1 = l.endSize;
    const double nx = -uy, ny = ux;
    path.move_to(l.start[0] + nx * r0, l.start[1] + ny * r0);
    path.line_to(l.end[0] + nx * r1, l.end[1] + ny * r1);
    AppendArc(path, l.end[0], l.end[1], nx, ny, r1);
    path.line_to(l.start[0] - nx * r0, l.start[1] - ny * r0);
    AppendArc(path, l.start[0], l.start[1], -nx, -ny, r0);
    path.close_polygon();
}

template <class Writer>
void LinesInTile(const PF_EffectWorld& world, int32_t pixelBytes, bool perspectiveSizes,
                 const std::vector<DrawLine>& lines, const ScanTile& tile) {
    using Color = typename Writer::color_type;
    if (tile.right <= tile.left || tile.bottom <= tile.top) return;
    WorldPixfmt<Writer> pixf(world, pixelBytes);
    agg::renderer_base<WorldPixfmt<Writer>> ren(pixf);
    ren.clip_box(tile.left, tile.top, tile.right - 1, tile.bottom - 1);
    agg::rasterizer_scanline_aa<> ras;
    ras.clip_box(tile.left, tile.top, tile.right, tile.bottom);
    agg::scanline_u8 sl;
    agg::span_allocator<Color> alloc;
    agg::path_storage path;
    ColorTable<Color> table;
    agg::gradient_x gradient;
    for (const DrawLine& l : lines) {
        const double dx = l.end[0] - l.start[0], dy = l.end[1] - l.start[1];
        const double len = std::sqrt(dx * dx + dy * dy);
        // Coincident ends still have a direction.
        double ux = 1, uy = 0;
        if (len > 0) ux = dx / len, uy = dy / len;
        const double reach = std::max(l.startSize, l.endSize) + 2;
        if (std::max(l.start[0], l.end[0]) + reach < tile.left ||
            std::min(l.start[0], l.end[0]) - reach > tile.right ||
            std::max(l.start[1], l.end[1]) + reach < tile.top ||
            std::min(l.start[1], l.end[1]) - reach > tile.bottom)
            continue;
        ras.reset();
        path.remove_all();
        if (perspectiveSizes) {
            TaperedCapsule(path, l, ux, uy);
            ras.add_path(path);
        } else {
            path.move_to(l.start[0], l.start[1]);
            // The stroker drops a zero-length segment; a hair along (1, 0) keeps the round caps.
            path.line_to(len > 0 ? l.end[0] : l.end[0] + 1e-9, l.end[1]);
            agg::conv_stroke<agg::path_storage> stroke(path);
            stroke.width(2.0 * l.startSize);
            stroke.line_cap(agg::round_cap);
            stroke.line_join(agg::round_join);
            ras.add_path(stroke);
        }
        const bool solid = std::equal(l.startColor, l.startColor + 4, l.endColor);
        if (solid || len == 0) {
            agg::render_scanlines_aa_solid(ras, sl, ren, LineColor<Color>(l.startColor));
            continue;
        }
        for (int i = 0; i < 256; ++i) {
            float c[4];
            for (int k = 0; k < 4; ++k)
                c[k] = l.startColor[k] + (l.endColor[k] - l.startColor[k]) * float(i) / 255.0f;
            table.entries[size_t(i)] = LineColor<Color>(c);
        }
        agg::trans_affine mtx = agg::trans_affine_scaling(len / 100.0);
        mtx *= agg::trans_affine_rotation(std::atan2(dy, dx));
        mtx *= agg::trans_affine_translation(l.start[0] + 0.5, l.start[1] + 0.5);
        mtx.invert();
        agg::span_interpolator_linear<> inter(mtx);
        agg::span_gradient<Color, agg::span_interpolator_linear<>, agg::gradient_x,
                           ColorTable<Color>>
            span(inter, gradient, table, 0, 100);
        agg::render_scanlines_aa(ras, sl, ren, alloc, span);
    }
}

template <class Writer>
void TrianglesInTile(const PF_EffectWorld& world, int32_t pixelBytes,
                     const std::vector<DrawTriangle>& triangles, const ScanTile& tile,
                     typename Writer::color_type (*convert)(const float[4])) {
    using Color = typename Writer::color_type;
    if (tile.right <= tile.left || tile.bottom <= tile.top) return;
    WorldPixfmt<Writer> pixf(world, pixelBytes);
    agg::renderer_base<WorldPixfmt<Writer>> ren(pixf);
    ren.clip_box(tile.left, tile.top, tile.right - 1, tile.bottom - 1);
    agg::rasterizer_scanline_aa<> ras;
    ras.clip_box(tile.left, tile.top, tile.right, tile.bottom);
    agg::scanline_u8 sl;
    agg::span_allocator<Color> alloc;
    for (const DrawTriangle& t : triangles) {
        const double minX = std::min({t.corners[0][0], t.corners[1][0], t.corners[2][0]});
        const double maxX = std::max({t.corners[0][0], t.corners[1][0], t.corners[2][0]});
        const double minY = std::min({t.corners[0][1], t.corners[1][1], t.corners[2][1]});
        const double maxY = std::max({t.corners[0][1], t.corners[1][1], t.corners[2][1]});
        if (maxX + 1 < tile.left || minX - 1 > tile.right || maxY + 1 < tile.top ||
            minY - 1 > tile.bottom)
            continue;
        const double d = TriangleDilation(t.colors[0][3]);
        agg::span_gouraud_rgba<Color> span(
            convert(t.colors[0]), convert(t.colors[1]), convert(t.colors[2]), t.corners[0][0],
            t.corners[0][1], t.corners[1][0], t.corners[1][1], t.corners[2][0], t.corners[2][1], d);
        span.prepare();
        ras.reset();
        ras.add_path(span);
        agg::render_scanlines_aa(ras, sl, ren, alloc, span);
    }
}

agg::rgba16 Premultiplied16(const float c[4]) {
    auto q = [](float v) { return agg::int16u(std::clamp(v, 0.0f, 1.0f) * 65535.0f + 0.5f); };
    return agg::rgba16(q(c[0] * c[3]), q(c[1] * c[3]), q(c[2] * c[3]), q(c[3]));
}

}  // namespace

int32_t CapsuleArcSteps(double r) {
    if (!(r > 0)) return 1;
    const double da = std::acos(r / (r + 0.125));
    const int32_t n = int32_t(2 * kPi / (2 * da) + 0.5) * 180 / 360;
    return std::max(n, 1);
}

double TriangleDilation(double a) {
    return std::clamp(std::exp((1 - a) * -4) / (0.7000000000000002 * a + 2.5), 0.0, 0.25);
}

void AGGEngine::drawLinesInTile(const std::vector<DrawLine>& lines, const ScanTile& tile) const {
    if (bitDepth_ == 8)
        LinesInTile<Write8>(*world_, 4, perspectiveSizes, lines, tile);
    else if (bitDepth_ == 32)
        LinesInTile<WriteFloat>(*world_, 16, perspectiveSizes, lines, tile);
}

void AGGEngine::drawTrianglesInTile(const std::vector<DrawTriangle>& triangles,
                                    const ScanTile& tile) const {
    if (bitDepth_ == 8)
        TrianglesInTile<Write8>(*world_, 4, triangles, tile, &Straight8);
    else if (bitDepth_ == 32)
        TrianglesInTile<WriteFloatFrom16>(*world_, 16, triangles, tile, &Premultiplied16);
}

PF_Err AGGEngine::drawLines(std::vector<DrawLine>& lines) {
    if (lines.empty()) return PF_Err_NONE;
    if (bitDepth_ != 8 && bitDepth_ != 32) return PF_Err_NONE;
    std::vector<DrawLine> projected;
    projected.reserve(lines.size());
    for (DrawLine l : lines)
        if (projectLine(l)) projected.push_back(l);
    std::vector<ScanTile> tiles;
    splitIntoTiles(*world_, 5, tiles);
    return runTiles(tiles, [&](const ScanTile& t) { drawLinesInTile(projected, t); });
}

PF_Err AGGEngine::drawTriangles(std::vector<DrawTriangle>& triangles) {
    if (triangles.empty()) return PF_Err_NONE;
    if (bitDepth_ != 8 && bitDepth_ != 32) return PF_Err_NONE;
    std::vector<DrawTriangle> projected;
    projected.reserve(triangles.size());
    for (DrawTriangle t : triangles)
        if (projectTriangle(t)) projected.push_back(t);
    std::vector<ScanTile> tiles;
    splitIntoTiles(*world_, 5, tiles);
    return runTiles(tiles, [&](const ScanTile& t) { drawTrianglesInTile(projected, t); });
}

}  // namespace tv
