// Connections of one geometry (all groups): our search, its queries spread over the host's
// thread pool, against the plain way, a single-threaded nanoflann k-nearest query per vertex in
// index order with the same filter. Both search the jittered positions.
#include <benchmark/benchmark.h>
#include <nanoflann.hpp>

#include <cmath>
#include <random>

#include "renderers/NeighbourSearch.h"
#include "standalone/EmbeddedHost.h"

namespace {

using tv::Vec3f;

tv::GeometryStore Cloud(size_t n) {
    std::mt19937 rng(42);
    // Density held so that each vertex has neighbours within the distance at every size.
    const float side = 1000.0f * std::cbrt(float(n) / 100000.0f);
    std::uniform_real_distribution<float> u(0, side), j(-0.01f, 0.01f);
    tv::GeometryStore st;
    st.positions.resize(n);
    st.jitter.resize(n);
    for (auto& v : st.positions) v = {u(rng), u(rng), u(rng)};
    for (auto& v : st.jitter) v = {j(rng), j(rng), j(rng)};
    return st;
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

void Shift(tv::GeometryStore& st, float f) {
    for (size_t i = 0; i < st.positions.size(); ++i) {
        st.positions[i].x += st.jitter[i].x * f;
        st.positions[i].y += st.jitter[i].y * f;
        st.positions[i].z += st.jitter[i].z * f;
    }
}

void PlainConnections(tv::GeometryStore& st, const tv::SearchSettings& s, tv::ConnectionSet& out) {
    using Tree = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<float, Adaptor>,
                                                     Adaptor, 3, uint32_t>;
    Shift(st, 1.0f);
    const std::vector<Vec3f>& p = st.positions;
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
        tree.findNeighbors(rs, pt, nanoflann::SearchParams(32, 0, false));
        for (size_t e = 0; e < rs.size(); ++e) {
            if (dist[e] > limit || q >= idx[e]) continue;
            const float t = std::sqrt(dist[e]) / s.maxDistance;
            out.pairs.push_back(int32_t(q));
            out.pairs.push_back(int32_t(idx[e]));
            out.opacityFactors.push_back(s.opacityCurve.eval(t));
            out.thicknessFactors.push_back(s.thicknessCurve.eval(t));
        }
    }
    Shift(st, -1.0f);
}

tv::SearchSettings Settings() {
    tv::SearchSettings s;
    s.maxVertices = 10;
    s.maxDistance = 40;
    s.drawBetween = tv::kAllGroupsLines;
    return s;
}

// The host's iteration, as the renderer runs it.
tv::ParallelFor HostPool(tv::HostServices& host) {
    return [&host](int32_t count, const std::function<void(int32_t)>& job) {
        host.iterate(count, [&job](int32_t i) {
            job(i);
            return tv::PF_Err_NONE;
        });
    };
}

void Connections_Ours(benchmark::State& state) {
    tv::GeometryStore st = Cloud(size_t(state.range(0)));
    tv::standalone::EmbeddedHost host;
    const tv::ParallelFor pool = HostPool(host);
    size_t pairs = 0;
    for (auto _ : state) {
        tv::ConnectionSet out;
        tv::ConnectionsOfGeometry(Settings(), st, out, pool);
        pairs = out.size();
    }
    // Identical pairs and factors to the plain way, checked once outside the timing.
    tv::ConnectionSet plain, ours;
    PlainConnections(st, Settings(), plain);
    tv::ConnectionsOfGeometry(Settings(), st, ours, pool);
    if (plain.pairs != ours.pairs || plain.opacityFactors != ours.opacityFactors)
        state.SkipWithError("pairs differ from the plain search");
    state.counters["pairs"] = double(pairs);
}

void Connections_Peer(benchmark::State& state) {
    tv::GeometryStore st = Cloud(size_t(state.range(0)));
    size_t pairs = 0;
    for (auto _ : state) {
        tv::ConnectionSet out;
        PlainConnections(st, Settings(), out);
        pairs = out.size();
    }
    state.counters["pairs"] = double(pairs);
}

BENCHMARK(Connections_Ours)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(Connections_Peer)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Ours on the calling thread alone: what the spread over the pool adds.
void ConnectionsOneThread(benchmark::State& state) {
    tv::GeometryStore st = Cloud(size_t(state.range(0)));
    for (auto _ : state) {
        tv::ConnectionSet out;
        tv::ConnectionsOfGeometry(Settings(), st, out);
    }
}
BENCHMARK(ConnectionsOneThread)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();
}  // namespace
