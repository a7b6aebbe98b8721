// The OBJ source's mesh without a host: sequence frames, thinning, texture modes, the transform,
// the append and the hash.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "host/ParamHash.h"
#include "sources/ObjGenerate.h"
#include "tests/unit/obj/ObjTestFiles.h"

namespace tv {
namespace {

using objtest::TempFolder;
using objtest::WriteFile;

void ExpectVec(const Vec3f& v, float x, float y, float z, float tol = 1e-5f) {
    EXPECT_NEAR(v.x, x, tol);
    EXPECT_NEAR(v.y, y, tol);
    EXPECT_NEAR(v.z, z, tol);
}

// An n x n grid of vertices in the XY plane, two triangles per cell. Normals and texture
// coordinates are functions of the position, so that a survivor's can be checked.
ObjMesh Grid(int n) {
    ObjMesh m;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            m.positions.push_back({double(i), double(j), 0});
            m.normals.push_back({float(i), float(j), 1});
            m.uvw.push_back({float(i) / float(n), float(j) / float(n), 0.5f});
        }
    for (int j = 0; j + 1 < n; ++j)
        for (int i = 0; i + 1 < n; ++i) {
            const int a = j * n + i;
            m.faces.push_back({a, a + 1, a + n + 1});
            m.faces.push_back({a, a + n + 1, a + n});
        }
    return m;
}

std::string GridText(int n, bool faces) {
    std::ostringstream t;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) t << "v " << i << ' ' << j << " 0\n";
    if (faces)
        for (int j = 0; j + 1 < n; ++j)
            for (int i = 0; i + 1 < n; ++i) {
                const int a = j * n + i + 1;
                t << "f " << a << ' ' << a + 1 << ' ' << a + n + 1 << '\n';
                t << "f " << a << ' ' << a + n + 1 << ' ' << a + n << '\n';
            }
    return t.str();
}

ObjSettings At(const std::string& path) {
    ObjSettings s;
    s.path = path;
    return s;
}

TEST(ObjSequence, FirstFrameIsTheFirstFileInEveryMode) {
    for (int32_t mode : {kObjSeqDoNothing, kObjSeqLoop, kObjSeqPingPong, kObjSeqFreeze})
        EXPECT_EQ(ObjSequenceIndex(0, 5, mode), 0) << mode;
}

TEST(ObjSequence, PingPongOfThreeRunsBackAndForth) {
    const int32_t expected[] = {0, 1, 2, 1, 0, 1, 2};
    for (int f = 0; f < 7; ++f) EXPECT_EQ(ObjSequenceIndex(f, 3, kObjSeqPingPong), expected[f]);
}

TEST(ObjSequence, AfterTheEnd) {
    EXPECT_EQ(ObjSequenceIndex(2, 3, kObjSeqDoNothing), 2);
    EXPECT_EQ(ObjSequenceIndex(3, 3, kObjSeqDoNothing), -1);
    EXPECT_EQ(ObjSequenceIndex(7, 3, kObjSeqLoop), 1);
    EXPECT_EQ(ObjSequenceIndex(3, 3, kObjSeqFreeze), 2);
    EXPECT_EQ(ObjSequenceIndex(100, 3, kObjSeqFreeze), 2);
    EXPECT_EQ(ObjSequenceIndex(-4, 3, kObjSeqLoop), 0);
    EXPECT_EQ(ObjSequenceIndex(0, 0, kObjSeqLoop), -1);
    EXPECT_EQ(ObjSequenceIndex(5, 1, kObjSeqPingPong), 0);
}

TEST(ObjThin, FullResolutionAndTinyMeshesAreLeftAlone) {
    ObjMesh m = Grid(4);
    const size_t faces = m.faces.size();
    EXPECT_EQ(ThinMesh(m, 1.0), -1);
    EXPECT_EQ(m.faces.size(), faces);
    ObjMesh two = Grid(2);  // two triangles
    EXPECT_EQ(ThinMesh(two, 0.5), -1);
    EXPECT_EQ(two.faces.size(), 2u);
    // 18 triangles at 0.99: 17.82 truncates to 17, which differs: thinned.
    ObjMesh g = Grid(4);
    EXPECT_EQ(ThinMesh(g, 0.99), 17);
}

TEST(ObjThin, HalfResolutionKeepsSurvivorsAttributes) {
    ObjMesh m = Grid(10);  // 162 triangles
    ASSERT_EQ(m.faces.size(), 162u);
    EXPECT_EQ(ThinMesh(m, 0.5), 81);
    EXPECT_GT(m.faces.size(), 0u);
    EXPECT_LE(m.faces.size(), 81u);
    EXPECT_LT(m.positions.size(), 100u);
    ASSERT_EQ(m.normals.size(), m.positions.size());
    ASSERT_EQ(m.uvw.size(), m.positions.size());
    for (size_t v = 0; v < m.positions.size(); ++v) {
        const auto& p = m.positions[v];
        ExpectVec(m.normals[v], float(p[0]), float(p[1]), 1);
        ExpectVec(m.uvw[v], float(p[0]) / 10, float(p[1]) / 10, 0.5f);
    }
    for (const Vec3i& f : m.faces)
        for (int32_t i : {f.x, f.y, f.z}) {
            EXPECT_GE(i, 0);
            EXPECT_LT(size_t(i), m.positions.size());
        }
}

TEST(ObjThin, ZeroResolutionAsksForNoTriangles) {
    ObjMesh m = Grid(10);
    EXPECT_EQ(ThinMesh(m, 0.0), 0);
    EXPECT_LT(m.faces.size(), 162u);
}

TEST(ObjThin, MissingAttributesStayMissing) {
    ObjMesh m = Grid(6);
    m.normals.clear();
    m.uvw.clear();
    ThinMesh(m, 0.3);
    EXPECT_TRUE(m.normals.empty());
    EXPECT_TRUE(m.uvw.empty());
}

TEST(ObjBuild, FullResolutionWithFacesKeepsEveryTriangle) {
    ObjSettings s = At(WriteFile(TempFolder(), "grid.obj", GridText(5, true)));
    s.importFacets = true;
    const ObjMesh m = BuildObj(s);
    EXPECT_EQ(m.positions.size(), 25u);
    EXPECT_EQ(m.faces.size(), 32u);
}

TEST(ObjBuild, HalfResolutionWithFacesThins) {
    ObjSettings s = At(WriteFile(TempFolder(), "grid.obj", GridText(10, true)));
    s.importFacets = true;
    s.resolution = 0.5;
    const ObjMesh m = BuildObj(s);
    EXPECT_LE(m.faces.size(), 81u);
    EXPECT_GT(m.faces.size(), 0u);
    EXPECT_EQ(m.lattice.size(), m.positions.size());
}

TEST(ObjBuild, HalfResolutionWithoutFacesTakesEverySecondVertex) {
    ObjSettings s =
        At(WriteFile(TempFolder(), "row.obj", "v 0 0 0\nv 1 0 0\nv 2 0 0\nv 3 0 0\nv 4 0 0\n"));
    s.resolution = 0.5;
    const ObjMesh m = BuildObj(s);
    ASSERT_EQ(m.positions.size(), 3u);
    EXPECT_EQ(m.positions[1][0], 2);
    EXPECT_EQ(m.positions[2][0], 4);
}

TEST(ObjBuild, FacesWithImportOffThinByTheVertexRule) {
    ObjSettings s = At(WriteFile(TempFolder(), "grid.obj", GridText(4, true)));
    s.importFacets = false;
    s.resolution = 0.25;
    const ObjMesh m = BuildObj(s);
    EXPECT_TRUE(m.faces.empty());
    ASSERT_EQ(m.positions.size(), 4u);  // vertices 0, 4, 8, 12
    EXPECT_EQ(m.positions[1], (std::array<double, 3>{0, 1, 0}));
}

TEST(ObjBuild, ZeroResolutionWithoutFacesKeepsOneVertex) {
    ObjSettings s = At(WriteFile(TempFolder(), "grid.obj", GridText(3, false)));
    s.resolution = 0;
    const ObjMesh m = BuildObj(s);
    EXPECT_EQ(m.positions.size(), 1u);
}

TEST(ObjBuild, MissingOrBrokenFileGivesNothing) {
    const auto dir = TempFolder();
    for (const std::string& path : {std::string(), (dir / "none.obj").string(),
                                    WriteFile(dir, "bad.obj", "v 0 0 0\nv 1 1 1\nf 1 2 3\n")}) {
        ObjSettings s = At(path);
        s.importFacets = true;
        std::ostringstream log;
        const ObjMesh m = BuildObj(s, log);
        EXPECT_TRUE(m.positions.empty()) << path;
        // Only the bad face is reported; a missing file is silent.
        EXPECT_EQ(log.str(), path.ends_with("bad.obj") ? "Position Range Check Failed\n" : "");
        GeometryStore store;
        AppendObj(s, m, store);
        ASSERT_EQ(store.ranges.size(), 1u);
        EXPECT_EQ(store.ranges[0].vertexCount, 0u);
        EXPECT_EQ(store.ranges[0].latticeSize[0], 0);
    }
}

TEST(ObjBuild, LinesReadShortAreNamedByNumber) {
    ObjSettings s = At(
        WriteFile(TempFolder(), "short.obj", "v 0 0 0\nv 1 2\nv 1 1 1\n\nv x\nv 2 2 2\nf 1 2 3\n"));
    std::ostringstream log;
    const ObjMesh m = BuildObj(s, log);
    EXPECT_EQ(m.badLines, (std::vector<size_t>{2, 5}));
    // The console keeps the reader's own words; the problems for a person carry the lines.
    EXPECT_EQ(log.str(), "Incomplete Parse\nIncomplete Parse\n");
    EXPECT_EQ(ObjProblems(log.str(), m.badLines),
              (std::vector<std::string>{"Incomplete Parse at lines 2 and 5"}));
}

TEST(ObjBuild, ProblemsNameTheFirstFewLinesAndCountTheRest) {
    EXPECT_EQ(ObjProblems("Incomplete Parse\n", {7}),
              (std::vector<std::string>{"Incomplete Parse at line 7"}));
    EXPECT_EQ(ObjProblems("", {1, 2, 3, 4, 5}),
              (std::vector<std::string>{"Incomplete Parse at lines 1, 2, 3, 4 and 5"}));
    EXPECT_EQ(ObjProblems("", {1, 2, 3, 4, 5, 6, 9}),
              (std::vector<std::string>{"Incomplete Parse at lines 1, 2, 3, 4, 5 and 2 more"}));
    // Other problems pass as they are.
    EXPECT_EQ(
        ObjProblems("Incomplete Parse\nNormal Range Check Failed\n", {3}),
        (std::vector<std::string>{"Incomplete Parse at line 3", "Normal Range Check Failed"}));
    EXPECT_EQ(ObjProblems("Position Range Check Failed\n", {}),
              (std::vector<std::string>{"Position Range Check Failed"}));
}

TEST(ObjBuild, TransformRotatesAboutTheFileOriginThenScalesThenPlaces) {
    ObjSettings s = At(WriteFile(TempFolder(), "p.obj", "v 1 0 0\n"));
    s.rotation[2] = 90;
    s.scale[0] = 2, s.scale[1] = 3, s.scale[2] = 4;
    s.center[0] = 10, s.center[1] = 20, s.center[2] = 30;
    const ObjMesh m = BuildObj(s);
    ASSERT_EQ(m.positions.size(), 1u);
    // (1, 0, 0) turned 90 degrees about Z is (0, 1, 0); scaled (0, 3, 0); placed.
    EXPECT_NEAR(m.positions[0][0], 10, 1e-9);
    EXPECT_NEAR(m.positions[0][1], 23, 1e-9);
    EXPECT_NEAR(m.positions[0][2], 30, 1e-9);
    // The default normal (0, -1, 0) goes through the same rotation and scale, not the move.
    ExpectVec(m.normals[0], 2, 0, 0);
}

TEST(ObjBuild, RotationOrderIsZThenYThenX) {
    ObjSettings s = At(WriteFile(TempFolder(), "p.obj", "v 1 0 0\n"));
    s.rotation[0] = 90;
    s.rotation[2] = 90;
    const ObjMesh m = BuildObj(s);
    // Z first: (0, 1, 0); then X by 90: (0, 0, 1).
    EXPECT_NEAR(m.positions[0][0], 0, 1e-9);
    EXPECT_NEAR(m.positions[0][1], 0, 1e-9);
    EXPECT_NEAR(m.positions[0][2], 1, 1e-9);
}

TEST(ObjBuild, FileNormalsAndTexturesAreKeptInImportMode) {
    ObjSettings s = At(WriteFile(TempFolder(), "t.obj",
                                 "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0.1 0.2\nvt 0.3 0.4\nvt 0.5 "
                                 "0.6\nvn 0 0 1\nvn 0 0 1\nvn 0 0 1\nf 1/1/1 2/2/2 3/3/3\n"));
    s.importFacets = true;
    const ObjMesh m = BuildObj(s);
    ASSERT_EQ(m.uvw.size(), 3u);
    ExpectVec(m.uvw[2], 0.5f, 0.6f, 0);
    ExpectVec(m.normals[1], 0, 0, 1);
    EXPECT_EQ(m.faces.size(), 1u);
    EXPECT_EQ(m.lattice[2], (Vec3i{2, 1, 1}));
}

TEST(ObjBuild, TexturesByPositionBeforeAndAfterTheTransform) {
    const std::string file = WriteFile(TempFolder(), "t.obj", "v 0 0 0\nv 2 0 0\nv 1 4 0\n");
    ObjSettings s = At(file);
    s.rotation[2] = 90;  // x and y swap roles after the turn
    const ObjMesh byFile = BuildObj(s);
    // No texture in the file: generated from the file's positions; z has no extent.
    ExpectVec(byFile.uvw[1], 1, 0, 0);
    ExpectVec(byFile.uvw[2], 0.5f, 1, 0);
    s.textureMode = kObjTexPosition;
    const ObjMesh byPosition = BuildObj(s);
    // Turned: (0,0), (0,2), (-4,1); x spans -4..0, y 0..2.
    ExpectVec(byPosition.uvw[0], 1, 0, 0);
    ExpectVec(byPosition.uvw[1], 1, 1, 0);
    ExpectVec(byPosition.uvw[2], 0, 0.5f, 0);
}

TEST(ObjBuild, TexturesById) {
    ObjSettings s = At(WriteFile(TempFolder(), "t.obj", "v 0 0 0\nv 2 0 0\nv 1 4 0\nv 5 5 5\n"));
    s.textureMode = kObjTexId;
    const ObjMesh m = BuildObj(s);
    ASSERT_EQ(m.uvw.size(), 4u);
    ExpectVec(m.uvw[0], 0, -1, -1);
    ExpectVec(m.uvw[3], 0.75f, -1, -1);
}

TEST(ObjAppend, ArraysRangeAndColours) {
    ObjSettings s = At(WriteFile(TempFolder(), "t.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n"));
    s.importFacets = true;
    s.group = 3;
    s.color[0] = 0.25f, s.color[3] = 0.75f;
    GeometryStore store;
    store.vertexBase = 7;
    store.faceBase = 2;
    AppendObj(s, BuildObj(s), store);
    ASSERT_EQ(store.positions.size(), 3u);
    EXPECT_EQ(store.colors[2], (Color4f{0.25f, 1, 1, 0.75f}));
    EXPECT_EQ(store.lattice[1], (Vec3i{1, 1, 1}));
    EXPECT_EQ(store.faces[0], (Vec3i{0, 1, 2}));
    EXPECT_EQ(store.normals.size(), 3u);
    EXPECT_EQ(store.uvw.size(), 3u);
    EXPECT_EQ(store.vertexPending, 3u);
    EXPECT_EQ(store.facePending, 1u);
    ASSERT_EQ(store.ranges.size(), 1u);
    const ObjectRange& r = store.ranges[0];
    EXPECT_EQ(r.group, 3);
    EXPECT_EQ(r.kind, 1);
    EXPECT_EQ(r.vertexStart, 7u);
    EXPECT_EQ(r.faceStart, 2u);
    EXPECT_EQ(r.faceCount, 1u);
    EXPECT_EQ(r.latticeSize[0], 3);
    EXPECT_EQ(r.latticeSize[1], 1);
    EXPECT_EQ(r.latticeSize[2], 1);
    EXPECT_EQ(r.reserved, 0);
}

TEST(ObjHashTest, OrderAndSeedByHand) {
    ObjSettings s;
    s.afterSequence = 3;
    s.group = 5;
    s.invert[1] = true;
    s.textureMode = 2;
    s.layerId = 42;
    s.scale[0] = 1.5;
    s.rotation[2] = 30;
    s.resolution = 0.5;
    s.center[1] = 7;
    s.color[2] = 0.25f;
    s.path = "/tmp/a.obj";
    uint64_t seed = 237;
    auto mix = [&seed](const void* p, size_t n) { seed = HashCombine(seed, Fnv1a64(p, n)); };
    for (int32_t v : {1, 0, 3, 5, 0, 1, 0, 2, 42, 0}) mix(&v, 4);
    for (float v :
         {1.5f, 1.0f, 1.0f, 0.0f, 0.0f, 30.0f, 0.5f, 0.0f, 7.0f, 0.0f, 1.0f, 1.0f, 0.25f, 0.5f})
        mix(&v, 4);
    mix(s.path.data(), s.path.size());
    EXPECT_EQ(ObjHash(s), seed);
}

TEST(ObjHashTest, PathAndNegativeZero) {
    ObjSettings a, b;
    a.path = "frame_001.obj";
    b.path = "frame_002.obj";
    EXPECT_NE(ObjHash(a), ObjHash(b));
    b.path = a.path;
    b.rotation[0] = -0.0;
    EXPECT_EQ(ObjHash(a), ObjHash(b));
    b.importFacets = true;
    EXPECT_NE(ObjHash(a), ObjHash(b));
}

TEST(ObjStoredPathTest, MarksInFrontInOrder) {
    const ObjStoredPath p = ParseObjStoredPath("|REL||SEQ||ALP|meshes/a.obj");
    EXPECT_TRUE(p.relative);
    EXPECT_TRUE(p.sequence);
    EXPECT_TRUE(p.alphabetical);
    EXPECT_EQ(p.path, "meshes/a.obj");
    EXPECT_EQ(FormatObjStoredPath(p), "|REL||SEQ||ALP|meshes/a.obj");
    ObjStoredPath q;
    q.path = "/x/b.obj";
    q.alphabetical = true;
    EXPECT_EQ(FormatObjStoredPath(q), "|ALP|/x/b.obj");
    const ObjStoredPath plain = ParseObjStoredPath("/x/b.obj");
    EXPECT_FALSE(plain.relative || plain.sequence || plain.alphabetical);
    EXPECT_EQ(plain.path, "/x/b.obj");
}

TEST(ObjStoredPathTest, ConvertedRecordsCarryMarksBehind) {
    const ObjStoredPath p = ParseObjStoredPath("C:/m/a.obj\n|SEQ|\n|REL|");
    EXPECT_TRUE(p.sequence);
    EXPECT_TRUE(p.relative);
    EXPECT_FALSE(p.alphabetical);
    EXPECT_EQ(p.path, "C:/m/a.obj");
}

TEST(ObjStoredPathTest, RelativePathResolvesAgainstTheProject) {
    ObjStoredPath p = ParseObjStoredPath("|REL|meshes/../meshes/a.obj");
    const std::vector<std::string> files = ObjStoredFiles(p, "/projects/x");
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0], "/projects/x/meshes/a.obj");
    p.relative = false;
    p.path = "/abs/b.obj";
    EXPECT_EQ(ObjStoredFiles(p, "/projects/x")[0], "/abs/b.obj");
}

TEST(ObjStoredPathTest, SequenceTakesTheObjFilesOfTheFolder) {
    const auto dir = TempFolder();
    for (const char* name : {"c.obj", "a.OBJ", "b.obj", "notes.txt", "d.Obj"})
        WriteFile(dir, name, "v 0 0 0\n");
    std::filesystem::create_directories(dir / "sub.obj");
    ObjStoredPath p;
    p.path = (dir / "b.obj").string();
    p.sequence = true;
    p.alphabetical = true;
    const std::vector<std::string> files = ObjStoredFiles(p, "");
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0], (dir / "a.OBJ").string());
    EXPECT_EQ(files[1], (dir / "b.obj").string());
    EXPECT_EQ(files[2], (dir / "c.obj").string());
    p.alphabetical = false;
    EXPECT_EQ(ObjStoredFiles(p, "").size(), 3u);
    p.path = (dir / "missing" / "x.obj").string();
    EXPECT_TRUE(ObjStoredFiles(p, "").empty());
}

}  // namespace
}  // namespace tv
