// Connections of one geometry: our search (jobs over the thread pool, flat result tables)
// against the plain way, a single-threaded nanoflann query per vertex in index order with the
// same filter.
#include <benchmark/benchmark.h>
#include <nanoflann.hpp>
#include <tbb/parallel_for.h>

#include <random>

#include "renderers/NeighbourSearch.h"

namespace {

using tv::Vec3f;

std::vector<Vec3f> Cloud(size_t n) {
    std::mt19937 rng(42);
    // Density held so that each vertex has neighbours within the distance at every size.
    const float side = 1000.0f * std::cbrt(float(n) / 100000.0f);
    std::uniform_real_distribution<float> u(0, side);
    std::vector<Vec3f> p(n);
    for (auto& v : p) v = {u(rng), u(rng), u(rng)};
    return p;
}

struct Adaptor {
    const std::vector<Vec3f>& p;
    size_t kdtree_get_point_count() const { return p.size(); }
    float kdtree_get_pt(size_t i, size_t d) const {
        return d == 0 ? p[i].x : d == 1 ? p[i].y : p[i].z;
    }
    template <class B>
    bool kdtree_get_bbox(B&) const {
        return false;
    }
};

void PlainSearch(const std::vector<Vec3f>& p, const tv::SearchSettings& s, tv::ConnectionSet& out) {
    using Tree = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<float, Adaptor>,
                                                     Adaptor, 3, uint32_t>;
    Adaptor a{p};
    Tree tree(3, a, nanoflann::KDTreeSingleIndexAdaptorParams(32));
    const size_t k = size_t(s.maxVertices);
    std::vector<uint32_t> idx(k);
    std::vector<float> dist(k);
    const float limit = s.maxDistance * s.maxDistance;
    for (uint32_t q = 0; q < p.size(); ++q) {
        nanoflann::KNNResultSet<float, uint32_t> rs(k);
        rs.init(idx.data(), dist.data());
        const float pt[3] = {p[q].x, p[q].y, p[q].z};
        tree.findNeighbors(rs, pt, nanoflann::SearchParams());
        for (size_t e = 0; e < rs.size(); ++e) {
            if (dist[e] > limit || q >= idx[e]) continue;
            const float t = std::sqrt(dist[e]) / s.maxDistance;
            out.pairs.push_back(int32_t(q));
            out.pairs.push_back(int32_t(idx[e]));
            out.opacityFactors.push_back(s.opacityCurve.eval(t));
            out.thicknessFactors.push_back(s.thicknessCurve.eval(t));
        }
    }
}

tv::SearchSettings Settings() {
    tv::SearchSettings s;
    s.maxVertices = 10;
    s.maxDistance = 40;
    return s;
}

void Neighbours_Ours(benchmark::State& state) {
    const auto p = Cloud(size_t(state.range(0)));
    const tv::ParallelFor pool = [](int32_t n, const std::function<void(int32_t)>& job) {
        tbb::parallel_for(0, n, [&](int32_t i) { job(i); });
    };
    size_t pairs = 0;
    for (auto _ : state) {
        tv::ConnectionSet out;
        tv::SearchNeighbours(Settings(), p, p, 0, uint32_t(p.size()), 0, uint32_t(p.size()), out,
                             pool);
        pairs = out.size();
    }
    // Identical pairs to the plain search, checked once outside the timing.
    tv::ConnectionSet plain, ours;
    PlainSearch(p, Settings(), plain);
    tv::SearchNeighbours(Settings(), p, p, 0, uint32_t(p.size()), 0, uint32_t(p.size()), ours,
                         pool);
    if (plain.pairs != ours.pairs) state.SkipWithError("pairs differ from the plain search");
    state.counters["pairs"] = double(pairs);
}

void Neighbours_Peer(benchmark::State& state) {
    const auto p = Cloud(size_t(state.range(0)));
    for (auto _ : state) {
        tv::ConnectionSet out;
        PlainSearch(p, Settings(), out);
        benchmark::DoNotOptimize(out.pairs.data());
    }
}

BENCHMARK(Neighbours_Ours)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(Neighbours_Peer)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
