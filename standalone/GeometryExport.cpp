#include "standalone/GeometryExport.h"

#include <charconv>
#include <cmath>

#include "host/RenderPayloads.h"

namespace tv::standalone {

std::string ShortestFloat(float v) {
    if (std::isnan(v)) return "NaN";
    if (std::isinf(v)) return v > 0 ? "Infinity" : "-Infinity";
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
    return std::string(buffer, result.ptr);
}

namespace {

template <class T, class Write>
void Array(std::ostream& out, const char* name, const std::vector<T>& values, Write write,
           bool& first) {
    out << (first ? "" : ",\n") << "  \"" << name << "\": [";
    first = false;
    for (size_t i = 0; i < values.size(); ++i) {
        if (i) out << ", ";
        write(values[i]);
    }
    out << "]";
}

}  // namespace

void WriteGeometryJson(std::ostream& out, const ObjectMessage& message) {
    const GeometryStore& s = *message.geometry;
    auto f = [&out](float v) {
        const std::string t = ShortestFloat(v);
        out << (std::isfinite(v) ? t : "\"" + t + "\"");
    };
    auto v3 = [&](const Vec3f& v) {
        out << "[", f(v.x), out << ", ", f(v.y), out << ", ", f(v.z), out << "]";
    };
    auto c4 = [&](const Color4f& c) {
        out << "[", f(c.r), out << ", ", f(c.g), out << ", ", f(c.b), out << ", ", f(c.a),
            out << "]";
    };
    auto i3 = [&](const Vec3i& v) { out << "[" << v.x << ", " << v.y << ", " << v.z << "]"; };
    out << "{\n";
    bool first = true;
    Array(out, "positions", s.positions, v3, first);
    Array(out, "colors", s.colors, c4, first);
    Array(out, "uvw", s.uvw, v3, first);
    Array(out, "lattice", s.lattice, i3, first);
    Array(out, "blurs", s.blurs, f, first);
    Array(out, "scales", s.scales, f, first);
    Array(out, "normals", s.normals, v3, first);
    Array(out, "faces", s.faces, i3, first);
    Array(out, "faceCentroids", s.faceCentroids, v3, first);
    Array(out, "faceColorsA", s.faceColorsA, c4, first);
    Array(out, "faceColorsB", s.faceColorsB, c4, first);
    Array(out, "faceColorsC", s.faceColorsC, c4, first);
    Array(out, "faceRotations", s.faceRotations, v3, first);
    Array(out, "jitter", s.jitter, v3, first);
    auto groups = [&](const char* name, const std::map<int32_t, GroupRange>& map) {
        out << ",\n  \"" << name << "\": {";
        bool any = false;
        for (const auto& [g, r] : map) {
            out << (any ? ", " : "") << "\"" << g << "\": {\"start\": "
                << (r.start == GroupRange::kUnsetStart ? -1 : int64_t(r.start))
                << ", \"count\": " << r.count << "}";
            any = true;
        }
        out << "}";
    };
    groups("vertexGroups", s.vertexGroups);
    groups("faceGroups", s.faceGroups);
    out << ",\n  \"ranges\": [";
    for (size_t i = 0; i < s.ranges.size(); ++i) {
        const ObjectRange& r = s.ranges[i];
        out << (i ? ", " : "") << "{\"group\": " << r.group << ", \"kind\": " << r.kind
            << ", \"vertexStart\": " << r.vertexStart << ", \"vertexCount\": " << r.vertexCount
            << ", \"faceStart\": " << r.faceStart << ", \"faceCount\": " << r.faceCount
            << ", \"latticeSize\": [" << r.latticeSize[0] << ", " << r.latticeSize[1] << ", "
            << r.latticeSize[2] << "]}";
    }
    out << "],\n  \"renderItems\": [";
    const auto& items = message.renders->items;
    for (size_t i = 0; i < items.size(); ++i) {
        const RenderItem& item = items[i];
        out << (i ? ",\n    " : "\n    ");
        if (item.kind == kRenderPoints) {
            const auto& p = item.as<PointsPayload>();
            out << "{\"kind\": \"points\", \"vertices\": [";
            for (uint32_t k = 0; k < p.vertexCount; ++k) out << (k ? ", " : "") << p.vertices[k];
            out << "], \"size\": ";
            f(p.size);
            out << "}";
        } else if (item.kind == kRenderLines) {
            const auto& p = item.as<LinesPayload>();
            out << "{\"kind\": \"lines\", \"pairs\": [";
            for (uint32_t k = 0; k < p.pairCount; ++k)
                out << (k ? ", " : "") << "[" << p.pairs[k].a << ", " << p.pairs[k].b << "]";
            out << "], \"opacity\": [";
            for (uint32_t k = 0; k < p.pairCount; ++k) out << (k ? ", " : ""), f(p.opacity[k]);
            out << "], \"thickness\": [";
            for (uint32_t k = 0; k < p.pairCount; ++k) out << (k ? ", " : ""), f(p.thickness[k]);
            out << "]}";
        } else {
            out << "{\"kind\": " << item.kind << "}";
        }
    }
    out << "]\n}\n";
}

void WriteGeometryPly(std::ostream& out, const GeometryStore& s) {
    out << "ply\nformat ascii 1.0\ncomment written by tavrin\nelement vertex " << s.positions.size()
        << "\nproperty float x\nproperty float y\nproperty float z\nproperty float nx\nproperty "
           "float "
           "ny\nproperty float nz\nproperty uchar red\nproperty uchar green\nproperty uchar blue\n"
           "property uchar alpha\nelement face "
        << s.faces.size() << "\nproperty list uchar int vertex_indices\nend_header\n";
    auto byte = [](float c) { return int(std::lround(std::fmin(std::fmax(c, 0.0f), 1.0f) * 255)); };
    for (size_t i = 0; i < s.positions.size(); ++i) {
        const Vec3f& p = s.positions[i];
        const Vec3f n = i < s.normals.size() ? s.normals[i] : Vec3f{};
        const Color4f c = i < s.colors.size() ? s.colors[i] : Color4f{1, 1, 1, 1};
        out << ShortestFloat(p.x) << ' ' << ShortestFloat(p.y) << ' ' << ShortestFloat(p.z) << ' '
            << ShortestFloat(n.x) << ' ' << ShortestFloat(n.y) << ' ' << ShortestFloat(n.z) << ' '
            << byte(c.r) << ' ' << byte(c.g) << ' ' << byte(c.b) << ' ' << byte(c.a) << '\n';
    }
    // Faces are stored relative to their source's first vertex: the ranges give the offset.
    for (const ObjectRange& r : s.ranges)
        for (uint32_t f = r.faceStart; f < r.faceStart + r.faceCount && f < s.faces.size(); ++f)
            out << "3 " << s.faces[f].x + int64_t(r.vertexStart) << ' '
                << s.faces[f].y + int64_t(r.vertexStart) << ' '
                << s.faces[f].z + int64_t(r.vertexStart) << '\n';
}

void WriteGeometryCsv(std::ostream& out, const GeometryStore& s) {
    out << "index,x,y,z,r,g,b,a,u,v,w,i,j,k,scale,nx,ny,nz\n";
    for (size_t i = 0; i < s.positions.size(); ++i) {
        const Vec3f& p = s.positions[i];
        const Color4f c = i < s.colors.size() ? s.colors[i] : Color4f{};
        const Vec3f t = i < s.uvw.size() ? s.uvw[i] : Vec3f{};
        const Vec3i l = i < s.lattice.size() ? s.lattice[i] : Vec3i{};
        const float sc = i < s.scales.size() ? s.scales[i] : 1.0f;
        const Vec3f n = i < s.normals.size() ? s.normals[i] : Vec3f{};
        out << i;
        for (float v : {p.x, p.y, p.z, c.r, c.g, c.b, c.a, t.x, t.y, t.z})
            out << ',' << ShortestFloat(v);
        out << ',' << l.x << ',' << l.y << ',' << l.z << ',' << ShortestFloat(sc);
        for (float v : {n.x, n.y, n.z}) out << ',' << ShortestFloat(v);
        out << '\n';
    }
}

}  // namespace tv::standalone
