#include "sources/PathGenerate.h"

#include <algorithm>
#include <cmath>

#include "host/ParamHash.h"

namespace tv {

namespace {

constexpr int32_t kLengthFrequency = 100;

void Multiply(const double* a, const double* b, double* out) {
    double r[16];
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            double sum = 0;
            for (int k = 0; k < 4; ++k) sum += a[i * 4 + k] * b[k * 4 + j];
            r[i * 4 + j] = sum;
        }
    std::copy(r, r + 16, out);
}

void Identity(double* m) {
    for (int i = 0; i < 16; ++i) m[i] = (i % 5 == 0) ? 1.0 : 0.0;
}

void Translation(double x, double y, double z, double* m) {
    Identity(m);
    m[12] = x, m[13] = y, m[14] = z;
}

// The extrusion of copy k: spread over copies - 1 steps toward +Z, -Z, or both ways.
double ExtrudeOffset(const PathSettings& s, int32_t k) {
    if (s.copies <= 1) return 0;
    const double q = double(k) / double(s.copies - 1);
    if (s.direction == kReplicatePlusZ) return q * s.extrudeDepth;
    if (s.direction == kReplicateMinusZ) return -q * s.extrudeDepth;
    return q * s.extrudeDepth - s.extrudeDepth / 2;
}

}  // namespace

std::vector<PathSample> SamplePath(const BezierPath& path, bool subdivide, int32_t pointsPerMask,
                                   double scaleX, double scaleY) {
    std::vector<PathSample> out;
    const int32_t segments = PathSegmentCount(path);
    if (path.vertices.empty()) return out;
    if (!subdivide) {
        // Vertex 0 to the segment count inclusive; a closed path's last repeats its first.
        const int32_t n = static_cast<int32_t>(path.vertices.size());
        for (int32_t which = 0; which <= segments; ++which) {
            const PathVertex& v = path.vertices[size_t(which % n)];
            out.push_back({v.x * scaleX, v.y * scaleY, int32_t(out.size())});
        }
        if (path.closed && out.size() > 1) out.pop_back();
        return out;
    }
    if (segments == 0) {
        const PathVertex& v = path.vertices[0];
        out.push_back({v.x * scaleX, v.y * scaleY, 0});
        return out;
    }
    std::vector<SegmentLengths> lengths;
    lengths.reserve(size_t(segments));
    double total = 0;
    for (int32_t seg = 0; seg < segments; ++seg) {
        lengths.push_back(PrepareSegmentLength(path, seg, kLengthFrequency));
        total += lengths.back().length();
    }
    const int32_t wanted = std::max(pointsPerMask, 1);
    const double spacing = total / wanted;
    double carry = 0;
    auto add = [&](double x, double y) {
        out.push_back({x * scaleX, y * scaleY, int32_t(out.size())});
    };
    if (spacing > 0) {
        for (int32_t seg = 0; seg < segments; ++seg) {
            const double s = lengths[size_t(seg)].length();
            double d = spacing - carry;
            if (float(d) < 0.0f) d = 0;
            if (d >= s) {
                carry = spacing - (d - s);
                continue;
            }
            double last = d;
            for (double at = d; at <= s; at += spacing) {
                double x = 0, y = 0;
                EvalSegmentAt(path, seg, lengths[size_t(seg)], at, x, y);
                add(x, y);
                last = at;
            }
            carry = s - last;
        }
    }
    // The path's end point closes the walk; surplus points come off the end.
    double x = 0, y = 0;
    SegmentPoint(path, segments - 1, 1.0, x, y);
    add(x, y);
    if (total > 0 && int32_t(out.size()) > wanted) out.resize(size_t(wanted));
    return out;
}

void PathCopyMatrix(const PathSettings& s, int32_t k, const double boxCenter[2], double out[16]) {
    const double copies = double(std::max(s.copies, 1));
    constexpr double kDegToRad = 3.14159265358979323846 / 180.0;
    double a[3];
    for (int i = 0; i < 3; ++i)
        a[i] = (double(s.endAngle[i] - s.startAngle[i]) * k / copies + s.startAngle[i]) * kDegToRad;
    const double scale = double(s.endScale - s.startScale) * k / copies + s.startScale;
    const double cx = std::cos(a[0]), sx = std::sin(a[0]);
    const double cy = std::cos(a[1]), sy = std::sin(a[1]);
    const double cz = std::cos(a[2]), sz = std::sin(a[2]);
    const double r[16] = {cz * cy,
                          sz * cy,
                          -sy,
                          0,
                          sy * cz * sx - sz * cx,
                          sz * sy * sx + cz * cx,
                          sx * cy,
                          0,
                          sy * cz * cx + sz * sx,
                          sz * sy * cx - sx * cz,
                          cy * cx,
                          0,
                          0,
                          0,
                          0,
                          1};
    const double* rc = s.rotationCenter;
    double m[16], t[16];
    Translation(-rc[0], -rc[1], -rc[2], m);
    Multiply(m, r, m);
    Translation(rc[0] - boxCenter[0], rc[1] - boxCenter[1], rc[2], t);
    Multiply(m, t, m);
    double sc[16];
    Identity(sc);
    sc[0] = sc[5] = scale;
    Multiply(m, sc, m);
    Translation(boxCenter[0], boxCenter[1], ExtrudeOffset(s, k), t);
    Multiply(m, t, out);
}

void PathRibbon(int32_t m, int32_t copies, bool closed, int32_t base, std::vector<Vec3i>& faces) {
    if (m < 2 || copies < 2) return;
    const int32_t rEnd = closed ? m : m - 1, qEnd = closed ? copies : copies - 1;
    auto index = [&](int32_t x, int32_t y) { return base + (y % copies) * m + (x % m); };
    for (int32_t q = 0; q < qEnd; ++q)
        for (int32_t r = 0; r < rEnd; ++r) {
            const int32_t A = index(r, q + 1), B = index(r, q), C = index(r + 1, q),
                          D = index(r + 1, q + 1);
            if (q % 2 == 0) {
                faces.push_back({A, B, C});
                faces.push_back({C, D, A});
            } else {
                faces.push_back({A, B, D});
                faces.push_back({C, D, B});
            }
        }
}

PathObject BuildPathObject(const PathSettings& s, const std::vector<PathInput>& paths) {
    PathObject o;
    const int32_t copies = std::max(s.copies, 1);
    for (const PathInput& in : paths) {
        const std::vector<PathSample> samples =
            SamplePath(in.path, s.subdivide, s.pointsPerMask, s.scaleX, s.scaleY);
        if (samples.empty()) continue;
        const auto m = static_cast<int32_t>(samples.size());
        double minX = samples[0].x, maxX = minX, minY = samples[0].y, maxY = minY;
        for (const PathSample& p : samples) {
            minX = std::min(minX, p.x), maxX = std::max(maxX, p.x);
            minY = std::min(minY, p.y), maxY = std::max(maxY, p.y);
            o.capOutline.push_back(p.x);
            o.capOutline.push_back(p.y);
        }
        const double box[2] = {(minX + maxX) * 0.5, (minY + maxY) * 0.5};
        const auto base = static_cast<int32_t>(o.v.vertexCount());
        for (int32_t k = 0; k < copies; ++k) {
            double mat[16];
            PathCopyMatrix(s, k, box, mat);
            for (int32_t i = 0; i < m; ++i) {
                const PathSample& p = samples[size_t(i)];
                for (int j = 0; j < 3; ++j)
                    o.v.positions.push_back(p.x * mat[j] + p.y * mat[4 + j] + mat[12 + j]);
                // The normal (0, -1, 0) through the linear part, made unit length.
                Vec3f n{float(-mat[4]), float(-mat[5]), float(-mat[6])};
                const float len2 = n.x * n.x + n.y * n.y + n.z * n.z;
                if (len2 > 0) {
                    const float inv = 1.0f / std::sqrt(len2);
                    n = {n.x * inv, n.y * inv, n.z * inv};
                }
                o.v.normals.push_back(n);
                o.v.colors.push_back(in.color);
                const int32_t x = s.eachMaskSeparate ? p.index : i;
                o.v.lattice.push_back({x, k, 1});
                o.v.uvw.push_back({s.eachMaskSeparate ? 0.0f : float(i) / float(m),
                                   float(k) / float(copies), 0.0f});
            }
        }
        if (s.generateFacets) PathRibbon(m, copies, in.path.closed, base, o.v.faces);
        o.contours.push_back({uint32_t(base), uint32_t(m * copies), uint32_t(m), in.path.closed});
    }
    if (s.generateCaps) PathCaps(s, o);
    return o;
}

void AppendPathObject(const PathSettings& s, const PathObject& object, GeometryStore& store) {
    const VertexArrays& v = object.v;
    const size_t n = v.vertexCount();
    for (size_t i = 0; i < n; ++i)
        store.positions.push_back({float(v.positions[i * 3]), float(v.positions[i * 3 + 1]),
                                   float(v.positions[i * 3 + 2])});
    store.colors.insert(store.colors.end(), v.colors.begin(), v.colors.end());
    store.uvw.insert(store.uvw.end(), v.uvw.begin(), v.uvw.end());
    store.lattice.insert(store.lattice.end(), v.lattice.begin(), v.lattice.end());
    store.faces.insert(store.faces.end(), v.faces.begin(), v.faces.end());
    store.normals.insert(store.normals.end(), v.normals.begin(), v.normals.end());
    store.vertexPending = static_cast<uint32_t>(n);
    store.facePending = static_cast<uint32_t>(v.faces.size());
    const int32_t copies = std::max(s.copies, 1);
    ObjectRange range;
    range.group = s.group;
    range.kind = static_cast<int32_t>(s.dimensionMask());
    range.vertexStart = store.vertexBase;
    range.vertexCount = store.vertexPending;
    range.faceStart = store.faceBase;
    range.faceCount = store.facePending;
    range.latticeSize[0] = static_cast<int32_t>(n) / copies;
    range.latticeSize[1] = copies;
    range.latticeSize[2] = 1;
    store.ranges.push_back(range);
}

uint64_t PathHash(const PathSettings& s, const PathObject& object) {
    ParamHasher h(121);
    for (int32_t v : {s.copies, s.direction, int32_t(s.getColor), int32_t(s.getOpacity),
                      int32_t(s.getText), int32_t(s.isTextLayer), int32_t(s.eachMaskSeparate),
                      s.pointsPerMask, s.group, int32_t(s.generateFacets), int32_t(s.generateCaps)})
        h.add(v);
    for (float v : {float(s.extrudeDepth), s.startAngle[0], s.endAngle[0], s.startAngle[1],
                    s.endAngle[1], s.startAngle[2], s.endAngle[2], s.startScale, s.endScale,
                    float(s.rotationCenter[0]), float(s.rotationCenter[1]),
                    float(s.rotationCenter[2]), s.color[0], s.color[1], s.color[2], s.color[3]})
        h.add(v);
    h.add(std::string_view(s.namePrefix));
    h.add(int32_t(s.subdivide));
    // Every point as sampled: a changed mask or text changes the hash.
    const size_t n = object.v.vertexCount();
    for (size_t i = 0; i < n; ++i) {
        for (int j = 0; j < 3; ++j) h.add(object.v.positions[i * 3 + size_t(j)]);
        const Color4f& c = object.v.colors[i];
        h.add(c.r).add(c.g).add(c.b).add(c.a);
        const Vec3i& l = object.v.lattice[i];
        h.add(l.x).add(l.y).add(l.z);
    }
    return h.value();
}

}  // namespace tv
