// The OBJ source's geometry: the file's mesh, thinned, transformed and coloured, ready to append.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "host/GeometryStore.h"

namespace tv {

enum ObjAfterSequence : int32_t {
    kObjSeqDoNothing = 1,
    kObjSeqLoop = 2,
    kObjSeqPingPong = 3,
    kObjSeqFreeze = 4,
};
enum ObjTextureMode : int32_t { kObjTexImport = 1, kObjTexPosition = 2, kObjTexId = 3 };

struct ObjSettings {
    double scale[3] = {1, 1, 1};
    double rotation[3] = {0, 0, 0};  // degrees
    float center[3] = {0, 0, 0};
    double resolution = 1.0;  // 1 keeps every triangle
    bool importFacets = false;
    bool uniformScale = true;
    bool invert[3] = {false, false, false};
    bool isSequence = false;
    int32_t afterSequence = kObjSeqFreeze;
    int32_t textureMode = kObjTexImport;
    int32_t group = 12;
    float color[4] = {1, 1, 1, 0.5f};
    uint32_t layerId = 0;
    std::string path;  // the file of this frame; empty for none
};

// The file of `frame` in a sequence of `count` files: -1 when there is none.
int32_t ObjSequenceIndex(int64_t frame, int32_t count, int32_t afterSequence);

struct ObjMesh {
    std::vector<std::array<double, 3>> positions;
    std::vector<Vec3i> faces;
    std::vector<Vec3f> normals;
    std::vector<Vec3f> uvw;
    std::vector<Vec3i> lattice;
    std::vector<size_t> badLines;  // one-based lines of the file that could not be read whole
};

// Thins a mesh to about `resolution` of its triangles, keeping the normals and texture
// coordinates of the vertices that survive; vertices no triangle uses are dropped. Returns the
// triangle count asked for, or -1 when the mesh is left as it is (2 triangles or fewer, no
// change asked, or no vertices).
int64_t ThinMesh(ObjMesh& mesh, double resolution);
// Keeps vertex floor(t) for t = 0, 1/resolution, 2/resolution, ... of each per-vertex array.
void ThinVertices(ObjMesh& mesh, double resolution);

// Reads the settings' file and builds the mesh: faces or thinned vertices, lattice, uvw,
// normals, the transform and the texture mode. A missing or broken file gives an empty mesh; the
// reader's messages go to `log` (standard output by default).
ObjMesh BuildObj(const ObjSettings& s);
ObjMesh BuildObj(const ObjSettings& s, std::ostream& log);
void AppendObj(const ObjSettings& s, const ObjMesh& mesh, GeometryStore& store);
// The reader's problems for a person, one per line of `log`, except that the lines the reader
// could not read whole are told once, with their line numbers (the first few of them).
std::vector<std::string> ObjProblems(const std::string& log, const std::vector<size_t>& badLines);
uint64_t ObjHash(const ObjSettings& s);

// The stored path of an imported file: option marks in front of the path.
struct ObjStoredPath {
    bool relative = false;      // "|REL|": relative to the project file's folder
    bool sequence = false;      // "|SEQ|": every .obj file of the folder
    bool alphabetical = false;  // "|ALP|": the sequence sorted by name
    std::string path;
};
ObjStoredPath ParseObjStoredPath(const std::string& text);
std::string FormatObjStoredPath(const ObjStoredPath& p);
// The files a stored path names: the path itself, resolved against the project's folder when
// relative; for a sequence, every file ending in ".obj" or ".OBJ" in its folder, sorted by name
// when asked, else in the order the folder lists them. Empty when the folder can't be read.
std::vector<std::string> ObjStoredFiles(const ObjStoredPath& p, const std::string& projectFolder);

}  // namespace tv
