// Reading a large OBJ file: our reader against tinyobjloader (double precision build) on the
// same file in the same run. The file is a 1000 x 1000 grid written once into the temporary
// folder: 1M `v`, 1M `vt` and 1M `vn` lines, each row's vertices followed by the faces of the
// strip it closes (2M triangles), every face in the `v/vt/vn` form, every other strip with
// negative (relative) indices. Positions are halves, which both readers convert exactly, so
// positions and faces must come out identical (the case fails otherwise); texture coordinates
// and normals carry six decimals and are compared as the floats our reader hands out. The
// comparison runs with the peer's case.
#include <benchmark/benchmark.h>
#include <tiny_obj_loader.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "PeakMemory.h"
#include "sources/ObjReader.h"

namespace {

constexpr int kSide = 1000;  // vertices per row and rows

void Put(std::string& out, long value) {
    char buf[24];
    out.append(buf, std::to_chars(buf, buf + sizeof buf, value).ptr);
}

// A half as the shortest text: "12", "-3.5".
void PutHalf(std::string& out, long halves) {
    if (halves < 0) {
        out += '-';
        halves = -halves;
    }
    Put(out, halves / 2);
    if (halves % 2) out += ".5";
}

void PutSix(std::string& out, double v) {
    char buf[32];
    out.append(buf, std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed, 6).ptr);
}

void PutCorner(std::string& out, long index) {
    out += ' ';
    Put(out, index);
    out += '/';
    Put(out, index);
    out += '/';
    Put(out, index);
}

// Writes the grid; returns the file's size in bytes.
size_t WriteGrid(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    size_t bytes = 0;
    std::string out = "# grid for the reader benchmark\no grid\n";
    auto flush = [&] {
        bytes += std::fwrite(out.data(), 1, out.size(), f);
        out.clear();
    };
    for (long r = 0; r < kSide; ++r) {
        for (long c = 0; c < kSide; ++c) {
            out += "v ";
            PutHalf(out, c - kSide / 2);
            out += ' ';
            PutHalf(out, (r * 37 + c * 101) % 401 - 200);
            out += ' ';
            PutHalf(out, r - kSide / 2);
            out += '\n';
        }
        for (long c = 0; c < kSide; ++c) {
            out += "vt ";
            PutSix(out, double(c) / (kSide - 1));
            out += ' ';
            PutSix(out, double(r) / (kSide - 1));
            out += '\n';
        }
        for (long c = 0; c < kSide; ++c) {
            const double a = 0.001 * double(c + 3 * r), len = std::sqrt(1 + 2 * a * a);
            out += "vn ";
            PutSix(out, a / len);
            out += ' ';
            PutSix(out, 1 / len);
            out += ' ';
            PutSix(out, -a / len);
            out += '\n';
        }
        if (r > 0) {
            // One-based indices of this strip's corners; relative ones count back from the
            // vertices written so far.
            const long written = (r + 1) * kSide;
            const bool relative = r % 2 == 1;
            for (long c = 0; c + 1 < kSide; ++c) {
                const long a = (r - 1) * kSide + c + 1, b = a + 1, d = a + kSide, e = d + 1;
                const long faces[2][3] = {{a, b, e}, {a, e, d}};
                for (const auto& tri : faces) {
                    out += 'f';
                    for (long i : tri) PutCorner(out, relative ? i - written - 1 : i);
                    out += '\n';
                }
            }
        }
        flush();
    }
    flush();
    std::fclose(f);
    return bytes;
}

struct GridFile {
    std::string path;
    size_t bytes = 0;
    GridFile() {
        path = (std::filesystem::temp_directory_path() /
                ("tavrin-obj-bench-" + std::to_string(getpid()) + ".obj"))
                   .string();
        bytes = WriteGrid(path);
    }
    ~GridFile() { std::filesystem::remove(path); }
};

const GridFile& Grid() {
    static const GridFile file;
    return file;
}

struct OursResult {
    bool ok = false;
    std::vector<std::array<double, 3>> positions;
    std::vector<tv::Vec3i> faces;
    std::vector<tv::Vec3f> normals, tex;
};

OursResult ReadOurs(const std::string& path) {
    OursResult r;
    r.ok = tv::ReadObj(path, r.positions, r.faces, r.normals, r.tex);
    return r;
}

struct PeerResult {
    bool ok = false;
    tinyobj::attrib_t attrib;
    std::vector<tinyobj::shape_t> shapes;
};

PeerResult ReadPeer(const std::string& path) {
    PeerResult r;
    std::vector<tinyobj::material_t> materials;
    std::string warn, err;
    r.ok = tinyobj::LoadObj(&r.attrib, &r.shapes, &materials, &warn, &err, path.c_str());
    return r;
}

// Empty when both readers agree, else what differs.
std::string Compare(const OursResult& ours, const PeerResult& peer) {
    if (!ours.ok || !peer.ok) return "a reader failed";
    const std::vector<double>& v = peer.attrib.vertices;
    if (v.size() != 3 * ours.positions.size()) return "position counts differ";
    for (size_t i = 0; i < ours.positions.size(); ++i)
        for (size_t k = 0; k < 3; ++k)
            if (ours.positions[i][k] != v[3 * i + k]) return "positions differ";
    size_t corners = 0;
    for (const tinyobj::shape_t& s : peer.shapes) corners += s.mesh.indices.size();
    if (corners != 3 * ours.faces.size()) return "face counts differ";
    size_t at = 0;
    for (const tinyobj::shape_t& s : peer.shapes)
        for (size_t i = 0; i < s.mesh.indices.size(); ++i, ++at) {
            const tv::Vec3i& f = ours.faces[at / 3];
            const int mine = at % 3 == 0 ? f.x : at % 3 == 1 ? f.y : f.z;
            if (mine != s.mesh.indices[i].vertex_index) return "faces differ";
        }
    // One normal and one texture coordinate per vertex, in file order, as floats; the peer's
    // decimal conversion may be one unit in the last place away in double.
    const std::vector<double>& n = peer.attrib.normals;
    const std::vector<double>& t = peer.attrib.texcoords;
    if (n.size() != 3 * ours.normals.size() || t.size() != 2 * ours.tex.size() ||
        ours.normals.size() != ours.positions.size())
        return "normal or texture counts differ";
    for (size_t i = 0; i < ours.normals.size(); ++i) {
        const tv::Vec3f& a = ours.normals[i];
        if (std::abs(a.x - float(n[3 * i])) > 1e-7f ||
            std::abs(a.y - float(n[3 * i + 1])) > 1e-7f ||
            std::abs(a.z - float(n[3 * i + 2])) > 1e-7f)
            return "normals differ";
        const tv::Vec3f& b = ours.tex[i];
        if (std::abs(b.x - float(t[2 * i])) > 1e-7f ||
            std::abs(b.y - float(t[2 * i + 1])) > 1e-7f || b.z != 0)
            return "texture coordinates differ";
    }
    return "";
}

// The process's peak resident size is reset before a case's timing loop and read after it
// (bench/PeakMemory.h), so the figure is the case's own: the mapped or read file, the reader's
// arrays and its result, with the benchmark's few megabytes.
void ObjParse_Ours(benchmark::State& state) {
    const GridFile& file = Grid();
    if (file.bytes == 0) {
        state.SkipWithError("could not write the grid file");
        return;
    }
    size_t faces = 0;
    tv::bench::StartCaseMemory();
    for (auto _ : state) {
        const OursResult r = ReadOurs(file.path);
        faces = r.faces.size();
        benchmark::DoNotOptimize(r.positions.data());
    }
    state.counters["peak_MB"] = tv::bench::PeakMemoryMB();
    state.counters["faces"] = double(faces);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(file.bytes));
}

void ObjParse_Peer(benchmark::State& state) {
    const GridFile& file = Grid();
    if (file.bytes == 0) {
        state.SkipWithError("could not write the grid file");
        return;
    }
    size_t vertices = 0;
    tv::bench::StartCaseMemory();
    for (auto _ : state) {
        const PeerResult r = ReadPeer(file.path);
        vertices = r.attrib.vertices.size() / 3;
        benchmark::DoNotOptimize(r.attrib.vertices.data());
    }
    state.counters["peak_MB"] = tv::bench::PeakMemoryMB();
    state.counters["vertices"] = double(vertices);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(file.bytes));
    // Ours must give the same, checked outside the timing (here, so that our case's memory
    // figure holds only our reader).
    const std::string difference = Compare(ReadOurs(file.path), ReadPeer(file.path));
    if (!difference.empty()) state.SkipWithError(difference.c_str());
}

BENCHMARK(ObjParse_Ours)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(ObjParse_Peer)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace
