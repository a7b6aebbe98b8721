#include "renderers/NeighbourSearch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>
#include <numeric>

#include "renderers/JitterShift.h"
#include "renderers/PositionsKdTree.h"

namespace tv {

namespace {

using KdTree = PositionsKdTree;

constexpr int32_t kQueriesPerJob = 256;
constexpr size_t kLeafSize = kKdLeafSize;

// Builds the same tree nanoflann's buildIndex builds (the same splits, the same order of the
// points, the same bounds), with the two halves of the top splits built at once. Each half
// takes its nodes from its own pool, as the tree's pool is not safe for several threads; the
// pools are kept for as long as the tree is used.
class ParallelTreeBuild {
  public:
    using Node = KdTree::Node;
    using Box = KdTree::BoundingBox;

    ParallelTreeBuild(KdTree& tree, const ParallelFor& parallel)
        : tree_(tree), parallel_(parallel) {}

    void build() {
        tree_.m_size = tree_.dataset.kdtree_get_point_count();
        tree_.m_size_at_index_build = tree_.m_size;
        tree_.init_vind();
        if (tree_.m_size == 0) return;
        tree_.computeBoundingBox(tree_.root_bbox);
        tree_.root_node = divide(newPool(), 0, tree_.m_size, tree_.root_bbox, 0);
    }

  private:
    // Splits of at least this many points, this near the root, build their halves at once.
    static constexpr size_t kParallelPoints = 8192;
    static constexpr int kParallelDepth = 4;

    nanoflann::PooledAllocator& newPool() {
        std::lock_guard lock(poolsMutex_);
        return pools_.emplace_back();
    }

    float at(size_t position, int32_t dim) const {
        return tree_.dataset_get(tree_, tree_.vAcc[position], dim);
    }

    // nanoflann's divideTree, step for step.
    Node* divide(nanoflann::PooledAllocator& pool, size_t left, size_t right, Box& box, int depth) {
        Node* node = pool.template allocate<Node>();
        if (right - left <= tree_.m_leaf_max_size) {
            node->child1 = node->child2 = nullptr;
            node->node_type.lr.left = left;
            node->node_type.lr.right = right;
            for (int32_t i = 0; i < 3; ++i) box[size_t(i)].low = box[size_t(i)].high = at(left, i);
            for (size_t k = left + 1; k < right; ++k)
                for (int32_t i = 0; i < 3; ++i) {
                    if (box[size_t(i)].low > at(k, i)) box[size_t(i)].low = at(k, i);
                    if (box[size_t(i)].high < at(k, i)) box[size_t(i)].high = at(k, i);
                }
            return node;
        }
        size_t idx = 0;
        int32_t cutfeat = 0;
        float cutval = 0;
        tree_.middleSplit_(tree_, left, right - left, idx, cutfeat, cutval, box);
        node->node_type.sub.divfeat = cutfeat;
        Box leftBox(box), rightBox(box);
        leftBox[size_t(cutfeat)].high = cutval;
        rightBox[size_t(cutfeat)].low = cutval;
        if (depth < kParallelDepth && right - left >= kParallelPoints) {
            nanoflann::PooledAllocator& leftPool = newPool();
            nanoflann::PooledAllocator& rightPool = newPool();
            parallel_(2, [&](int32_t side) {
                if (side == 0)
                    node->child1 = divide(leftPool, left, left + idx, leftBox, depth + 1);
                else
                    node->child2 = divide(rightPool, left + idx, right, rightBox, depth + 1);
            });
        } else {
            node->child1 = divide(pool, left, left + idx, leftBox, depth + 1);
            node->child2 = divide(pool, left + idx, right, rightBox, depth + 1);
        }
        node->node_type.sub.divlow = leftBox[size_t(cutfeat)].high;
        node->node_type.sub.divhigh = rightBox[size_t(cutfeat)].low;
        for (size_t i = 0; i < 3; ++i) {
            box[i].low = std::min(leftBox[i].low, rightBox[i].low);
            box[i].high = std::max(leftBox[i].high, rightBox[i].high);
        }
        return node;
    }

    KdTree& tree_;
    const ParallelFor& parallel_;
    std::mutex poolsMutex_;
    std::deque<nanoflann::PooledAllocator> pools_;
};

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
    KdTree tree(3, adaptor,
                nanoflann::KDTreeSingleIndexAdaptorParams(
                    kLeafSize, nanoflann::KDTreeSingleIndexAdaptorFlags::SkipInitialBuildIndex));
    ParallelTreeBuild build(tree, parallel);
    if (parallel)
        build.build();
    else
        tree.buildIndex();
    const size_t k = size_t(s.maxVertices);
    // The visiting order: when the queries are the searched points themselves, the tree's own
    // leaf order; else Morton order. Each query's results are found by where they were put, so
    // the output does not depend on the order or on how the jobs are run.
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
    // Each job keeps the entries that pass in a list of its own, query after query in its
    // visiting order; each query notes its job, where its entries start there and how many it
    // kept. Only the kept entries are stored, which keeps the memory a call touches small.
    struct Kept {
        uint32_t index;
        float dist;
    };
    std::vector<std::vector<Kept>> kept(size_t(jobs), std::vector<Kept>{});
    std::unique_ptr<uint32_t[]> jobOf(new uint32_t[queryCount]);
    std::unique_ptr<uint32_t[]> startIn(new uint32_t[queryCount]);
    std::unique_ptr<size_t[]> offsets(new size_t[size_t(queryCount) + 1]);
    // Search, then keep the entries that pass: within the limit, and only from the lower index
    // to the higher (which also does away with self-connections and duplicates).
    runJobs([&](int32_t j) {
        const uint32_t first = uint32_t(j) * kQueriesPerJob;
        const uint32_t last = std::min<uint32_t>(queryCount, first + kQueriesPerJob);
        std::vector<uint32_t> rowIndices(k);
        std::vector<float> rowDists(k);
        std::vector<Kept>& list = kept[size_t(j)];
        list.reserve(size_t(last - first) * std::min<size_t>(k, 8));
        for (uint32_t visit = first; visit < last; ++visit) {
            const uint32_t q = queryAt(visit);
            nanoflann::KNNResultSet<float, uint32_t> result(k);
            result.init(rowIndices.data(), rowDists.data());
            rowDists[k - 1] = KnnBoundPast(limit);
            const Vec3f& p = queries[queryStart + q];
            const float point[3] = {p.x, p.y, p.z};
            tree.findNeighbors(result, point, nanoflann::SearchParams(32, 0, false));
            const int64_t a = int64_t(q) + queryStart;
            jobOf[q] = uint32_t(j);
            startIn[q] = uint32_t(list.size());
            for (size_t e = 0; e < result.size(); ++e) {
                const float d = rowDists[e];
                if (d > limit || a >= int64_t(rowIndices[e]) + searchStart) continue;
                list.push_back(Kept{rowIndices[e], d});
            }
            offsets[q] = list.size() - startIn[q];
        }
    });
    // Where each query's pairs go: in the order of the queries.
    size_t total = 0;
    for (uint32_t q = 0; q < queryCount; ++q) {
        const size_t m = offsets[q];
        offsets[q] = total;
        total += m;
    }
    offsets[queryCount] = total;
    const size_t base = out.size();
    out.pairs.resize(2 * (base + total));
    out.opacityFactors.resize(base + total);
    out.thicknessFactors.resize(base + total);
    runJobs([&](int32_t j) {
        const uint32_t first = uint32_t(j) * kQueriesPerJob;
        const uint32_t last = std::min<uint32_t>(queryCount, first + kQueriesPerJob);
        for (uint32_t q = first; q < last; ++q) {
            const Kept* entries = kept[jobOf[q]].data() + startIn[q];
            size_t at = base + offsets[q];
            for (size_t e = 0; e < offsets[q + 1] - offsets[q]; ++e, ++at) {
                const float dist = std::sqrt(entries[e].dist);
                const float t = s.maxDistance == 0 ? 0.0f : dist / s.maxDistance;
                out.pairs[2 * at] = int32_t(q + queryStart);
                out.pairs[2 * at + 1] = int32_t(entries[e].index + searchStart);
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

}  // namespace

void ConnectionsOfGeometry(const SearchSettings& s, GeometryStore& store, ConnectionSet& out,
                           const ParallelFor& parallel) {
    const auto n = uint32_t(store.positions.size());
    const JitterShift jittered(store, parallel);
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
