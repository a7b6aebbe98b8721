#include "sources/ObjGenerate.h"

#include <meshoptimizer.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <limits>

#include "host/Matrix.h"
#include "host/ParamHash.h"
#include "sources/ObjReader.h"

namespace tv {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Degrees to radians as this code has always done it; the rounding is part of the result.
Mat4 DegreesRotation(int axis, double degrees) {
    return AxisRotation(axis, degrees * kPi / 180.0);
}

// Each axis mapped to 0..1 over the mesh's bounds; an axis of no extent gives 0.
void TextureByPosition(ObjMesh& mesh) {
    double boundsMin[3], boundsMax[3];
    for (int a = 0; a < 3; ++a) {
        boundsMin[a] = std::numeric_limits<double>::infinity();
        boundsMax[a] = -std::numeric_limits<double>::infinity();
    }
    for (const auto& p : mesh.positions)
        for (int a = 0; a < 3; ++a) {
            boundsMin[a] = std::min(boundsMin[a], p[a]);
            boundsMax[a] = std::max(boundsMax[a], p[a]);
        }
    mesh.uvw.clear();
    for (const auto& p : mesh.positions) {
        float t[3];
        for (int a = 0; a < 3; ++a) {
            const double extent = boundsMax[a] - boundsMin[a];
            t[a] = extent > 0 ? float((p[a] - boundsMin[a]) / extent) : 0.0f;
        }
        mesh.uvw.push_back({t[0], t[1], t[2]});
    }
}

// p' = p * Rz * Ry * Rx * S * T(center): rotated about the file's origin, scaled, then placed.
void Transform(const ObjSettings& s, ObjMesh& mesh) {
    Mat4 scale, place;
    for (int a = 0; a < 3; ++a) {
        scale.at(a, a) = s.scale[a];
        place.m[12 + a] = s.center[a];
    }
    Mat4 m = Multiply(DegreesRotation(2, s.rotation[2]), DegreesRotation(1, s.rotation[1]));
    m = Multiply(m, DegreesRotation(0, s.rotation[0]));
    m = Multiply(m, scale);
    m = Multiply(m, place);
    Mat4 linear = m;
    linear.m[12] = linear.m[13] = linear.m[14] = 0;
    double out[4];
    for (auto& p : mesh.positions) {
        TransformPoint(m, p.data(), out);
        for (int a = 0; a < 3; ++a) p[a] = out[a] / out[3];
    }
    for (Vec3f& n : mesh.normals) {
        const double in[3] = {n.x, n.y, n.z};
        TransformPoint(linear, in, out);
        n = {float(out[0] / out[3]), float(out[1] / out[3]), float(out[2] / out[3])};
    }
}

template <typename T>
void KeepEvery(std::vector<T>& values, double step) {
    std::vector<T> kept;
    for (double t = 0; t < double(values.size()); t += step) kept.push_back(values[size_t(t)]);
    values.swap(kept);
}

}  // namespace

int32_t ObjSequenceIndex(int64_t frame, int32_t count, int32_t afterSequence) {
    if (count <= 0) return -1;
    const int64_t f = std::max<int64_t>(frame, 0);  // times before the layer's start: first file
    const int64_t n = count;
    switch (afterSequence) {
        case kObjSeqDoNothing:
            return f < n ? int32_t(f) : -1;
        case kObjSeqLoop:
            return int32_t(f % n);
        case kObjSeqPingPong: {
            if (n == 1) return 0;
            const int64_t m = f % (2 * n - 2);
            return int32_t(m < n ? m : 2 * n - m - 2);
        }
        case kObjSeqFreeze:
            return int32_t(f < n ? f : n - 1);
        default:
            return -1;
    }
}

int64_t ThinMesh(ObjMesh& mesh, double resolution) {
    const size_t faceCount = mesh.faces.size();
    const size_t vertexCount = mesh.positions.size();
    const int64_t target = int64_t(double(faceCount) * resolution);
    if (faceCount <= 2 || target == int64_t(faceCount) || vertexCount == 0) return -1;

    std::vector<float> points;
    points.reserve(vertexCount * 3);
    for (const auto& p : mesh.positions)
        for (double v : p) points.push_back(float(v));
    std::vector<unsigned int> indices;
    indices.reserve(faceCount * 3);
    for (const Vec3i& f : mesh.faces)
        for (int32_t i : {f.x, f.y, f.z}) indices.push_back(static_cast<unsigned int>(i));

    // The error bound is the whole mesh: the triangle count alone decides where to stop.
    std::vector<unsigned int> kept(indices.size());
    const size_t targetIndices = size_t(std::max<int64_t>(target, 0)) * 3;
    kept.resize(meshopt_simplify(kept.data(), indices.data(), indices.size(), points.data(),
                                 vertexCount, sizeof(float) * 3, targetIndices, 1.0f, 0, nullptr));

    // Collapses only move onto existing vertices: compacting the survivors keeps their
    // normals and texture coordinates.
    std::vector<unsigned int> remap(vertexCount);
    const size_t survivors =
        meshopt_optimizeVertexFetchRemap(remap.data(), kept.data(), kept.size(), vertexCount);
    meshopt_remapIndexBuffer(kept.data(), kept.data(), kept.size(), remap.data());
    auto compact = [&](auto& values) {
        using T = typename std::decay_t<decltype(values)>::value_type;
        if (values.size() != vertexCount) return;
        std::vector<T> out(survivors);
        if (survivors > 0)
            meshopt_remapVertexBuffer(out.data(), values.data(), vertexCount, sizeof(T),
                                      remap.data());
        values.swap(out);
    };
    compact(mesh.positions);
    compact(mesh.normals);
    compact(mesh.uvw);
    mesh.faces.clear();
    for (size_t i = 0; i + 2 < kept.size(); i += 3)
        mesh.faces.push_back({int32_t(kept[i]), int32_t(kept[i + 1]), int32_t(kept[i + 2])});
    return target;
}

void ThinVertices(ObjMesh& mesh, double resolution) {
    const double step = 1.0 / resolution;
    KeepEvery(mesh.positions, step);
    KeepEvery(mesh.normals, step);
    KeepEvery(mesh.uvw, step);
}

ObjMesh BuildObj(const ObjSettings& s) {
    return BuildObj(s, std::cout);
}

ObjMesh BuildObj(const ObjSettings& s, std::ostream& log) {
    ObjMesh mesh;
    // A failed read adds nothing; a parse error keeps what was read before it.
    ReadObj(s.path, mesh.positions, mesh.faces, mesh.normals, mesh.uvw, log, &mesh.badLines);
    if (!s.importFacets) mesh.faces.clear();
    if (!mesh.faces.empty())
        ThinMesh(mesh, s.resolution);
    else
        ThinVertices(mesh, s.resolution);
    const size_t n = mesh.positions.size();
    for (size_t i = 0; i < n; ++i) mesh.lattice.push_back({int32_t(i), 1, 1});
    if (mesh.uvw.size() != n) TextureByPosition(mesh);
    if (mesh.normals.size() != n) mesh.normals.assign(n, Vec3f{0, -1, 0});
    Transform(s, mesh);
    if (s.textureMode == kObjTexPosition) {
        TextureByPosition(mesh);
    } else if (s.textureMode == kObjTexId) {
        for (size_t i = 0; i < n; ++i) mesh.uvw[i] = {float(double(i) / double(n)), -1, -1};
    }
    return mesh;
}

std::vector<std::string> ObjProblems(const std::string& log, const std::vector<size_t>& badLines) {
    constexpr size_t kNamed = 5;
    std::vector<std::string> out;
    if (!badLines.empty()) {
        std::string text =
            badLines.size() == 1 ? "Incomplete Parse at line " : "Incomplete Parse at lines ";
        const size_t named = std::min(badLines.size(), kNamed);
        for (size_t i = 0; i < named; ++i) {
            if (i > 0) text += i + 1 == named && badLines.size() <= kNamed ? " and " : ", ";
            text += std::to_string(badLines[i]);
        }
        if (badLines.size() > kNamed)
            text += " and " + std::to_string(badLines.size() - kNamed) + " more";
        out.push_back(std::move(text));
    }
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);)
        if (line != "Incomplete Parse" || badLines.empty()) out.push_back(line);
    return out;
}

void AppendObj(const ObjSettings& s, const ObjMesh& mesh, GeometryStore& store) {
    const size_t n = mesh.positions.size();
    for (const auto& p : mesh.positions)
        store.positions.push_back({float(p[0]), float(p[1]), float(p[2])});
    store.colors.insert(store.colors.end(), n,
                        Color4f{s.color[0], s.color[1], s.color[2], s.color[3]});
    store.uvw.insert(store.uvw.end(), mesh.uvw.begin(), mesh.uvw.end());
    store.lattice.insert(store.lattice.end(), mesh.lattice.begin(), mesh.lattice.end());
    store.faces.insert(store.faces.end(), mesh.faces.begin(), mesh.faces.end());
    store.normals.insert(store.normals.end(), mesh.normals.begin(), mesh.normals.end());
    store.vertexPending = static_cast<uint32_t>(n);
    store.facePending = static_cast<uint32_t>(mesh.faces.size());
    ObjectRange range;
    range.group = s.group;
    range.kind = 1;
    range.vertexStart = store.vertexBase;
    range.vertexCount = store.vertexPending;
    range.faceStart = store.faceBase;
    range.faceCount = store.facePending;
    range.latticeSize[0] = int32_t(n);
    range.latticeSize[1] = 1;
    range.latticeSize[2] = 1;
    store.ranges.push_back(range);
}

uint64_t ObjHash(const ObjSettings& s) {
    ParamHasher h(237);
    for (int32_t v : {int32_t(s.uniformScale), int32_t(s.isSequence), s.afterSequence, s.group,
                      int32_t(s.invert[0]), int32_t(s.invert[1]), int32_t(s.invert[2]),
                      s.textureMode, int32_t(s.layerId), int32_t(s.importFacets)})
        h.add(v);
    for (float v : {float(s.scale[0]), float(s.scale[1]), float(s.scale[2]), float(s.rotation[0]),
                    float(s.rotation[1]), float(s.rotation[2]), float(s.resolution), s.center[0],
                    s.center[1], s.center[2], s.color[0], s.color[1], s.color[2], s.color[3]})
        h.add(v);
    h.add(std::string_view(s.path));
    return h.value();
}

ObjStoredPath ParseObjStoredPath(const std::string& text) {
    ObjStoredPath p;
    std::string rest = text;
    // Marks lead the path; records converted from the old format carry them behind it, each
    // on a line of its own.
    for (const auto& [mark, flag] : {std::pair<const char*, bool*>{"|REL|", &p.relative},
                                     {"|SEQ|", &p.sequence},
                                     {"|ALP|", &p.alphabetical}}) {
        const std::string m = mark;
        for (size_t at = rest.find(m); at != std::string::npos; at = rest.find(m)) {
            *flag = true;
            rest.erase(at, m.size());
        }
    }
    rest.erase(std::remove(rest.begin(), rest.end(), '\n'), rest.end());
    p.path = rest;
    return p;
}

std::string FormatObjStoredPath(const ObjStoredPath& p) {
    return std::string(p.relative ? "|REL|" : "") + (p.sequence ? "|SEQ|" : "") +
           (p.alphabetical ? "|ALP|" : "") + p.path;
}

std::vector<std::string> ObjStoredFiles(const ObjStoredPath& p, const std::string& projectFolder) {
    namespace fs = std::filesystem;
    fs::path file = p.path;
    if (p.relative) file = fs::path(projectFolder) / file;
    file = file.lexically_normal();
    if (!p.sequence) return {file.string()};
    std::vector<std::string> files;
    std::error_code error;
    fs::directory_iterator it(file.parent_path().empty() ? fs::path(".") : file.parent_path(),
                              error);
    for (; !error && it != fs::directory_iterator(); it.increment(error)) {
        const std::string ext = it->path().extension().string();
        if ((ext == ".obj" || ext == ".OBJ") && it->is_regular_file(error))
            files.push_back(it->path().lexically_normal().string());
    }
    if (error) return {};
    if (p.alphabetical) std::sort(files.begin(), files.end());
    return files;
}

}  // namespace tv
