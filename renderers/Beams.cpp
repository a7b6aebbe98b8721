#include "renderers/Beams.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/ParamHash.h"
#include "host/Random.h"

namespace tv {

int32_t BeamAxis(int32_t chosen, uint32_t mask) {
    auto has = [mask](int32_t axis) { return (mask >> axis) & 1u; };
    if (chosen >= 0 && chosen <= 2 && has(chosen)) return chosen;
    if (!(mask & 7u)) return -1;
    // The fallback of each axis: Z takes Y, else X; Y takes Z, else X; X takes Y, else Z.
    switch (chosen) {
        case 2:
            return has(1) ? 1 : 0;
        case 1:
            return has(2) ? 2 : 0;
        default:
            return has(1) ? 1 : 2;
    }
}

void AppendRowBeams(const ObjectRange& range, int32_t axis, bool joinEnds, BeamSet& set) {
    const int64_t nx = range.latticeSize[0], ny = range.latticeSize[1], nz = range.latticeSize[2];
    if (nx <= 0 || ny <= 0 || nz <= 0 || axis < 0 || axis > 2) return;
    auto index = [&](int64_t x, int64_t y, int64_t z) {
        return int32_t((z * ny + y) * nx + x + int64_t(range.vertexStart));
    };
    // One row of n points, its k-th point at row(k).
    auto row = [&](int64_t n, auto&& at) {
        for (int64_t k = 0; k < n; ++k) {
            const bool last = k + 1 >= n;
            if (last && !joinEnds) break;
            set.pairs.push_back({at(k), at(last ? 0 : k + 1)});
            set.amounts.push_back(0);
            set.spans.push_back(float(k) / float(n));
            set.spans.push_back(float(k + 1) / float(n));
        }
    };
    if (axis == 0) {
        for (int64_t z = 0; z < nz; ++z)
            for (int64_t y = 0; y < ny; ++y) row(nx, [&](int64_t k) { return index(k, y, z); });
    } else if (axis == 1) {
        for (int64_t z = 0; z < nz; ++z)
            for (int64_t x = 0; x < nx; ++x) row(ny, [&](int64_t k) { return index(x, k, z); });
    } else {
        for (int64_t x = 0; x < nx; ++x)
            for (int64_t y = 0; y < ny; ++y) row(nz, [&](int64_t k) { return index(x, y, k); });
    }
}

void SelectRange(const BeamsRecord& r, size_t first, bool swapPartial, BeamSet& set) {
    const size_t count = set.size() - std::min(first, set.size());
    const double n = double(count);
    const double s = std::clamp(n * r.rangeStart + n * r.rangeOffset, 0.0, n);
    const double e = std::clamp(n * r.rangeOffset + n * r.rangeEnd, 0.0, n);
    const double sFloor = std::floor(s), eCeil = std::ceil(e);
    for (size_t k = 0; k < count; ++k) {
        const double i = double(k);
        double w = (i < sFloor || i >= eCeil) ? -1 : 1;
        // The beam the range starts inside shows its part beyond the start.
        const double intoStart = i - s;
        if (intoStart > -1 && intoStart < 0) {
            w += intoStart;
            if (swapPartial) std::swap(set.pairs[first + k].a, set.pairs[first + k].b);
        }
        // The beam the range ends inside shows its part before the end.
        const double beforeEnd = e - i;
        if (beforeEnd > 0 && beforeEnd < 1) w = beforeEnd;
        set.amounts[first + k] = float(r.time * std::clamp(w, 0.0, 1.0));
    }
}

void ShuffleAmounts(int32_t seed, size_t first, BeamSet& set) {
    if (first >= set.size()) return;
    float* amounts = set.amounts.data() + first;
    const size_t count = set.size() - first;
    auto guard = MTRand_int32::lock();
    MTRand_int32 twister;
    twister.seed(uint32_t(seed));
    for (size_t i = 1; i < count; ++i) {
        const size_t j = twister.next() % (i + 1);
        std::swap(amounts[i], amounts[j]);
    }
}

BeamSet ObjectBeams(const BeamsRecord& r, const GeometryStore& store) {
    BeamSet set;
    for (const ObjectRange& range : store.ranges) {
        if (r.group != kAllGroups && range.group != r.group) continue;
        const int32_t axis = BeamAxis(r.axis - 1, uint32_t(range.kind));
        if (axis < 0) continue;
        const size_t first = set.size();
        AppendRowBeams(range, axis, r.joinEnds, set);
        SelectRange(r, first, true, set);
        if (r.randomize) ShuffleAmounts(r.randomSeed, first, set);
    }
    return set;
}

BeamSet GroupBeams(const BeamsRecord& r, GeometryStore& store) {
    BeamSet set;
    const IndexRange a = GroupVertexRange(store, r.firstGroup);
    const IndexRange b = GroupVertexRange(store, r.secondGroup);
    // On a tie the first group is the shorter one.
    const bool secondIsBig = b.count >= a.count;
    const IndexRange big = secondIsBig ? b : a, small = secondIsBig ? a : b;
    const uint64_t n = big.count, m = small.count;
    // An empty group leaves nothing to join to.
    if (n == 0 || m == 0) return set;
    for (uint64_t i = 0; i < n; ++i) {
        const auto j = int32_t(small.start + (i * m) / n);
        const auto v = int32_t(big.start + i);
        // Beams always run from the second group to the first.
        set.pairs.push_back(secondIsBig ? IndexPair{v, j} : IndexPair{j, v});
        set.amounts.push_back(0);
        set.spans.push_back(0);
        set.spans.push_back(1);
    }
    SelectRange(r, 0, false, set);
    if (r.randomize) ShuffleAmounts(r.randomSeed, 0, set);
    return set;
}

BeamSet BuildBeams(const BeamsRecord& r, GeometryStore& store) {
    return r.beamsType == kBeamsGroups ? GroupBeams(r, store) : ObjectBeams(r, store);
}

uint64_t BeamsHash(const BeamsRecord& r) {
    ParamHasher h(247);
    h.add(r.beamsType)
        .add(r.axis)
        .add(r.linesType)
        .add(r.firstGroup)
        .add(r.secondGroup)
        .add(r.group);
    h.add(r.time).add(r.rangeStart).add(r.rangeEnd).add(r.rangeOffset);
    h.add(r.randomSeed).add(r.bezierPoints).add(r.bezierAxis);
    h.add(r.startCurve).add(r.endCurve).add(r.startThickness).add(r.endThickness);
    for (float c : r.color) h.add(c);
    for (bool b : {r.flipDirection, r.joinEnds, r.randomize, r.getColors, r.getOpacity, r.getScale,
                   r.perspective, r.bezier})
        h.add(int32_t(b));
    return h.value();
}

void FillBeamsPayload(const BeamSet& set, const BeamsRecord& r, BeamsPayload& out) {
    out = BeamsPayload{};
    const size_t n = set.size();
    out.beamCount = uint32_t(n);
    out.pairs = new IndexPair[n];
    out.amounts = new float[n];
    out.spans = new float[2 * n];
    std::copy(set.pairs.begin(), set.pairs.end(), out.pairs);
    std::copy(set.amounts.begin(), set.amounts.end(), out.amounts);
    std::copy(set.spans.begin(), set.spans.end(), out.spans);
    out.startThickness = r.startThickness;
    out.endThickness = r.endThickness;
    out.startCurve = r.startCurve;
    out.endCurve = r.endCurve;
    out.bezierPoints = r.bezierPoints;
    out.bezierAxis = std::clamp(r.bezierAxis - 1, 0, 2);
    std::copy(std::begin(r.color), std::end(r.color), out.color);
    out.perspective = r.perspective;
    out.overrideColor = !r.getColors;
    out.overrideOpacity = !r.getOpacity;
    out.overrideScale = !r.getScale;
    out.flipDirection = r.flipDirection;
    out.bezier = r.bezier;
}

}  // namespace tv
