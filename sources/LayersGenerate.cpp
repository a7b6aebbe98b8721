#include "sources/LayersGenerate.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/ParamHash.h"

namespace tv {

namespace {

bool NameBeginsWith(const std::string& name, const std::string& prefix) {
    return name.size() >= prefix.size() &&
           std::memcmp(name.data(), prefix.data(), prefix.size()) == 0;
}

// Row-vector point through a row-major 4 x 4 matrix, w taken as 1.
void ThroughMatrix(const double m[16], const double p[3], double out[3]) {
    for (int j = 0; j < 3; ++j)
        out[j] = p[0] * m[j] + p[1] * m[4 + j] + p[2] * m[8 + j] + m[12 + j];
}

struct Found {
    double position[3] = {0, 0, 0};
    Color4f color{1, 1, 1, 1};
    Vec3f normal{0, -1, 0};
    double target[3] = {0, 0, 0};
};

// A light of the wanted type, on, present and named right; false to skip it.
bool ReadLight(HostServices& host, AEGP_LayerH l, const A_Time& time, const LayersSettings& s,
               Found& f) {
    if (host.layerObjectType(l) != AEGP_ObjectType_LIGHT) return false;
    const int32_t wanted = s.lightType == kLayersPointLights  ? AEGP_LightType_POINT
                           : s.lightType == kLayersSpotLights ? AEGP_LightType_SPOT
                                                              : -1;
    if (host.layerLightType(l) != wanted) return false;
    if (!(host.layerFlags(l) & AEGP_LayerFlag_VIDEO_ACTIVE)) return false;
    if (!host.layerActiveAtTime(l, time)) return false;
    if (!NameBeginsWith(host.layerName(l), s.namePrefix)) return false;
    double m[16];
    host.layerToWorldXform(l, time, m);
    for (int j = 0; j < 3; ++j) f.position[j] = m[12 + j];
    double v[4];
    host.layerStreamValue(l, 17, time, v);
    f.color = {float(v[0]), float(v[1]), float(v[2]), 1};
    host.layerStreamValue(l, 16, time, v);
    f.color.a = std::clamp(float(v[0] / 100.0), 0.0f, 1.0f);
    if (wanted == AEGP_LightType_SPOT) {
        // The point of interest lives in the parent's space.
        host.layerStreamValue(l, 0, time, v);
        const double poi[3] = {v[0], v[1], v[2]};
        std::copy(poi, poi + 3, f.target);
        if (const AEGP_LayerH parent = host.layerParent(l)) {
            double pm[16];
            host.layerToWorldXform(parent, time, pm);
            ThroughMatrix(pm, poi, f.target);
        }
        f.normal = {0, 0, 0};  // set toward the target later
    }
    return true;
}

// A 3D AV or text layer of the wanted kind, on, present and named right; false to skip it.
bool Read3DLayer(HostServices& host, AEGP_LayerH l, const A_Time& time, const LayersSettings& s,
                 Found& f) {
    const int32_t type = host.layerObjectType(l);
    if (type != AEGP_ObjectType_AV && type != AEGP_ObjectType_TEXT) return false;
    const uint32_t flags = host.layerFlags(l);
    if (!(flags & AEGP_LayerFlag_LAYER_IS_3D) || !(flags & AEGP_LayerFlag_VIDEO_ACTIVE))
        return false;
    if (!host.layerActiveAtTime(l, time)) return false;
    if (!NameBeginsWith(host.layerName(l), s.namePrefix)) return false;
    const bool isNull = (flags & AEGP_LayerFlag_NULL_LAYER) != 0;
    if (s.layerType == kLayersNulls && !isNull) return false;
    if (s.layerType == kLayersAV && isNull) return false;
    double m[16];
    host.layerToWorldXform(l, time, m);
    double v[4];
    host.layerStreamValue(l, 0, time, v);
    const double anchor[3] = {v[0], v[1], v[2]};
    ThroughMatrix(m, anchor, f.position);
    // The layer's own Z axis as the world sees it.
    const double z[3] = {m[8], m[9], m[10]};
    const double len = std::sqrt(z[0] * z[0] + z[1] * z[1] + z[2] * z[2]);
    f.normal = len > 0 ? Vec3f{float(z[0] / len), float(z[1] / len), float(z[2] / len)}
                       : Vec3f{float(z[0]), float(z[1]), float(z[2])};
    f.color = {1, 1, 1, 1};
    const AEGP_ItemH item = host.layerSourceItem(l);
    if (item && host.itemType(item) == AEGP_ItemType_SOLID) {
        float rgb[3];
        host.itemSolidColor(item, rgb);
        f.color = {rgb[0], rgb[1], rgb[2], 1};
    }
    host.layerStreamValue(l, 4, time, v);
    f.color.a = float(v[0] / 100.0);  // not clamped
    return true;
}

void NormalsToTargets(GatheredLayers& g) {
    const size_t n = g.base.vertexCount();
    for (size_t i = 0; i < n; ++i) {
        double d[3];
        for (int j = 0; j < 3; ++j)
            d[j] = double(float(g.targets[i * 3 + j]) - float(g.base.positions[i * 3 + j]));
        const double len = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        if (len > 0)
            for (double& c : d) c /= len;
        g.base.normals[i] = {float(d[0]), float(d[1]), float(d[2])};
    }
}

}  // namespace

PF_Err GatherLayers(HostServices& host, AEGP_CompH comp, const A_Time& time,
                    const LayersSettings& s, GatheredLayers& out) {
    const bool lights = s.objectType == kLayersLights;
    if (!lights && s.objectType != kLayers3D) return PF_Err_NONE;
    if (!lights && s.layerType != kLayersNulls && s.layerType != kLayersAV &&
        s.layerType != kLayersAll3D)
        return PF_Err_NONE;  // the separator row selects nothing
    try {
        const int32_t count = host.compNumLayers(comp);
        for (int32_t i = 0; i < count; ++i) {
            const AEGP_LayerH l = host.compLayerByIndex(comp, i);
            Found f;
            if (!(lights ? ReadLight(host, l, time, s, f) : Read3DLayer(host, l, time, s, f)))
                continue;
            out.base.positions.insert(out.base.positions.end(), f.position, f.position + 3);
            out.base.colors.push_back(f.color);
            out.base.normals.push_back(f.normal);
            if (lights && s.lightType == kLayersSpotLights)
                out.targets.insert(out.targets.end(), f.target, f.target + 3);
        }
    } catch (const HostErrorCode& e) {
        return e.code;
    }
    return PF_Err_NONE;
}

void BetweenLights(const LayersSettings& s, GatheredLayers& g) {
    if (!s.spotLights()) return;
    const size_t n = g.base.vertexCount();
    if (g.base.normals.size() != n || g.base.colors.size() != n || g.targets.size() != n * 3)
        return;
    const int32_t S = int32_t(n) - 1;
    if (S < 1 || !s.betweenLights) {
        NormalsToTargets(g);
        return;
    }
    const std::vector<double>& P = g.base.positions;
    const std::vector<double>& T = g.targets;
    const std::vector<Color4f>& C = g.base.colors;
    VertexArrays curve;
    const int32_t base = s.betweenCount / S;
    const int32_t remainder = s.betweenCount - base * S;
    for (int32_t seg = 0; seg < S; ++seg) {
        // The last `remainder` segments take one vertex more.
        const int32_t m = base + (seg > S - remainder - 1 ? 1 : 0);
        // The last segment spreads over 0..1 inclusive so that it ends on the last light.
        const int32_t denom = seg == S - 1 ? m - 1 : m;
        const size_t a = size_t(seg) * 3, b = a + 3;
        for (int32_t i = 0; i < m; ++i) {
            const double t = i == 0 ? 0.0 : double(i) / double(denom);
            const double u = 1 - t;
            for (int j = 0; j < 3; ++j) {
                // The second control point mirrors the next light's target through that light.
                const double D = 2 * P[b + size_t(j)] - T[b + size_t(j)];
                curve.positions.push_back(u * u * u * P[a + size_t(j)] +
                                          3 * t * u * u * T[a + size_t(j)] + 3 * t * t * u * D +
                                          t * t * t * P[b + size_t(j)]);
            }
            const Color4f& c0 = C[size_t(seg)];
            const Color4f& c1 = C[size_t(seg) + 1];
            const float tf = float(t);
            curve.colors.push_back({c0.r + (c1.r - c0.r) * tf, c0.g + (c1.g - c0.g) * tf,
                                    c0.b + (c1.b - c0.b) * tf, c0.a + (c1.a - c0.a) * tf});
            curve.normals.push_back({0, -1, 0});
        }
    }
    while (curve.colors.size() > size_t(std::max(s.betweenCount, 0))) {
        curve.positions.resize(curve.positions.size() - 3);
        curve.colors.pop_back();
        curve.normals.pop_back();
    }
    g.base = std::move(curve);
}

VertexArrays BuildLayers(const LayersSettings& s, VertexArrays v) {
    const int32_t copies = std::max(s.replication.copies, 1);
    const int32_t perCopy = int32_t(v.vertexCount());
    ReplicateCopies(copies, v);
    ReplicateTransform(s.replication, v);
    for (Color4f& c : v.colors) {
        if (!s.getColor) c.r = s.color[0], c.g = s.color[1], c.b = s.color[2];
        if (!s.getOpacity) c.a = s.color[3];
    }
    if (s.generateFacets) ReplicationFacets(perCopy, copies, v.faces);
    return v;
}

void AppendLayers(const LayersSettings& s, const VertexArrays& v, GeometryStore& store) {
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
    const int32_t copies = std::max(s.replication.copies, 1);
    ObjectRange range;
    range.group = s.group;
    range.kind = n == 1 ? 0 : static_cast<int32_t>(s.dimensionMask());
    range.vertexStart = store.vertexBase;
    range.vertexCount = store.vertexPending;
    range.faceStart = store.faceBase;
    range.faceCount = store.facePending;
    range.latticeSize[0] = static_cast<int32_t>(n) / copies;
    range.latticeSize[1] = copies;
    range.latticeSize[2] = 1;
    store.ranges.push_back(range);
}

std::string LayersNameLabel(int32_t objectType, const std::string& prefix) {
    if (!prefix.empty()) return prefix;
    return objectType == kLayersLights ? "<All Lights>" : "<All Layers>";
}

uint64_t LayersHash(const LayersSettings& s, const VertexArrays& base) {
    const ReplicationSettings& r = s.replication;
    ParamHasher h(64);
    for (float v :
         {float(r.depth), r.start[0], r.end[0], r.start[1], r.end[1], r.start[2], r.end[2],
          r.center[0], r.center[1], r.center[2], s.color[0], s.color[1], s.color[2], s.color[3]})
        h.add(v);
    for (int32_t v : {r.copies, r.direction, int32_t(s.getColor), int32_t(s.getOpacity),
                      s.objectType, s.layerType, s.lightType, s.group, int32_t(s.generateFacets),
                      int32_t(s.betweenLights), s.betweenCount})
        h.add(v);
    h.add(std::string_view(s.namePrefix));
    const size_t n = base.vertexCount();
    for (size_t i = 0; i < n; ++i) {
        for (int j = 0; j < 3; ++j) h.add(base.positions[i * 3 + size_t(j)]);
        if (i < base.colors.size()) {
            const Color4f& c = base.colors[i];
            h.add(c.r).add(c.g).add(c.b).add(c.a);
        }
        if (i < base.normals.size()) {
            const Vec3f& nn = base.normals[i];
            h.add(nn.x).add(nn.y).add(nn.z);
        }
    }
    return h.value();
}

}  // namespace tv
