// The bounding tree of triangles against testing every triangle: the nearest hit of segments
// from the centre of a closed sphere mesh to points around it, as the container's instance mode
// makes them, at growing mesh sizes; then both the container's and the slicer's segments against
// a 100k-triangle mesh at 10k to 1M vertices, the tree built once per pass as the effects do.
// Each reports the triangles tested per segment (the query's candidates, or every triangle) and
// the tree's node boxes tested per segment, beside log2 of the face count.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "host/AABBTree.h"

namespace {

struct Mesh {
    std::vector<std::array<float, 3>> points;
    std::vector<std::array<int32_t, 3>> polys;
};

// A UV sphere of radius 100 with about `triangles` faces.
Mesh Sphere(int64_t triangles) {
    Mesh m;
    const int n = std::max(4, int(std::sqrt(double(triangles) / 2)));
    for (int i = 0; i <= n; ++i)
        for (int j = 0; j < n; ++j) {
            const double t = 3.14159265358979 * i / n, f = 2 * 3.14159265358979 * j / n;
            m.points.push_back({float(100 * std::sin(t) * std::cos(f)), float(100 * std::cos(t)),
                                float(100 * std::sin(t) * std::sin(f))});
        }
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            const int a = i * n + j, b = i * n + (j + 1) % n, c = a + n, d = b + n;
            m.polys.push_back({a, b, c});
            m.polys.push_back({b, d, c});
        }
    return m;
}

double NearestHit(const Mesh& m, const std::vector<int32_t>& which, const double p[3],
                  const double q[3]) {
    double best = INFINITY;
    for (int32_t c : which) {
        double a[3][3], h[3];
        for (int k = 0; k < 3; ++k)
            for (int d = 0; d < 3; ++d)
                a[k][d] = m.points[size_t(m.polys[size_t(c)][size_t(k)])][size_t(d)];
        if (tv::SegmentTriangleHit(p, q, a[0], a[1], a[2], h))
            best = std::min(best, (h[0] - q[0]) * (h[0] - q[0]) + (h[1] - q[1]) * (h[1] - q[1]) +
                                      (h[2] - q[2]) * (h[2] - q[2]));
    }
    return best;
}

void Segments(benchmark::State& state, bool tree) {
    const Mesh mesh = Sphere(state.range(0));
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> u(-250, 250);
    std::vector<std::array<double, 3>> targets(1000);
    for (auto& t : targets) t = {u(rng), u(rng), u(rng)};
    std::vector<int32_t> all(mesh.polys.size());
    for (size_t i = 0; i < all.size(); ++i) all[i] = int32_t(i);
    const double centre[3] = {0, 0, 0};
    const float from[3] = {0, 0, 0};
    double tested = 0, segments = 0;
    uint64_t boxes = 0;
    for (auto _ : state) {
        double sum = 0;
        const tv::AABBTreePoly t =
            tree ? tv::BuildAABBTree(mesh.points, mesh.polys) : tv::AABBTreePoly{};
        std::vector<int32_t> candidates;
        for (const auto& q : targets) {
            if (tree) {
                const float to[3] = {float(q[0]), float(q[1]), float(q[2])};
                t.collideWithSegment(from, to, candidates, &boxes);
                sum += NearestHit(mesh, candidates, centre, q.data());
                tested += double(candidates.size());
            } else {
                sum += NearestHit(mesh, all, centre, q.data());
                tested += double(all.size());
            }
            segments += 1;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.counters["triangles"] = double(mesh.polys.size());
    state.counters["tests_per_vertex"] = segments > 0 ? tested / segments : 0;
    state.counters["boxes_per_vertex"] = segments > 0 ? double(boxes) / segments : 0;
    state.counters["log2_faces"] = std::log2(double(mesh.polys.size()));
}

void ContainerSegments_Ours(benchmark::State& s) {
    Segments(s, true);
}
void ContainerSegments_Peer(benchmark::State& s) {
    Segments(s, false);
}
BENCHMARK(ContainerSegments_Ours)
    ->Arg(2000)
    ->Arg(20000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ContainerSegments_Peer)
    ->Arg(2000)
    ->Arg(20000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond);

// The per-vertex work of the container (segment from the mesh's middle to the vertex) or the
// slicer (segment from a vertex of a plane along its normal, 400 long) for `vertices` vertices
// against a sphere of about 100k triangles, through the tree or over every triangle.
void Vertices(benchmark::State& state, bool slicer, bool tree) {
    const Mesh mesh = Sphere(100000);
    const int64_t n = state.range(0);
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(-250, 250), plane(-90, 90);
    std::vector<std::array<double, 3>> from(static_cast<size_t>(n)), to(static_cast<size_t>(n));
    for (int64_t i = 0; i < n; ++i) {
        if (slicer) {
            from[size_t(i)] = {plane(rng), plane(rng), -200};
            to[size_t(i)] = {from[size_t(i)][0], from[size_t(i)][1], 200};
        } else {
            from[size_t(i)] = {0, 0, 0};
            to[size_t(i)] = {u(rng), u(rng), u(rng)};
        }
    }
    std::vector<int32_t> all(mesh.polys.size());
    for (size_t i = 0; i < all.size(); ++i) all[i] = int32_t(i);
    double tested = 0, segments = 0;
    uint64_t boxes = 0;
    for (auto _ : state) {
        double sum = 0;
        const tv::AABBTreePoly t =
            tree ? tv::BuildAABBTree(mesh.points, mesh.polys) : tv::AABBTreePoly{};
        std::vector<int32_t> candidates;
        for (size_t i = 0; i < size_t(n); ++i) {
            if (tree) {
                const float f[3] = {float(from[i][0]), float(from[i][1]), float(from[i][2])};
                const float e[3] = {float(to[i][0]), float(to[i][1]), float(to[i][2])};
                t.collideWithSegment(f, e, candidates, &boxes);
                sum += NearestHit(mesh, candidates, from[i].data(), to[i].data());
                tested += double(candidates.size());
            } else {
                sum += NearestHit(mesh, all, from[i].data(), to[i].data());
                tested += double(all.size());
            }
        }
        segments += double(n);
        benchmark::DoNotOptimize(sum);
    }
    state.counters["tests_per_vertex"] = segments > 0 ? tested / segments : 0;
    state.counters["boxes_per_vertex"] = segments > 0 ? double(boxes) / segments : 0;
    state.counters["log2_faces"] = std::log2(double(mesh.polys.size()));
    state.counters["ns_per_vertex"] =
        benchmark::Counter(double(n) * double(state.iterations()) * 1e-9,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void ContainerVertices_Ours(benchmark::State& s) {
    Vertices(s, false, true);
}
void ContainerVertices_Peer(benchmark::State& s) {
    Vertices(s, false, false);
}
void SlicerVertices_Ours(benchmark::State& s) {
    Vertices(s, true, true);
}
void SlicerVertices_Peer(benchmark::State& s) {
    Vertices(s, true, false);
}
BENCHMARK(ContainerVertices_Ours)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ContainerVertices_Peer)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(SlicerVertices_Ours)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(SlicerVertices_Peer)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace
