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

#include "engines/CapsuleLines.h"
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

// The 256 colours of a gradient line, each worked out the first time a pixel asks for it (a
// short line uses few of them), with the value a full table made up front would hold.
template <class Color>
class LazyColorTable {
  public:
    void reset(const float* start, const float* end) {
        start_ = start;
        end_ = end;
        if (++line_ == 0) {  // the stamps wrapped: forget them all
            stamps_.fill(0);
            line_ = 1;
        }
    }
    unsigned size() const { return 256; }
    const Color& operator[](unsigned i) {
        if (stamps_[i] != line_) {
            float c[4];
            for (int k = 0; k < 4; ++k)
                c[k] = start_[k] + (end_[k] - start_[k]) * float(int(i)) / 255.0f;
            entries_[i] = LineColor<Color>(c);
            stamps_[i] = line_;
        }
        return entries_[i];
    }

  private:
    std::array<Color, 256> entries_{};
    std::array<uint32_t, 256> stamps_{};
    uint32_t line_ = 0;
    const float* start_ = nullptr;
    const float* end_ = nullptr;
};

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

// False when a line's bounds, widened by its radius and two pixels, miss the tile's columns,
// rows, or the tile.
bool LineTouchesColumns(const DrawLine& l, const ScanTile& tile) {
    const double reach = std::max(l.startSize, l.endSize) + 2;
    return !(std::max(l.start[0], l.end[0]) + reach < tile.left ||
             std::min(l.start[0], l.end[0]) - reach > tile.right);
}
bool LineTouchesRows(const DrawLine& l, const ScanTile& tile) {
    const double reach = std::max(l.startSize, l.endSize) + 2;
    return !(std::max(l.start[1], l.end[1]) + reach < tile.top ||
             std::min(l.start[1], l.end[1]) - reach > tile.bottom);
}
bool LineTouchesTile(const DrawLine& l, const ScanTile& tile) {
    return LineTouchesColumns(l, tile) && LineTouchesRows(l, tile);
}

// Draws the lines `forEach` visits, in its order, clipped to the tile: an outline per line
// through AGG's general rasteriser.
template <class Writer, class ForEach>
void LinesInTile(const PF_EffectWorld& world, int32_t pixelBytes, bool perspectiveSizes,
                 const ForEach& forEach, const ScanTile& tile) {
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
    LazyColorTable<Color> table;
    agg::gradient_x gradient;
    forEach([&](const DrawLine& l) {
        const double dx = l.end[0] - l.start[0], dy = l.end[1] - l.start[1];
        const double len = std::sqrt(dx * dx + dy * dy);
        // Coincident ends still have a direction.
        double ux = 1, uy = 0;
        if (len > 0) ux = dx / len, uy = dy / len;
        if (!LineTouchesTile(l, tile)) return;
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
            return;
        }
        table.reset(l.startColor, l.endColor);
        agg::trans_affine mtx = agg::trans_affine_scaling(len / 100.0);
        mtx *= agg::trans_affine_rotation(std::atan2(dy, dx));
        mtx *= agg::trans_affine_translation(l.start[0] + 0.5, l.start[1] + 0.5);
        mtx.invert();
        agg::span_interpolator_linear<> inter(mtx);
        agg::span_gradient<Color, agg::span_interpolator_linear<>, agg::gradient_x,
                           LazyColorTable<Color>>
            span(inter, gradient, table, 0, 100);
        agg::render_scanlines_aa(ras, sl, ren, alloc, span);
    });
}

// False when a triangle's bounds, widened by a pixel, miss the tile's columns, rows, or the tile.
bool TriangleTouchesColumns(const DrawTriangle& t, const ScanTile& tile) {
    const double minX = std::min({t.corners[0][0], t.corners[1][0], t.corners[2][0]});
    const double maxX = std::max({t.corners[0][0], t.corners[1][0], t.corners[2][0]});
    return !(maxX + 1 < tile.left || minX - 1 > tile.right);
}
bool TriangleTouchesRows(const DrawTriangle& t, const ScanTile& tile) {
    const double minY = std::min({t.corners[0][1], t.corners[1][1], t.corners[2][1]});
    const double maxY = std::max({t.corners[0][1], t.corners[1][1], t.corners[2][1]});
    return !(maxY + 1 < tile.top || minY - 1 > tile.bottom);
}
bool TriangleTouchesTile(const DrawTriangle& t, const ScanTile& tile) {
    return TriangleTouchesColumns(t, tile) && TriangleTouchesRows(t, tile);
}

// Draws the triangles `forEach` visits, in its order, clipped to the tile.
template <class Writer, class ForEach>
void TrianglesInTile(const PF_EffectWorld& world, int32_t pixelBytes, const ForEach& forEach,
                     const ScanTile& tile, typename Writer::color_type (*convert)(const float[4])) {
    using Color = typename Writer::color_type;
    if (tile.right <= tile.left || tile.bottom <= tile.top) return;
    WorldPixfmt<Writer> pixf(world, pixelBytes);
    agg::renderer_base<WorldPixfmt<Writer>> ren(pixf);
    ren.clip_box(tile.left, tile.top, tile.right - 1, tile.bottom - 1);
    agg::rasterizer_scanline_aa<> ras;
    ras.clip_box(tile.left, tile.top, tile.right, tile.bottom);
    agg::scanline_u8 sl;
    agg::span_allocator<Color> alloc;
    forEach([&](const DrawTriangle& t) {
        if (!TriangleTouchesTile(t, tile)) return;
        const double d = TriangleDilation(t.colors[0][3]);
        agg::span_gouraud_rgba<Color> span(
            convert(t.colors[0]), convert(t.colors[1]), convert(t.colors[2]), t.corners[0][0],
            t.corners[0][1], t.corners[1][0], t.corners[1][1], t.corners[2][0], t.corners[2][1], d);
        span.prepare();
        ras.reset();
        ras.add_path(span);
        agg::render_scanlines_aa(ras, sl, ren, alloc, span);
    });
}

// A triangle's colours in premultiplied float, unclamped (so over-range colours keep their
// value), blended by each pixel centre's barycentric weights. The dilated rim lies a little
// outside the triangle: there the weights are kept at or above 0 and made to sum to 1 again.
class FloatGouraudSpan {
  public:
    explicit FloatGouraudSpan(const DrawTriangle& t) {
        for (int k = 0; k < 3; ++k) {
            x_[k] = t.corners[k][0];
            y_[k] = t.corners[k][1];
            const float a = t.colors[k][3];
            c_[k] = agg::rgba32(t.colors[k][0] * a, t.colors[k][1] * a, t.colors[k][2] * a, a);
        }
        det_ = (x_[1] - x_[0]) * (y_[2] - y_[0]) - (x_[2] - x_[0]) * (y_[1] - y_[0]);
    }
    void prepare() {}
    void generate(agg::rgba32* span, int x, int y, unsigned len) const {
        const double py = y + 0.5;
        for (unsigned i = 0; i < len; ++i) {
            const double px = x + double(i) + 0.5;
            double w[3] = {1, 0, 0};
            if (det_ != 0) {
                w[1] = ((px - x_[0]) * (y_[2] - y_[0]) - (x_[2] - x_[0]) * (py - y_[0])) / det_;
                w[2] = ((x_[1] - x_[0]) * (py - y_[0]) - (px - x_[0]) * (y_[1] - y_[0])) / det_;
                w[0] = 1 - w[1] - w[2];
                double sum = 0;
                for (double& v : w) sum += (v = std::max(v, 0.0));
                for (double& v : w) v = sum > 0 ? v / sum : 1.0 / 3.0;
            }
            auto mix = [&](float agg::rgba32::*channel) {
                return float(w[0] * (c_[0].*channel) + w[1] * (c_[1].*channel) +
                             w[2] * (c_[2].*channel));
            };
            span[i] = agg::rgba32(mix(&agg::rgba32::r), mix(&agg::rgba32::g), mix(&agg::rgba32::b),
                                  mix(&agg::rgba32::a));
        }
    }

  private:
    double x_[3], y_[3], det_ = 0;
    agg::rgba32 c_[3];
};

// Float triangles: the outline from the Gouraud generator's dilated triangle, the colours from
// the float span above.
template <class ForEach>
void FloatTrianglesInTile(const PF_EffectWorld& world, const ForEach& forEach,
                          const ScanTile& tile) {
    if (tile.right <= tile.left || tile.bottom <= tile.top) return;
    WorldPixfmt<WriteFloat> pixf(world, 16);
    agg::renderer_base<WorldPixfmt<WriteFloat>> ren(pixf);
    ren.clip_box(tile.left, tile.top, tile.right - 1, tile.bottom - 1);
    agg::rasterizer_scanline_aa<> ras;
    ras.clip_box(tile.left, tile.top, tile.right, tile.bottom);
    agg::scanline_u8 sl;
    agg::span_allocator<agg::rgba32> alloc;
    forEach([&](const DrawTriangle& t) {
        if (!TriangleTouchesTile(t, tile)) return;
        const double d = TriangleDilation(t.colors[0][3]);
        const agg::rgba8 none(0, 0, 0, 0);
        agg::span_gouraud_rgba<agg::rgba8> outline(
            none, none, none, t.corners[0][0], t.corners[0][1], t.corners[1][0], t.corners[1][1],
            t.corners[2][0], t.corners[2][1], d);
        FloatGouraudSpan span(t);
        ras.reset();
        ras.add_path(outline);
        agg::render_scanlines_aa(ras, sl, ren, alloc, span);
    });
}

}  // namespace

int32_t CapsuleArcSteps(double r) {
    if (!(r > 0)) return 1;
    const double da = std::acos(r / (r + 0.125));
    // A radius past some 100000 pixels (or one so large the angle rounds to 0) stops at 1024
    // steps rather than counting without end.
    if (!(da > kPi / 2048)) return 1024;
    const int32_t n = int32_t(2 * kPi / (2 * da) + 0.5) * 180 / 360;
    return std::max(n, 1);
}

double TriangleDilation(double a) {
    return std::clamp(std::exp((1 - a) * -4) / (0.7000000000000002 * a + 2.5), 0.0, 0.25);
}

namespace {

// Lines go through the capsule rasteriser; the stroked path above stays as its reference.
template <class ForEach>
void DrawLinesInTile(const PF_EffectWorld& world, int32_t bitDepth, bool perspectiveSizes,
                     const ForEach& forEach, const ScanTile& tile) {
    if (bitDepth != 8 && bitDepth != 32) return;
    if (tile.right <= tile.left || tile.bottom <= tile.top) return;
    CapsuleLineDrawer drawer(world, bitDepth, perspectiveSizes, tile);
    forEach([&](const DrawLine& l) {
        if (LineTouchesTile(l, tile)) drawer.draw(l);
    });
    drawer.finish();
}

}  // namespace

void StrokeLinesInTileWithAgg(const PF_EffectWorld& world, int32_t bitDepth, bool perspectiveSizes,
                              const std::vector<DrawLine>& lines, const ScanTile& tile) {
    auto forEach = [&lines](const auto& fn) {
        for (const DrawLine& l : lines) fn(l);
    };
    if (bitDepth == 8)
        LinesInTile<Write8>(world, 4, perspectiveSizes, forEach, tile);
    else if (bitDepth == 32)
        LinesInTile<WriteFloat>(world, 16, perspectiveSizes, forEach, tile);
}

void AGGEngine::drawLinesInTile(const std::vector<DrawLine>& lines, const ScanTile& tile) const {
    DrawLinesInTile(
        *world_, bitDepth_, perspectiveSizes,
        [&lines](const auto& fn) {
            for (const DrawLine& l : lines) fn(l);
        },
        tile);
}

namespace {

template <class ForEach>
void DrawTrianglesInTile(const PF_EffectWorld& world, int32_t bitDepth, const ForEach& forEach,
                         const ScanTile& tile) {
    if (bitDepth == 8)
        TrianglesInTile<Write8>(world, 4, forEach, tile, &Straight8);
    else if (bitDepth == 32)
        FloatTrianglesInTile(world, forEach, tile);
}

}  // namespace

void AGGEngine::drawTrianglesInTile(const std::vector<DrawTriangle>& triangles,
                                    const ScanTile& tile) const {
    DrawTrianglesInTile(
        *world_, bitDepth_,
        [&triangles](const auto& fn) {
            for (const DrawTriangle& t : triangles) fn(t);
        },
        tile);
}

PF_Err AGGEngine::drawLines(std::vector<DrawLine>& lines) {
    if (bitDepth_ != 8 && bitDepth_ != 32) return PF_Err_NONE;
    // Each tile gets only the lines that reach into it (the test every tile makes first) and
    // draws them in order.
    return drawTiled(
        lines, [this](DrawLine& l) { return projectLine(l); }, &LineTouchesColumns,
        &LineTouchesRows,
        [&](const ScanTile& tile, const auto& forEach) {
            DrawLinesInTile(*world_, bitDepth_, perspectiveSizes, forEach, tile);
        });
}

PF_Err AGGEngine::drawTriangles(std::vector<DrawTriangle>& triangles) {
    if (bitDepth_ != 8 && bitDepth_ != 32) return PF_Err_NONE;
    return drawTiled(
        triangles, [this](DrawTriangle& t) { return projectTriangle(t); }, &TriangleTouchesColumns,
        &TriangleTouchesRows,
        [&](const ScanTile& tile, const auto& forEach) {
            DrawTrianglesInTile(*world_, bitDepth_, forEach, tile);
        });
}

}  // namespace tv
