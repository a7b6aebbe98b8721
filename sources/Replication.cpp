#include "sources/Replication.h"

#include <algorithm>

#include <cmath>

namespace tv {

namespace {

void Identity(float* m) {
    for (int i = 0; i < 16; ++i) m[i] = (i % 5 == 0) ? 1.0f : 0.0f;
}

void Mul(const float* a, const float* b, float* out) {
    float r[16];
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            float sum = 0;
            for (int k = 0; k < 4; ++k) sum += a[i * 4 + k] * b[k * 4 + j];
            r[i * 4 + j] = sum;
        }
    for (int i = 0; i < 16; ++i) out[i] = r[i];
}

// Right-handed rotation about one axis (0 X, 1 Y, 2 Z), row-vector form: for Z the first row is
// (cos, sin, 0).
void AxisRotation(int axis, float radians, float* m) {
    Identity(m);
    const float c = std::cos(radians), s = std::sin(radians);
    const int u = (axis + 1) % 3, v = (axis + 2) % 3;
    m[u * 4 + u] = c;
    m[u * 4 + v] = s;
    m[v * 4 + u] = -s;
    m[v * 4 + v] = c;
}

void Translation(float x, float y, float z, float* m) {
    Identity(m);
    m[12] = x, m[13] = y, m[14] = z;
}

// p * m with w = 1; returns w.
float Apply(const float* m, const float p[3], float out[3]) {
    for (int j = 0; j < 3; ++j)
        out[j] = p[0] * m[j] + p[1] * m[4 + j] + p[2] * m[8 + j] + m[12 + j];
    return p[0] * m[3] + p[1] * m[7] + p[2] * m[11] + m[15];
}

}  // namespace

void ReplicateCopies(int32_t copies, VertexArrays& v) {
    const size_t m = v.vertexCount();
    for (int32_t c = 1; c < copies; ++c) {
        v.positions.insert(v.positions.end(), v.positions.begin(), v.positions.begin() + 3 * m);
        v.colors.insert(v.colors.end(), v.colors.begin(), v.colors.begin() + m);
        v.normals.insert(v.normals.end(), v.normals.begin(), v.normals.begin() + m);
    }
    const size_t n = v.vertexCount();
    v.lattice.resize(n);
    v.uvw.resize(n);
    for (size_t i = 0; i < n; ++i) {
        // The third lattice value is 1, not 0: a single layer counts as one.
        v.lattice[i] = {int32_t(i % m), int32_t(i / m), 1};
        v.uvw[i] = {float(v.lattice[i].x + 1) / float(m), float(v.lattice[i].y + 1) / float(copies),
                    0.0f};
    }
}

void ReplicationMatrix(const ReplicationSettings& s, int32_t k, float out[16]) {
    float e = 0;
    if (s.copies > 1) {
        const float q = float(k) / float(s.copies - 1);
        const float depth = float(s.depth);
        if (s.direction == kReplicatePlusZ)
            e = q * depth;
        else if (s.direction == kReplicateMinusZ)
            e = 0 - q * depth;
        else
            e = q * (depth / 2 - (-depth / 2)) + (-depth / 2);
    }
    // The angle steps by 1 / copies, so the last copy stops short of the end angle.
    constexpr float kDegToRad = 3.14159265358979323846f / 180.0f;
    float angle[3];
    for (int a = 0; a < 3; ++a)
        angle[a] = ((s.end[a] - s.start[a]) * float(k) / float(s.copies) + s.start[a]) * kDegToRad;
    float m[16], r[16];
    Translation(-s.center[0], -s.center[1], -s.center[2], m);
    for (int axis : {2, 1, 0}) {
        AxisRotation(axis, angle[axis], r);
        Mul(m, r, m);
    }
    float shift[3] = {0, 0, 0};
    shift[std::clamp(s.axis, 0, 2)] = e;
    Translation(s.center[0] + shift[0], s.center[1] + shift[1], s.center[2] + shift[2], r);
    Mul(m, r, out);
}

void ReplicateTransform(const ReplicationSettings& s, VertexArrays& v) {
    const size_t n = v.vertexCount();
    if (v.normals.size() != n || v.lattice.size() != n) return;
    float m[16], linear[16];
    int32_t current = -1;
    for (size_t i = 0; i < n; ++i) {
        const int32_t k = v.lattice[i].y;
        if (k != current) {
            ReplicationMatrix(s, k, m);
            for (int j = 0; j < 16; ++j) linear[j] = m[j];
            linear[12] = linear[13] = linear[14] = 0;
            current = k;
        }
        const float p[3] = {float(v.positions[i * 3]), float(v.positions[i * 3 + 1]),
                            float(v.positions[i * 3 + 2])};
        float out[3];
        const float w = Apply(m, p, out);
        for (int j = 0; j < 3; ++j) v.positions[i * 3 + j] = double(out[j] / w);
        const float nin[3] = {v.normals[i].x, v.normals[i].y, v.normals[i].z};
        const float nw = Apply(linear, nin, out);
        Vec3f nn{out[0] / nw, out[1] / nw, out[2] / nw};
        const float len2 = nn.x * nn.x + nn.y * nn.y + nn.z * nn.z;
        if (len2 > 0) {
            const float inv = 1.0f / std::sqrt(len2);
            nn = {nn.x * inv, nn.y * inv, nn.z * inv};
        }
        v.normals[i] = nn;
    }
}

void ReplicationFacets(int32_t m, int32_t copies, std::vector<Vec3i>& faces) {
    if (m < 2 || copies < 2) return;
    for (int32_t b = 0; b + 1 < copies; ++b)
        for (int32_t i = 0; i + 1 < m; ++i) {
            const int32_t a = b * m + i, a2 = a + m;
            if (b % 2 == 0) {
                faces.push_back({a2, a, a + 1});
                faces.push_back({a + 1, a2 + 1, a2});
            } else {
                faces.push_back({a2 + 1, a2, a});
                faces.push_back({a, a + 1, a2 + 1});
            }
        }
}

}  // namespace tv
