#include <gtest/gtest.h>

#include <sstream>

#include "sources/ObjReader.h"
#include "tests/unit/obj/ObjTestFiles.h"

namespace tv {
namespace {

using objtest::TempFolder;
using objtest::WriteFile;

struct Read {
    bool ok = false;
    std::vector<std::array<double, 3>> positions;
    std::vector<Vec3i> faces;
    std::vector<Vec3f> normals;
    std::vector<Vec3f> tex;
    std::string log;
};

Read ReadText(const std::string& text) {
    const std::string file = WriteFile(TempFolder(), "mesh.obj", text);
    Read r;
    std::ostringstream log;
    r.ok = ReadObj(file, r.positions, r.faces, r.normals, r.tex, log);
    r.log = log.str();
    return r;
}

int Count(const std::string& log, const std::string& line) {
    int n = 0;
    for (size_t at = log.find(line); at != std::string::npos; at = log.find(line, at + 1)) ++n;
    return n;
}

const char* kTriangle = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";

TEST(ObjReader, PositionsOnly) {
    const Read r = ReadText("v 1 2 3\nv -4.5 5e1 6\n");
    EXPECT_TRUE(r.ok);
    ASSERT_EQ(r.positions.size(), 2u);
    EXPECT_EQ(r.positions[1], (std::array<double, 3>{-4.5, 50, 6}));
    EXPECT_TRUE(r.faces.empty());
    EXPECT_TRUE(r.normals.empty());
    EXPECT_TRUE(r.tex.empty());
    EXPECT_EQ(r.log, "");
}

TEST(ObjReader, MissingFileFailsQuietlyAndAddsNothing) {
    std::vector<std::array<double, 3>> p{{1, 2, 3}};
    std::vector<Vec3i> f;
    std::vector<Vec3f> n, t;
    std::ostringstream log;
    EXPECT_FALSE(ReadObj((TempFolder() / "none.obj").string(), p, f, n, t, log));
    EXPECT_FALSE(ReadObj("", p, f, n, t, log));
    EXPECT_EQ(p.size(), 1u);
}

TEST(ObjReader, AppendsToWhatTheCallerHas) {
    const std::string file = WriteFile(TempFolder(), "a.obj", kTriangle);
    std::vector<std::array<double, 3>> p{{9, 9, 9}};
    std::vector<Vec3i> f;
    std::vector<Vec3f> n, t;
    std::ostringstream log;
    EXPECT_TRUE(ReadObj(file, p, f, n, t, log));
    EXPECT_EQ(p.size(), 4u);
    EXPECT_EQ(p[0][0], 9);
}

TEST(ObjReader, OneBasedFaces) {
    const Read r = ReadText(std::string(kTriangle) + "f 1 2 3\nf 3 1 2\n");
    EXPECT_TRUE(r.ok);
    ASSERT_EQ(r.faces.size(), 2u);
    EXPECT_EQ(r.faces[0], (Vec3i{0, 1, 2}));
    EXPECT_EQ(r.faces[1], (Vec3i{2, 0, 1}));
}

TEST(ObjReader, NegativeIndicesCountBackFromLinesSoFar) {
    const Read r = ReadText(std::string(kTriangle) + "f -3 -2 -1\nv 5 5 5\nf -1 -2 -4\n");
    ASSERT_EQ(r.faces.size(), 2u);
    EXPECT_EQ(r.faces[0], (Vec3i{0, 1, 2}));
    EXPECT_EQ(r.faces[1], (Vec3i{3, 2, 0}));
}

TEST(ObjReader, ZeroIndexFailsThePositionCheck) {
    const Read r = ReadText(std::string(kTriangle) + "f 0 1 2\n");
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.positions.empty());
    EXPECT_TRUE(r.faces.empty());
    EXPECT_EQ(Count(r.log, "Position Range Check Failed\n"), 1);
}

TEST(ObjReader, IndexPastTheEndFailsThePositionCheck) {
    const Read r = ReadText(std::string(kTriangle) + "f 1 2 4\n");
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.positions.empty());
    EXPECT_EQ(Count(r.log, "Position Range Check Failed\n"), 1);
}

TEST(ObjReader, NegativeIndexBeforeItsLineFails) {
    const Read r = ReadText("v 0 0 0\nf -1 -2 -3\nv 1 1 1\nv 2 2 2\n");
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(Count(r.log, "Position Range Check Failed\n"), 1);
}

TEST(ObjReader, TextureIndicesBeforeAnyVtFailTheirCheckOnly) {
    const Read r = ReadText(std::string(kTriangle) + "f 1/1 2/2 3/3\n");
    EXPECT_TRUE(r.ok);
    ASSERT_EQ(r.faces.size(), 1u);
    EXPECT_TRUE(r.tex.empty());
    EXPECT_EQ(Count(r.log, "Texture Range Check Failed\n"), 1);
    EXPECT_EQ(Count(r.log, "Normal Range Check Failed"), 0);
}

TEST(ObjReader, BadNormalIndexEmptiesNormalsButKeepsTexture) {
    const Read r = ReadText(std::string(kTriangle) +
                            "vt 0 0\nvt 1 0\nvt 0 1\nvn 0 0 1\nf 1/1/1 2/2/2 3/3/9\n");
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(Count(r.log, "Normal Range Check Failed\n"), 1);
    EXPECT_TRUE(r.normals.empty());
    ASSERT_EQ(r.tex.size(), 3u);
    EXPECT_EQ(r.tex[1], (Vec3f{1, 0, 0}));
}

TEST(ObjReader, NormalsAsManyAsPositionsKeepFileOrder) {
    // The face permutes the normal indices; the file order is what counts.
    const Read r =
        ReadText(std::string(kTriangle) + "vn 1 0 0\nvn 0 1 0\nvn 0 0 1\nf 1//3 2//1 3//2\n");
    EXPECT_TRUE(r.ok);
    ASSERT_EQ(r.normals.size(), 3u);
    EXPECT_EQ(r.normals[0], (Vec3f{1, 0, 0}));
    EXPECT_EQ(r.normals[1], (Vec3f{0, 1, 0}));
    EXPECT_EQ(r.normals[2], (Vec3f{0, 0, 1}));
    EXPECT_TRUE(r.tex.empty());
}

TEST(ObjReader, NormalsRemappedThroughFacesLastWriteWins) {
    // Four positions, two normals: vertex 3 is in no face and stays zero.
    const Read r = ReadText(
        "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 7 7 7\nvn 0 0 1\nvn 0 1 0\nf 1//1 2//1 3//1\nf 3//2 2//2 "
        "1//1\n");
    ASSERT_EQ(r.normals.size(), 4u);
    EXPECT_EQ(r.normals[0], (Vec3f{0, 0, 1}));
    EXPECT_EQ(r.normals[1], (Vec3f{0, 1, 0}));
    EXPECT_EQ(r.normals[2], (Vec3f{0, 1, 0}));
    EXPECT_EQ(r.normals[3], (Vec3f{0, 0, 0}));
}

TEST(ObjReader, TextureCoordinatesRemappedWithOptionalThird) {
    const Read r = ReadText(std::string(kTriangle) + "vt 0.25 0.5\nvt 1 1 0.75\nf 1/2 2/1 3/1\n");
    ASSERT_EQ(r.tex.size(), 3u);
    EXPECT_EQ(r.tex[0], (Vec3f{1, 1, 0.75f}));
    EXPECT_EQ(r.tex[1], (Vec3f{0.25f, 0.5f, 0}));
    EXPECT_EQ(r.tex[2], (Vec3f{0.25f, 0.5f, 0}));
}

TEST(ObjReader, FullCornersGiveBoth) {
    const Read r = ReadText(std::string(kTriangle) +
                            "vt 0 0\nvt 1 0\nvn 0 0 1\nvn 0 0 -1\nf 1/1/2 2/2/1 3/2/2\n");
    ASSERT_EQ(r.faces.size(), 1u);
    ASSERT_EQ(r.normals.size(), 3u);
    ASSERT_EQ(r.tex.size(), 3u);
    EXPECT_EQ(r.normals[0], (Vec3f{0, 0, -1}));
    EXPECT_EQ(r.normals[1], (Vec3f{0, 0, 1}));
    EXPECT_EQ(r.tex[2], (Vec3f{1, 0, 0}));
}

TEST(ObjReader, NormalsOnSomeFacesOnlyAreDropped) {
    const Read r = ReadText(std::string(kTriangle) + "vn 0 0 1\nf 1//1 2//1 3//1\nf 1 2 3\n");
    EXPECT_EQ(r.faces.size(), 2u);
    EXPECT_TRUE(r.normals.empty());
}

TEST(ObjReader, MixedCornerFormsLoseTheLine) {
    const Read r = ReadText(std::string(kTriangle) + "vt 0 0\nf 1/1 2 3\nf 1 2 3\n");
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.faces.size(), 1u);
    EXPECT_GE(Count(r.log, "Incomplete Parse\n"), 1);
    EXPECT_TRUE(r.tex.empty());
}

TEST(ObjReader, BadNumberLosesOnlyItsLine) {
    const Read r = ReadText("v 1 2\nv 4 5 6\nv 7 8 9\n");
    EXPECT_TRUE(r.ok);
    ASSERT_EQ(r.positions.size(), 2u);
    EXPECT_EQ(r.positions[0][0], 4);
    EXPECT_EQ(Count(r.log, "Incomplete Parse\n"), 1);
}

TEST(ObjReader, BadLastLineWithoutEol) {
    const Read r = ReadText(std::string(kTriangle) + "v 1 2");
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.positions.size(), 3u);
    EXPECT_EQ(Count(r.log, "Incomplete Parse\n"), 1);
}

TEST(ObjReader, QuadKeepsItsFirstTriangle) {
    const Read r = ReadText(std::string(kTriangle) + "v 1 1 0\nf 1 2 3 4\nf 4 3 2\n");
    ASSERT_EQ(r.faces.size(), 2u);
    EXPECT_EQ(r.faces[0], (Vec3i{0, 1, 2}));
    EXPECT_EQ(r.faces[1], (Vec3i{3, 2, 1}));
    EXPECT_EQ(Count(r.log, "Incomplete Parse\n"), 1);
}

TEST(ObjReader, TrailingWordFallsToTheSkipper) {
    const Read r = ReadText("v 1 2 3 red\nv 4 5 6 # comment\n");
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.positions.size(), 2u);
    EXPECT_EQ(r.log, "");
}

TEST(ObjReader, WordStartingWithAFaceLetterIsNotSkipped) {
    // "foo" begins with f, which the skipper leaves alone: the position is read, the parse
    // stops at the word and the rest of the line is skipped.
    const Read r = ReadText("v 1 2 3 foo\nv 4 5 6\n");
    ASSERT_EQ(r.positions.size(), 2u);
    EXPECT_EQ(r.positions[1][0], 4);
    EXPECT_EQ(Count(r.log, "Incomplete Parse\n"), 1);
}

TEST(ObjReader, IgnoredStatementsAndBlankLines) {
    const Read r = ReadText(
        "# exported\nmtllib scene.mtl\no Cube\ng side\n\n\t \nusemtl red\ns 1\nv 0 0 0\nv 1 0 "
        "0\nv 0 1 0\nl 1 2\nf 1 2 3\n");
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.positions.size(), 3u);
    EXPECT_EQ(r.faces.size(), 1u);
    EXPECT_EQ(r.log, "");
}

TEST(ObjReader, LastLineWithoutEol) {
    const Read r = ReadText("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3");
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.faces.size(), 1u);
    EXPECT_EQ(r.log, "");
}

TEST(ObjReader, CrlfAndCrParseAsLf) {
    const std::string lf =
        "v 0 0 0\nv 1 0 0\nv 0 1 0\nvn 0 0 1\nf 1//1 2//1 3//1\nv 1 2\nv 3 3 3\n";
    std::string crlf, cr;
    for (char c : lf) {
        if (c == '\n') {
            crlf += "\r\n";
            cr += '\r';
        } else {
            crlf += c;
            cr += c;
        }
    }
    const Read a = ReadText(lf), b = ReadText(crlf), c = ReadText(cr);
    for (const Read* r : {&b, &c}) {
        EXPECT_EQ(r->positions, a.positions);
        EXPECT_EQ(r->faces, a.faces);
        EXPECT_EQ(r->normals, a.normals);
    }
    EXPECT_EQ(a.positions.size(), 4u);
    EXPECT_EQ(a.normals.size(), 4u);
}

TEST(ObjReader, IndexOverflowFailsTheForm) {
    const Read r = ReadText(std::string(kTriangle) + "f 1 2 99999999999\nf 1 2 3\n");
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.faces.size(), 1u);
    EXPECT_EQ(Count(r.log, "Incomplete Parse\n"), 1);
}

TEST(ObjReader, BinaryGarbageDoesNotCrash) {
    std::string junk;
    for (int i = 0; i < 4096; ++i) junk += char((i * 7919 + 13) & 0xFF);
    const Read r = ReadText(junk + "\nv 1 2 3\n");
    EXPECT_EQ(r.positions.size(), 1u);
}

TEST(ObjReader, EmptyFile) {
    const Read r = ReadText("");
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.positions.empty());
    EXPECT_EQ(r.log, "");
}

}  // namespace
}  // namespace tv
