#include "host/GeometryStore.h"

#include <cmath>

#include <cstddef>
#include <mutex>
#include <shared_mutex>

#include "host/Noise.h"

namespace tv {

using std::size_t;

namespace {

size_t FacesInRanges(const GeometryStore& store) {
    size_t faces = 0;
    for (const ObjectRange& range : store.ranges) faces += range.faceCount;
    return faces;
}

IndexRange LookupRange(std::map<int32_t, GroupRange>& groups, int32_t group, size_t whole) {
    if (group == kAllGroups) return IndexRange{0, static_cast<uint32_t>(whole)};
    // Get-or-insert: a group no source filled gains an unset, empty entry.
    const GroupRange& range = groups[group];
    if (range.start == GroupRange::kUnsetStart) return IndexRange{0, 0};
    return IndexRange{range.start, range.count};
}

}  // namespace

IndexRange GroupVertexRange(GeometryStore& store, int32_t group) {
    return LookupRange(store.vertexGroups, group, store.positions.size());
}

IndexRange GroupFaceRange(GeometryStore& store, int32_t group) {
    return LookupRange(store.faceGroups, group, store.faces.size());
}

std::vector<Vec3f> FaceNormals(const GeometryStore& store) {
    std::vector<Vec3f> out(store.faces.size(), Vec3f{});
    const size_t n = store.positions.size();
    for (const ObjectRange& range : store.ranges) {
        for (uint32_t f = range.faceStart;
             f < range.faceStart + range.faceCount && f < store.faces.size(); ++f) {
            const Vec3i& face = store.faces[f];
            const int64_t ia = int64_t(face.x) + range.vertexStart;
            const int64_t ib = int64_t(face.y) + range.vertexStart;
            const int64_t ic = int64_t(face.z) + range.vertexStart;
            if (ia < 0 || ib < 0 || ic < 0 || size_t(ia) >= n || size_t(ib) >= n || size_t(ic) >= n)
                continue;
            const Vec3f &a = store.positions[size_t(ia)], &b = store.positions[size_t(ib)],
                        &c = store.positions[size_t(ic)];
            const double u[3] = {b.x - a.x, b.y - a.y, b.z - a.z};
            const double v[3] = {c.x - a.x, c.y - a.y, c.z - a.z};
            const double x = u[1] * v[2] - u[2] * v[1], y = u[2] * v[0] - u[0] * v[2],
                         z = u[0] * v[1] - u[1] * v[0];
            const double len = std::sqrt(x * x + y * y + z * z);
            if (len > 0) out[f] = {float(x / len), float(y / len), float(z / len)};
        }
    }
    return out;
}

bool ComputeFaceCentroids(GeometryStore& store) {
    const size_t n = store.positions.size();
    bool complete = true;
    store.faceCentroids.reserve(store.faceCentroids.size() + FacesInRanges(store));
    for (const ObjectRange& range : store.ranges) {
        for (uint32_t f = range.faceStart; f < range.faceStart + range.faceCount; ++f) {
            const Vec3i& face = store.faces.at(f);
            const int64_t a = int64_t(face.x) + range.vertexStart;
            const int64_t b = int64_t(face.y) + range.vertexStart;
            const int64_t c = int64_t(face.z) + range.vertexStart;
            if (a < 0 || b < 0 || c < 0 || size_t(a) >= n || size_t(b) >= n || size_t(c) >= n) {
                complete = false;  // a corner outside the store: no centroid
                continue;
            }
            const Vec3f& p0 = store.positions[size_t(a)];
            const Vec3f& p1 = store.positions[size_t(b)];
            const Vec3f& p2 = store.positions[size_t(c)];
            // Summed in the order of corners 1, 0, 2, in single precision.
            const float third = 0.33333334f;
            store.faceCentroids.push_back(Vec3f{(p1.x + p0.x + p2.x) * third,
                                                (p1.y + p0.y + p2.y) * third,
                                                (p1.z + p0.z + p2.z) * third});
        }
    }
    return complete;
}

void ComputeFaceColors(GeometryStore& store) {
    // Every face gets its three colours, even one that got no centroid, so that the colour
    // arrays line up with the faces; a corner outside the colours reads as transparent black
    // rather than past the array.
    auto colorAt = [&](int64_t i) {
        return i >= 0 && size_t(i) < store.colors.size() ? store.colors[size_t(i)] : Color4f{};
    };
    const size_t faces = FacesInRanges(store);
    for (auto* colors : {&store.faceColorsA, &store.faceColorsB, &store.faceColorsC})
        colors->reserve(colors->size() + faces);
    for (const ObjectRange& range : store.ranges) {
        for (uint32_t f = range.faceStart; f < range.faceStart + range.faceCount; ++f) {
            const Vec3i& face = store.faces.at(f);
            store.faceColorsA.push_back(colorAt(face.x + int64_t(range.vertexStart)));
            store.faceColorsB.push_back(colorAt(face.y + int64_t(range.vertexStart)));
            store.faceColorsC.push_back(colorAt(face.z + int64_t(range.vertexStart)));
        }
    }
}

void ResetFaceRotations(GeometryStore& store) {
    store.faceRotations.clear();
    store.faceRotations.resize(store.faces.size(), Vec3f{});
}

void FillScales(GeometryStore& store) {
    // A source that sets sizes of its own (the instances source without "Get Scale From
    // Vertices") has written them; every other vertex starts at 1.
    store.scales.resize(store.positions.size(), 1.0f);
}

namespace {

// A vertex's jitter depends on its index alone, so the values are worked out once per process,
// up to the largest vertex count met so far, and every later store copies them.
struct JitterTable {
    std::shared_mutex mutex;
    std::vector<Vec3f> values;
};

JitterTable& SharedJitter() {
    static JitterTable table;
    return table;
}

}  // namespace

void ComputeJitter(GeometryStore& store) {
    // Made every time: its table comes from the shared twister, which it leaves seeded and drawn
    // the same way whether or not the values below are new.
    const Perlin noise(3, 12);
    const size_t n = store.positions.size();
    JitterTable& table = SharedJitter();
    {
        std::shared_lock lock(table.mutex);
        if (table.values.size() >= n) {
            store.jitter.assign(table.values.begin(), table.values.begin() + ptrdiff_t(n));
            return;
        }
    }
    std::unique_lock lock(table.mutex);
    table.values.reserve(n);
    for (size_t i = table.values.size(); i < n; ++i) {
        const float x = static_cast<float>(double(i) * 0.1 + 0.1235);
        const float v = noise.fbm1(x) * 0.1f;
        table.values.push_back(Vec3f{v, v * 0.5f, static_cast<float>(v * 3.0 * 0.5)});
    }
    store.jitter.assign(table.values.begin(), table.values.begin() + ptrdiff_t(n));
}

}  // namespace tv
