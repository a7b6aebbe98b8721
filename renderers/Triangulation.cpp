#include "renderers/Triangulation.h"

#include <algorithm>
#include <map>
#include <array>
#include <iterator>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <ostream>
#include <string>

#include "renderers/JitterShift.h"
#include "renderers/PositionsKdTree.h"
#include "renderers/QhullTriangulate.h"

namespace tv {

namespace {

using KdTree = PositionsKdTree;

constexpr size_t kLeafSize = kKdLeafSize;
constexpr uint32_t kQueriesPerJob = 1024;

struct Vec3d {
    double x, y, z;
};
Vec3d ToDouble(const Vec3f& p) {
    return {p.x, p.y, p.z};
}
Vec3d Sub(const Vec3d& a, const Vec3d& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Vec3d Cross(const Vec3d& a, const Vec3d& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double Dot(const Vec3d& a, const Vec3d& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
double Length(const Vec3f& a, const Vec3f& b) {
    const Vec3d d = Sub(ToDouble(a), ToDouble(b));
    return std::sqrt(Dot(d, d));
}

void AppendSorted(std::vector<int32_t>& out, int32_t a, int32_t b, int32_t c) {
    if (a > b) std::swap(a, b);
    if (b > c) std::swap(b, c);
    if (a > b) std::swap(a, b);
    out.insert(out.end(), {a, b, c});
}

bool ValidRange(const GroupRange& r, size_t n) {
    return r.start != GroupRange::kUnsetStart && r.count >= 1 && size_t(r.start) + r.count <= n;
}

}  // namespace

void NearestTriangleCandidates(const TriangulationSettings& s, const std::vector<Vec3f>& search,
                               const std::vector<Vec3f>& queries, uint32_t searchStart,
                               uint32_t searchCount, uint32_t queryStart, uint32_t queryCount,
                               std::vector<int32_t>& candidates, const ParallelFor& parallel) {
    const int64_t k64 = int64_t(s.maxTriangles) * 3;
    if (k64 < 3 || search.empty() || queries.empty()) return;
    if (searchStart >= search.size() || queryStart >= queries.size()) return;
    if (size_t(searchStart) + searchCount > search.size() ||
        size_t(queryStart) + queryCount > queries.size())
        return;
    if (searchCount == 0 || queryCount == 0) return;
    // No query finds more than the searched points: a longer row would only stay empty.
    const size_t k = size_t(std::min<int64_t>(k64, searchCount));
    const float limit = s.maxDistance * s.maxDistance;
    const PositionsAdaptor adaptor{search.data() + searchStart, searchCount};
    KdTree tree(3, adaptor, nanoflann::KDTreeSingleIndexAdaptorParams(kLeafSize));
    // One row of k slots per query, allocated once; each query writes its own row and how many
    // neighbours it kept, so the jobs may run in any order.
    std::unique_ptr<uint32_t[]> indices(new uint32_t[size_t(queryCount) * k]);
    std::unique_ptr<float[]> dists(new float[size_t(queryCount) * k]);
    std::vector<uint32_t> kept(queryCount, 0);
    auto job = [&](int32_t j) {
        const uint32_t first = uint32_t(j) * kQueriesPerJob;
        const uint32_t last = std::min<uint32_t>(queryCount, first + kQueriesPerJob);
        for (uint32_t q = first; q < last; ++q) {
            uint32_t* rowIndices = &indices[size_t(q) * k];
            float* rowDists = &dists[size_t(q) * k];
            nanoflann::KNNResultSet<float, uint32_t> result(k);
            result.init(rowIndices, rowDists);
            const Vec3f& p = queries[queryStart + q];
            const float point[3] = {p.x, p.y, p.z};
            tree.findNeighbors(result, point, nanoflann::SearchParams(32, 0, false));
            // Within the limit and not the query itself; lower indices count too.
            const int64_t self = int64_t(queryStart) + q;
            uint32_t m = 0;
            for (size_t e = 0; e < result.size(); ++e) {
                const float d = rowDists[e];
                if (d > limit || int64_t(rowIndices[e]) + searchStart == self) continue;
                rowIndices[m++] = rowIndices[e];
            }
            kept[q] = m;
        }
    };
    const auto jobs = int32_t((queryCount + kQueriesPerJob - 1) / kQueriesPerJob);
    if (parallel && jobs > 1)
        parallel(jobs, job);
    else
        for (int32_t j = 0; j < jobs; ++j) job(j);
    // The neighbours two by two make triangles with the query; an odd last one is dropped.
    for (uint32_t q = 0; q < queryCount; ++q) {
        const uint32_t* row = &indices[size_t(q) * k];
        const auto a = int32_t(queryStart + q);
        for (uint32_t e = 0; e + 1 < kept[q]; e += 2)
            AppendSorted(candidates, a, int32_t(row[e] + searchStart),
                         int32_t(row[e + 1] + searchStart));
    }
}

bool HasSpanningTriple(const std::vector<Vec3f>& positions, uint32_t start, uint32_t count) {
    if (count < 3 || size_t(start) + count > positions.size()) return false;
    for (uint32_t i = start; i + 2 < start + count; ++i) {
        const Vec3d a = ToDouble(positions[i]), b = ToDouble(positions[i + 1]),
                    c = ToDouble(positions[i + 2]);
        if (Dot(a, Cross(b, c)) > 0.1) return true;
    }
    return false;
}

int32_t HullDimension(const std::vector<Vec3f>& positions, uint32_t start, uint32_t count) {
    if (count < 3 || size_t(start) + count > positions.size()) return 2;
    const uint32_t end = start + count;
    const Vec3d first = ToDouble(positions[start]);
    const Vec3d normal = Cross(Sub(ToDouble(positions[start + count / 2]), first),
                               Sub(ToDouble(positions[end - 1]), first));
    const bool nullNormal = normal.x == 0 && normal.y == 0 && normal.z == 0;
    for (uint32_t i = start + 1; i < end; ++i) {
        const Vec3d p = ToDouble(positions[i]);
        Vec3d n = normal;
        if (nullNormal) {
            // The plane of this point and its two neighbours (the two before it at the end).
            const uint32_t before = i + 1 < end ? i - 1 : i - 2;
            const uint32_t after = i + 1 < end ? i + 1 : i - 1;
            n = Cross(Sub(ToDouble(positions[before]), p), Sub(ToDouble(positions[after]), p));
        }
        // One-sided: points only below the plane leave the set planar.
        if (Dot(Sub(p, first), n) > 0.01) return 3;
    }
    return 2;
}

namespace {

// The corners of a closed outline given as its edges (facets of two ids), walked from the
// first edge; a fan from the first corner. Nothing when the edges do not form one loop.
void OutlineFan(const QhullFacets& facets, std::vector<int32_t>& out) {
    std::map<int32_t, std::vector<int32_t>> next;
    size_t at = 0;
    for (const uint32_t size : facets.sizes) {
        if (size != 2) return;
        const int32_t a = facets.ids[at], b = facets.ids[at + 1];
        next[a].push_back(b);
        next[b].push_back(a);
        at += size;
    }
    if (next.size() < 3) return;
    for (const auto& [id, links] : next)
        if (links.size() != 2) return;
    std::vector<int32_t> loop = {next.begin()->first};
    int32_t previous = -1, current = loop[0];
    while (loop.size() < next.size()) {
        const auto& links = next[current];
        const int32_t step = links[0] != previous ? links[0] : links[1];
        if (step == loop[0]) return;  // a loop shorter than the outline
        previous = current;
        current = step;
        loop.push_back(current);
    }
    for (size_t k = 1; k + 1 < loop.size(); ++k)
        out.insert(out.end(), {loop[0], loop[k], loop[k + 1]});
}

}  // namespace

void QhullTriangleCandidates(int32_t renderMode, const std::vector<Vec3f>& positions,
                             uint32_t start, uint32_t count, std::vector<int32_t>& candidates,
                             std::ostream& log) {
    if (count < 3 || size_t(start) + count > positions.size()) return;
    if (!HasSpanningTriple(positions, start, count)) return;
    if (count == 3) {
        candidates.insert(candidates.end(), {0, 1, 2});
        return;
    }
    const int32_t dim = HullDimension(positions, start, count);
    std::vector<double> coords;
    coords.reserve(size_t(count) * size_t(dim));
    for (uint32_t i = start; i < start + count; ++i) {
        const Vec3f& p = positions[i];
        coords.push_back(p.x);
        coords.push_back(p.y);
        if (dim == 3) coords.push_back(p.z);
    }
    QhullFacets facets;
    std::string error;
    if (!RunQhull(coords, dim, renderMode == kMeshTriangulation ? "d Qt" : "Qt", facets, error)) {
        log << error << '\n';
        return;
    }
    // A two-dimensional hull is an outline of edges: its triangulation is a fan over the
    // outline's corners in order, so a flat set's outer surface is the filled outline.
    if (renderMode != kMeshTriangulation && dim == 2) {
        OutlineFan(facets, candidates);
        return;
    }
    size_t at = 0;
    for (const uint32_t size : facets.sizes) {
        const int32_t* v = &facets.ids[at];
        at += size;
        if (size == 3) {
            candidates.insert(candidates.end(), {v[0], v[1], v[2]});
        } else if (size == 4) {
            // A tetrahedron of the 3D Delaunay mesh: its four faces.
            const int32_t a = v[0], b = v[1], c = v[2], d = v[3];
            candidates.insert(candidates.end(), {a, b, c, b, d, c, a, d, c, a, b, d});
        } else if (size > 4) {
            log << "Set Size Greater than 4: " << size << '\n';
        }
        // Facets of two vertices, the edges of a two-dimensional hull, make no triangle.
    }
}

void FilterTriangles(const TriangulationSettings& s, const std::vector<Vec3f>& positions,
                     const std::vector<int32_t>& candidates, uint32_t base, TriangleSet& out) {
    const size_t n = positions.size();
    for (size_t i = 0; i + 2 < candidates.size(); i += 3) {
        int32_t v[3];
        bool inside = true;
        for (size_t c = 0; c < 3; ++c) {
            const int64_t index = int64_t(candidates[i + c]) + base;
            inside = inside && index >= 0 && size_t(index) < n;
            v[c] = int32_t(index);
        }
        if (!inside) continue;
        const Vec3f &a = positions[size_t(v[0])], &b = positions[size_t(v[1])],
                    &c = positions[size_t(v[2])];
        const double e = (Length(a, b) + Length(b, c) + Length(c, a)) / 3.0;
        if (e > double(s.maxDistance)) continue;
        const double t = s.maxDistance == 0 ? 0.0 : e / double(s.maxDistance);
        out.triples.insert(out.triples.end(), {v[0], v[1], v[2]});
        out.opacityFactors.push_back(s.opacityCurve.eval(float(t)));
    }
}

void TrianglesOfGeometry(const TriangulationSettings& s, GeometryStore& store, TriangleSet& out,
                         const ParallelFor& parallel, std::ostream& log) {
    const auto n = uint32_t(store.positions.size());
    if (s.renderMode == kOuterSurface || s.renderMode == kMeshTriangulation) {
        const IndexRange r = GroupVertexRange(store, s.effectGroup);
        std::vector<int32_t> candidates;
        QhullTriangleCandidates(s.renderMode, store.positions, r.start, r.count, candidates, log);
        FilterTriangles(s, store.positions, candidates, r.start, out);
        return;
    }
    if (s.renderMode != kNearestTriangles || int64_t(s.maxTriangles) * 3 < 3) return;
    const JitterShift jittered(store, parallel);
    const std::vector<Vec3f>& pos = store.positions;
    // The candidates are kept over the searches, and after each search all of them go through
    // the filter: with several groups the earlier groups' triangles are emitted again.
    std::vector<int32_t> candidates;
    auto searchAndFilter = [&](const std::vector<Vec3f>& search, uint32_t searchStart,
                               uint32_t searchCount, uint32_t queryStart, uint32_t queryCount) {
        NearestTriangleCandidates(s, search, pos, searchStart, searchCount, queryStart, queryCount,
                                  candidates, parallel);
        FilterTriangles(s, pos, candidates, 0, out);
    };
    switch (s.drawBetween) {
        case kAllGroupsLines:
            searchAndFilter(pos, 0, n, 0, n);
            break;
        case kSameGroup:
            for (int32_t g = 1; g <= 10; ++g) {
                const GroupRange r = store.vertexGroups[g];
                if (ValidRange(r, n)) searchAndFilter(pos, r.start, r.count, r.start, r.count);
            }
            break;
        case kOneGroup: {
            const GroupRange a = store.vertexGroups[s.firstGroup];
            if (ValidRange(a, n)) searchAndFilter(pos, a.start, a.count, a.start, a.count);
            break;
        }
        case kTwoGroups: {
            const GroupRange a = store.vertexGroups[s.firstGroup];
            const GroupRange b = store.vertexGroups[s.secondGroup];
            if (ValidRange(a, n) && ValidRange(b, n))
                searchAndFilter(pos, a.start, a.count, b.start, b.count);
            break;
        }
        case kDifferentGroups: {
            // The group's own vertices go to infinity in a copy, so they fall out at the limit
            // test; the copy is made once per group and dropped after its search.
            constexpr float inf = std::numeric_limits<float>::infinity();
            for (int32_t g = 1; g <= 10; ++g) {
                const GroupRange r = store.vertexGroups[g];
                if (!ValidRange(r, n)) continue;
                std::vector<Vec3f> others(pos);
                std::fill(others.begin() + r.start, others.begin() + r.start + r.count,
                          Vec3f{inf, inf, inf});
                searchAndFilter(others, 0, n, r.start, r.count);
            }
            break;
        }
        default:
            break;
    }
}

namespace {

// One triple of one of the two sets being blended.
struct TripleRef {
    const TriangleSet* set;
    size_t index;
    std::array<int32_t, 3> key() const {
        const int32_t* t = &set->triples[3 * index];
        return {t[0], t[1], t[2]};
    }
};

std::vector<TripleRef> SortedRefs(const TriangleSet& s) {
    std::vector<TripleRef> refs(s.size());
    for (size_t i = 0; i < refs.size(); ++i) refs[i] = TripleRef{&s, i};
    std::stable_sort(refs.begin(), refs.end(),
                     [](const TripleRef& x, const TripleRef& y) { return x.key() < y.key(); });
    return refs;
}

}  // namespace

bool BlendTriangles(const TriangleSet& a, const TriangleSet& b, float factorA, float factorB,
                    TriangleSet& out) {
    const std::vector<TripleRef> ra = SortedRefs(a), rb = SortedRefs(b);
    auto less = [](const TripleRef& x, const TripleRef& y) { return x.key() < y.key(); };
    // The common triples taken from each side, and those of one side alone in merged order.
    std::vector<TripleRef> commonA, commonB, alone;
    std::set_intersection(ra.begin(), ra.end(), rb.begin(), rb.end(), std::back_inserter(commonA),
                          less);
    std::set_intersection(rb.begin(), rb.end(), ra.begin(), ra.end(), std::back_inserter(commonB),
                          less);
    std::set_symmetric_difference(ra.begin(), ra.end(), rb.begin(), rb.end(),
                                  std::back_inserter(alone), less);
    if (commonA.size() != commonB.size()) return false;
    auto append = [&out](const TripleRef& r, float opacity) {
        const auto k = r.key();
        out.triples.insert(out.triples.end(), k.begin(), k.end());
        out.opacityFactors.push_back(opacity);
    };
    for (size_t i = 0; i < commonA.size(); ++i) {
        const float opA = a.opacityFactors[commonA[i].index];
        const float opB = b.opacityFactors[commonB[i].index];
        append(commonA[i], (opB - opA) * factorA + opA);
    }
    for (const TripleRef& r : alone) {
        const float fade = r.set == &a ? 1 - factorA : 1 - factorB;
        append(r, r.set->opacityFactors[r.index] * fade);
    }
    return true;
}

}  // namespace tv
