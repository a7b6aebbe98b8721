// Software line drawing of a frame's projected lines: our capsule rasteriser (25 tiles on the
// pool, and on one thread) against two peers drawing the same segments (same widths, round caps,
// anti-aliased): the stroked AGG path it replaced, on the same tiles and pool, and Cairo on one
// thread.
#include <benchmark/benchmark.h>
#include <cairo.h>
#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/parallel_for.h>

#include <random>

#include "engines/AGGEngine.h"

namespace {

std::vector<tv::DrawLine> Lines(size_t n, int w, int h) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> x(0, w), y(0, h), len(5, 100), ang(0, 6.2831853);
    std::vector<tv::DrawLine> lines(n);
    for (auto& l : lines) {
        l.start[0] = x(rng), l.start[1] = y(rng);
        const double a = ang(rng), d = len(rng);
        l.end[0] = l.start[0] + std::cos(a) * d, l.end[1] = l.start[1] + std::sin(a) * d;
        for (float* c : {l.startColor, l.endColor}) c[0] = 0.5f, c[1] = 0.8f, c[2] = 1, c[3] = 0.6f;
        l.startSize = l.endSize = 1.0f;  // radius: width 2
    }
    return lines;
}

class PoolHost : public tv::HostServices {
  public:
    tv::PF_Err iterate(int32_t n, const std::function<tv::PF_Err(int32_t)>& fn) override {
        tbb::parallel_for(0, n, [&](int32_t i) { fn(i); });
        return 0;
    }
};

// Draws the lines into the world's 25 tiles on the pool with `drawTile`, once per iteration.
template <class DrawTile>
void Tiled(benchmark::State& state, size_t threads, const DrawTile& drawTile) {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
    const int w = int(state.range(0)), h = int(state.range(1));
    const auto lines = Lines(10000, w, h);
    std::vector<uint8_t> pixels(size_t(w) * size_t(h) * 4);
    tv::PF_EffectWorld world{w, h, w * 4, tv::PF_PixelFormat_ARGB32, pixels.data(), {}};
    PoolHost host;
    tv::AGGEngine engine(&host, &world, 8);
    std::vector<tv::ScanTile> tiles;
    tv::SplitIntoTiles(world, 5, tiles);
    for (auto _ : state) {
        std::fill(pixels.begin(), pixels.end(), 0);
        host.iterate(int32_t(tiles.size()), [&](int32_t t) {
            drawTile(engine, world, lines, tiles[size_t(t)]);
            return 0;
        });
    }
}

void OursInTile(const tv::AGGEngine& engine, const tv::PF_EffectWorld&,
                const std::vector<tv::DrawLine>& lines, const tv::ScanTile& tile) {
    engine.drawLinesInTile(lines, tile);
}

void AggInTile(const tv::AGGEngine& engine, const tv::PF_EffectWorld& world,
               const std::vector<tv::DrawLine>& lines, const tv::ScanTile& tile) {
    tv::StrokeLinesInTileWithAgg(world, 8, engine.perspectiveSizes, lines, tile);
}

void LineDraw_Ours(benchmark::State& state) {
    Tiled(state, size_t(tbb::info::default_concurrency()), &OursInTile);
}
void LineDraw_OursOneThread(benchmark::State& state) {
    Tiled(state, 1, &OursInTile);
}
void LineDraw_Agg(benchmark::State& state) {
    Tiled(state, size_t(tbb::info::default_concurrency()), &AggInTile);
}

void LineDraw_Peer(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    const auto lines = Lines(10000, w, h);
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
    cairo_t* cr = cairo_create(surface);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
    for (auto _ : state) {
        cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
        cairo_paint(cr);
        cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
        for (const auto& l : lines) {
            cairo_set_source_rgba(cr, l.startColor[0], l.startColor[1], l.startColor[2],
                                  l.startColor[3]);
            cairo_set_line_width(cr, 2.0 * l.startSize);
            cairo_move_to(cr, l.start[0], l.start[1]);
            cairo_line_to(cr, l.end[0], l.end[1]);
            cairo_stroke(cr);
        }
        cairo_surface_flush(surface);
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->Args({1280, 720})->Args({1920, 1080})->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(LineDraw_Ours)->Apply(Sizes);
BENCHMARK(LineDraw_OursOneThread)->Apply(Sizes);
BENCHMARK(LineDraw_Agg)->Apply(Sizes);
BENCHMARK(LineDraw_Peer)->Apply(Sizes);

}  // namespace
