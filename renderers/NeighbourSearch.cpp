#include "renderers/NeighbourSearch.h"

#include <nanoflann.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>

namespace tv {

namespace {

// Reads a run of the store's positions in place: no copy.
struct PositionsAdaptor {
    const Vec3f* points;
    size_t count;
    size_t kdtree_get_point_count() const { return count; }
    float kdtree_get_pt(size_t i, size_t dim) const {
        const Vec3f& p = points[i];
        return dim == 0 ? p.x : dim == 1 ? p.y : p.z;
    }
    template <class Box>
    bool kdtree_get_bbox(Box&) const {
        return false;
    }
};

using KdTree =
    nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<float, PositionsAdaptor>,
                                        PositionsAdaptor, 3, uint32_t>;

constexpr int32_t kQueriesPerJob = 1024;

// Spreads the low 10 bits of v to every third bit.
uint32_t Spread3(uint32_t v) {
    v &= 0x3ff;
    v = (v | (v << 16)) & 0x030000ff;
    v = (v | (v << 8)) & 0x0300f00f;
    v = (v | (v << 4)) & 0x030c30c3;
    v = (v | (v << 2)) & 0x09249249;
    return v;
}

// The queries in Morton order of their positions: neighbouring queries then walk the same tree
// nodes one after the other, which keeps the caches warm. Non-finite positions go first.
void MortonOrder(const Vec3f* q, uint32_t count, std::vector<uint64_t>& keyed) {
    float lo[3] = {std::numeric_limits<float>::max(), std::numeric_limits<float>::max(),
                   std::numeric_limits<float>::max()};
    float hi[3] = {-lo[0], -lo[1], -lo[2]};
    auto coords = [](const Vec3f& p) { return std::array<float, 3>{p.x, p.y, p.z}; };
    for (uint32_t i = 0; i < count; ++i) {
        const auto c = coords(q[i]);
        for (int d = 0; d < 3; ++d)
            if (std::isfinite(c[size_t(d)])) {
                lo[d] = std::min(lo[d], c[size_t(d)]);
                hi[d] = std::max(hi[d], c[size_t(d)]);
            }
    }
    keyed.resize(count);
    for (uint32_t i = 0; i < count; ++i) {
        const auto c = coords(q[i]);
        uint32_t key = 0;
        for (int d = 0; d < 3; ++d) {
            const float span = hi[d] - lo[d];
            const float u = span > 0 ? (c[size_t(d)] - lo[d]) / span * 1023.0f : 0.0f;
            const uint32_t cell = u >= 0 && u <= 1023.0f ? uint32_t(u) : 0;  // NaN and inf: 0
            key |= Spread3(cell) << d;
        }
        keyed[i] = (uint64_t(key) << 32) | i;
    }
    std::sort(keyed.begin(), keyed.end());
}

}  // namespace

void SearchNeighbours(const SearchSettings& s, const std::vector<Vec3f>& search,
                      const std::vector<Vec3f>& queries, uint32_t searchStart, uint32_t searchCount,
                      uint32_t queryStart, uint32_t queryCount, ConnectionSet& out,
                      const ParallelFor& parallel) {
    if (s.maxVertices <= 0 || search.empty() || queries.empty()) return;
    if (searchStart >= search.size() || queryStart >= queries.size()) return;
    if (size_t(searchStart) + searchCount > search.size() ||
        size_t(queryStart) + queryCount > queries.size())
        return;
    if (searchCount == 0 || queryCount == 0) return;
    const float limit = s.maxDistance * s.maxDistance;
    const PositionsAdaptor adaptor{search.data() + searchStart, searchCount};
    KdTree tree(3, adaptor, nanoflann::KDTreeSingleIndexAdaptorParams(32));
    const size_t k = size_t(s.maxVertices);
    // Flat result tables, allocated once per call: one row of k slots per query, and how many
    // entries of each row were kept. Every row is written by its own query before it is read.
    std::unique_ptr<uint32_t[]> indices(new uint32_t[size_t(queryCount) * k]);
    std::unique_ptr<float[]> dists(new float[size_t(queryCount) * k]);
    std::unique_ptr<size_t[]> kept(new size_t[size_t(queryCount) + 1]);
    // The visiting order: when the queries are the searched points themselves, the tree's own
    // leaf order; else Morton order. Results go to each query's own row, so the output does not
    // depend on the order or on how the jobs are run.
    const bool sameSet =
        &search == &queries && searchStart == queryStart && searchCount == queryCount;
    std::vector<uint64_t> keyed;
    if (!sameSet) MortonOrder(queries.data() + queryStart, queryCount, keyed);
    auto queryAt = [&](uint32_t visit) {
        return sameSet ? uint32_t(tree.vAcc[visit]) : uint32_t(keyed[visit]);
    };
    const int32_t jobs = int32_t((queryCount + kQueriesPerJob - 1) / kQueriesPerJob);
    auto runJobs = [&](const std::function<void(int32_t)>& job) {
        if (parallel && jobs > 1)
            parallel(jobs, job);
        else
            for (int32_t j = 0; j < jobs; ++j) job(j);
    };
    // Search, then keep in place the entries that pass: within the limit, and only from the
    // lower index to the higher (which also does away with self-connections and duplicates).
    runJobs([&](int32_t j) {
        const uint32_t first = uint32_t(j) * kQueriesPerJob;
        const uint32_t last = std::min<uint32_t>(queryCount, first + kQueriesPerJob);
        for (uint32_t visit = first; visit < last; ++visit) {
            const uint32_t q = queryAt(visit);
            uint32_t* rowIndices = &indices[size_t(q) * k];
            float* rowDists = &dists[size_t(q) * k];
            nanoflann::KNNResultSet<float, uint32_t> result(k);
            result.init(rowIndices, rowDists);
            const Vec3f& p = queries[queryStart + q];
            const float point[3] = {p.x, p.y, p.z};
            tree.findNeighbors(result, point, nanoflann::SearchParams(32, 0, false));
            const int64_t a = int64_t(q) + queryStart;
            uint32_t m = 0;
            for (size_t e = 0; e < result.size(); ++e) {
                const float d = rowDists[e];
                if (d > limit || a >= int64_t(rowIndices[e]) + searchStart) continue;
                rowIndices[m] = rowIndices[e];
                rowDists[m] = d;
                ++m;
            }
            kept[q] = m;
        }
    });
    // Where each query's pairs go: in the order of the queries.
    size_t total = 0;
    for (uint32_t q = 0; q < queryCount; ++q) {
        const size_t m = kept[q];
        kept[q] = total;
        total += m;
    }
    kept[queryCount] = total;
    const size_t base = out.size();
    out.pairs.resize(2 * (base + total));
    out.opacityFactors.resize(base + total);
    out.thicknessFactors.resize(base + total);
    runJobs([&](int32_t j) {
        const uint32_t first = uint32_t(j) * kQueriesPerJob;
        const uint32_t last = std::min<uint32_t>(queryCount, first + kQueriesPerJob);
        for (uint32_t q = first; q < last; ++q) {
            size_t at = base + kept[q];
            for (size_t e = 0; e < kept[q + 1] - kept[q]; ++e, ++at) {
                const float dist = std::sqrt(dists[size_t(q) * k + e]);
                const float t = s.maxDistance == 0 ? 0.0f : dist / s.maxDistance;
                out.pairs[2 * at] = int32_t(q + queryStart);
                out.pairs[2 * at + 1] = int32_t(indices[size_t(q) * k + e] + searchStart);
                out.opacityFactors[at] = s.opacityCurve.eval(t);
                out.thicknessFactors[at] = s.thicknessCurve.eval(t);
            }
        }
    });
}

namespace {

bool ValidRange(const GroupRange& r) {
    return r.start != GroupRange::kUnsetStart && r.count >= 1;
}

void Shift(GeometryStore& store, float factor) {
    const size_t n = std::min(store.positions.size(), store.jitter.size());
    for (size_t i = 0; i < n; ++i) {
        store.positions[i].x += store.jitter[i].x * factor;
        store.positions[i].y += store.jitter[i].y * factor;
        store.positions[i].z += store.jitter[i].z * factor;
    }
}

}  // namespace

void ConnectionsOfGeometry(const SearchSettings& s, GeometryStore& store, ConnectionSet& out,
                           const ParallelFor& parallel) {
    const auto n = uint32_t(store.positions.size());
    Shift(store, 1.0f);
    const std::vector<Vec3f>& pos = store.positions;
    switch (s.drawBetween) {
        case kAllGroupsLines:
            SearchNeighbours(s, pos, pos, 0, n, 0, n, out, parallel);
            break;
        case kSameGroup:
            for (int32_t g = 1; g <= 10; ++g) {
                const GroupRange r = store.vertexGroups[g];
                if (ValidRange(r))
                    SearchNeighbours(s, pos, pos, r.start, r.count, r.start, r.count, out,
                                     parallel);
            }
            break;
        case kOneGroup:
        case kTwoGroups: {
            const GroupRange a = store.vertexGroups[s.firstGroup];
            const GroupRange b = store.vertexGroups[s.secondGroup];
            if (ValidRange(a) && ValidRange(b))
                SearchNeighbours(s, pos, pos, a.start, a.count, b.start, b.count, out, parallel);
            break;
        }
        case kDifferentGroups: {
            // The group's own vertices go to infinity in a copy, so they fall out at the limit
            // test; the copy is made once per group and dropped after its search.
            constexpr float inf = std::numeric_limits<float>::infinity();
            for (int32_t g = 1; g <= 10; ++g) {
                const GroupRange r = store.vertexGroups[g];
                if (!ValidRange(r) || size_t(r.start) + r.count > n) continue;
                std::vector<Vec3f> others(pos);
                std::fill(others.begin() + r.start, others.begin() + r.start + r.count,
                          Vec3f{inf, inf, inf});
                SearchNeighbours(s, others, pos, 0, n, r.start, r.count, out, parallel);
            }
            break;
        }
        default:
            break;
    }
    Shift(store, -1.0f);
}

bool BlendConnections(const ConnectionSet& a, const ConnectionSet& b, float factorA, float factorB,
                      ConnectionSet& out) {
    auto order = [](const ConnectionSet& s) {
        std::vector<size_t> idx(s.size());
        std::iota(idx.begin(), idx.end(), size_t(0));
        std::sort(idx.begin(), idx.end(), [&s](size_t x, size_t y) {
            return std::pair(s.pairs[2 * x], s.pairs[2 * x + 1]) <
                   std::pair(s.pairs[2 * y], s.pairs[2 * y + 1]);
        });
        return idx;
    };
    const std::vector<size_t> ia = order(a), ib = order(b);
    auto key = [](const ConnectionSet& s, size_t i) {
        return std::pair(s.pairs[2 * i], s.pairs[2 * i + 1]);
    };
    auto append = [&out](std::pair<int32_t, int32_t> p, float op, float th) {
        out.pairs.push_back(p.first);
        out.pairs.push_back(p.second);
        out.opacityFactors.push_back(op);
        out.thicknessFactors.push_back(th);
    };
    // Common pairs first, in sorted order; then the pairs of one side, merged in sorted order.
    std::vector<std::pair<size_t, size_t>> common;
    std::vector<std::pair<int, size_t>> alone;  // side 0 = a, 1 = b
    size_t i = 0, j = 0;
    while (i < ia.size() || j < ib.size()) {
        if (j == ib.size() || (i < ia.size() && key(a, ia[i]) < key(b, ib[j]))) {
            alone.push_back({0, ia[i++]});
        } else if (i == ia.size() || key(b, ib[j]) < key(a, ia[i])) {
            alone.push_back({1, ib[j++]});
        } else {
            common.push_back({ia[i++], ib[j++]});
        }
    }
    for (const auto& [x, y] : common) {
        const float op =
            (b.opacityFactors[y] - a.opacityFactors[x]) * factorA + a.opacityFactors[x];
        const float th =
            (b.thicknessFactors[y] - a.thicknessFactors[x]) * factorA + a.thicknessFactors[x];
        append(key(a, x), op, th);
    }
    for (const auto& [side, x] : alone) {
        const ConnectionSet& s = side == 0 ? a : b;
        const float fade = side == 0 ? 1 - factorA : 1 - factorB;
        append(key(s, x), s.opacityFactors[x] * fade, s.thicknessFactors[x]);
    }
    return true;
}

}  // namespace tv
