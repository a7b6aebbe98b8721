// The reader over stretches of the text: any cut gives what one stretch gives, and what the
// Spirit grammar it replaces gave, line for line.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <sstream>
#include <string>

#include "host/FileBytes.h"
#include "sources/ObjReadText.h"
#include "sources/ObjReader.h"
#include "tests/unit/obj/ObjSpiritReference.h"
#include "tests/unit/obj/ObjTestFiles.h"

namespace tv {
namespace {

using objtest::SpiritObj;
using objtest::TempFolder;
using objtest::WriteFile;

struct Read {
    bool ok = false;
    std::vector<std::array<double, 3>> positions;
    std::vector<Vec3i> faces;
    std::vector<Vec3f> normals;
    std::vector<Vec3f> tex;
    std::string log;
    std::vector<size_t> badLines;
};

ObjReadOptions Options(size_t chunkBytes, unsigned threads) {
    ObjReadOptions o;
    o.chunkBytes = chunkBytes;
    o.threads = threads;
    return o;
}

Read ReadText(const std::string& text, size_t chunkBytes, unsigned threads = 2) {
    Read r;
    std::ostringstream log;
    r.ok = ReadObjText(text, Options(chunkBytes, threads), r.positions, r.faces, r.normals, r.tex,
                       log, &r.badLines);
    r.log = log.str();
    return r;
}

// Same values to the bit (NaN included).
template <typename T>
bool SameBits(const std::vector<T>& a, const std::vector<T>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}

void ExpectSame(const Read& a, const Read& b, const std::string& what) {
    EXPECT_EQ(a.ok, b.ok) << what;
    EXPECT_TRUE(SameBits(a.positions, b.positions)) << what;
    EXPECT_EQ(a.faces, b.faces) << what;
    EXPECT_TRUE(SameBits(a.normals, b.normals)) << what;
    EXPECT_TRUE(SameBits(a.tex, b.tex)) << what;
    EXPECT_EQ(a.log, b.log) << what;
}

// The stretches of a reading put back together as the grammar collected them: corners
// resolved, line numbers counted from the top of the text (one-based). Normals and texture
// coordinates are kept as floats, so they are compared as floats (`normals`, `texCoords`).
struct Flat {
    SpiritObj raw;
    std::vector<Vec3f> normals, texCoords;
};

Flat Flatten(const std::vector<ObjChunk>& chunks) {
    Flat out;
    size_t lines = 0;
    for (const ObjChunk& c : chunks) {
        const size_t np = out.raw.positions.size(), nn = out.normals.size(),
                     nt = out.texCoords.size();
        auto add = [](const ObjCorners& from, size_t earlier, std::vector<Vec3i>& to) {
            for (size_t i = 0; i < from.index.size(); ++i) {
                Vec3i v = from.index[i];
                const uint8_t m = from.shift.empty() ? 0 : from.shift[i];
                if (m & 1) v.x = int32_t(uint32_t(v.x) + uint32_t(earlier));
                if (m & 2) v.y = int32_t(uint32_t(v.y) + uint32_t(earlier));
                if (m & 4) v.z = int32_t(uint32_t(v.z) + uint32_t(earlier));
                to.push_back(v);
            }
        };
        add(c.faces, np, out.raw.faces);
        add(c.faceNormals, nn, out.raw.faceNormals);
        add(c.faceTex, nt, out.raw.faceTex);
        out.raw.positions.insert(out.raw.positions.end(), c.positions.begin(), c.positions.end());
        out.normals.insert(out.normals.end(), c.normals.begin(), c.normals.end());
        out.texCoords.insert(out.texCoords.end(), c.texCoords.begin(), c.texCoords.end());
        for (const ObjBadLine& bad : c.badLines) {
            EXPECT_STREQ(bad.message, "Incomplete Parse");
            out.raw.badLines.push_back(lines + bad.line + 1);
        }
        lines += c.lines;
    }
    return out;
}

// Doubles narrowed to floats (and kept so: GCC 12 at -O3 folds a double-float-double round
// trip away).
std::vector<Vec3f> Narrowed(const std::vector<std::array<double, 3>>& values) {
    std::vector<Vec3f> out;
    for (const auto& v : values) out.push_back({float(v[0]), float(v[1]), float(v[2])});
    return out;
}

void ExpectSameAsSpirit(const std::string& text, size_t chunkBytes, unsigned threads) {
    const SpiritObj want = objtest::ParseWithSpirit(text);
    const Flat got = Flatten(ReadObjChunks(text, Options(chunkBytes, threads)));
    const std::string what = "chunk bytes " + std::to_string(chunkBytes) + " in:\n" + text;
    EXPECT_TRUE(SameBits(got.raw.positions, want.positions)) << what;
    EXPECT_TRUE(SameBits(got.normals, Narrowed(want.normals))) << what;
    EXPECT_TRUE(SameBits(got.texCoords, Narrowed(want.texCoords))) << what;
    EXPECT_EQ(got.raw.faces, want.faces) << what;
    EXPECT_EQ(got.raw.faceNormals, want.faceNormals) << what;
    EXPECT_EQ(got.raw.faceTex, want.faceTex) << what;
    EXPECT_EQ(got.raw.badLines, want.badLines) << what;
    // The reader hands out the same whole-file line numbers, whatever the cuts.
    EXPECT_EQ(ReadText(text, chunkBytes, threads).badLines, want.badLines) << what;
}

std::string Grid(int side, const char* eol) {
    std::string t = "# grid\no grid\n";
    for (int r = 0; r < side; ++r)
        for (int c = 0; c < side; ++c)
            t += "v " + std::to_string(c) + " " + std::to_string(r) + " 0.25" + eol + "vt " +
                 std::to_string(c * 0.1) + " " + std::to_string(r * 0.1) + eol + "vn 0 0 1" + eol;
    for (int r = 0; r + 1 < side; ++r)
        for (int c = 0; c + 1 < side; ++c) {
            const int a = r * side + c + 1, b = a + 1, d = a + side;
            const std::string A = std::to_string(a), B = std::to_string(b), D = std::to_string(d);
            t += "f " + A + "/" + A + "/" + A + " " + B + "/" + B + "/" + B + " " + D + "/" + D +
                 "/" + D + eol;
        }
    return t;
}

TEST(ObjReaderChunks, AnyCutGivesWhatOneStretchGives) {
    const std::string text =
        Grid(6, "\n") + "v 1 2\nf 1/1/1 2/2/2 3/3/3 4/4/4\nf -1/-1/-1 -2/-2/-2 -3/-3/-3";
    const Read whole = ReadText(text, text.size() + 1, 1);
    ASSERT_TRUE(whole.ok);
    ASSERT_EQ(whole.positions.size(), 36u);
    ASSERT_EQ(whole.faces.size(), 27u);
    ASSERT_EQ(whole.normals.size(), 36u);
    for (size_t bytes : {1, 2, 3, 5, 8, 13, 31, 64, 200})
        for (unsigned threads : {1u, 2u, 3u})
            ExpectSame(ReadText(text, bytes, threads), whole,
                       "chunk bytes " + std::to_string(bytes));
}

TEST(ObjReaderChunks, NegativeIndicesReachBackAcrossStretches) {
    // Every line its own stretch: each face counts back over earlier stretches' lines.
    const std::string text =
        "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nvn 0 0 1\nv 5 5 5\nf -4 -3 -2\nvn 1 0 0\n"
        "f -1//-2 -2//-1 -3//-2\nvt 1 1\nf -1/-2 -4/-1 -2/-2\n";
    const Read r = ReadText(text, 1);
    ASSERT_EQ(r.faces.size(), 3u);
    EXPECT_EQ(r.faces[0], (Vec3i{0, 1, 2}));
    EXPECT_EQ(r.faces[1], (Vec3i{3, 2, 1}));
    EXPECT_EQ(r.faces[2], (Vec3i{3, 0, 2}));
    EXPECT_EQ(r.log, "");
    ExpectSame(r, ReadText(text, 0, 1), "one stretch");
    ExpectSameAsSpirit(text, 1, 2);
}

TEST(ObjReaderChunks, NegativeIndexBeforeItsLineFailsInAnyStretch) {
    const std::string text = "v 0 0 0\nv 1 1 1\nv 2 2 2\nf -1 -2 -3\nf -1 -2 -4\n";
    for (size_t bytes : {1, 9, 0}) {
        const Read r = ReadText(text, bytes);
        EXPECT_FALSE(r.ok);
        EXPECT_TRUE(r.positions.empty());
        EXPECT_EQ(r.log, "Position Range Check Failed\n");
    }
}

TEST(ObjReaderChunks, CrlfSplitAtEveryByte) {
    std::string crlf;
    for (char c : Grid(4, "\n") + "v 1 2\nv 3 3 3\n") {
        if (c == '\n') crlf += '\r';
        crlf += c;
    }
    std::string lf = Grid(4, "\n") + "v 1 2\nv 3 3 3\n";
    const Read want = ReadText(lf, 0, 1);
    EXPECT_EQ(want.log, "Incomplete Parse\n");
    for (size_t bytes = 1; bytes < 12; ++bytes) {
        ExpectSame(ReadText(crlf, bytes), want, "CRLF, chunk bytes " + std::to_string(bytes));
        ExpectSameAsSpirit(crlf, bytes, 2);
    }
}

TEST(ObjReaderChunks, LastLineWithoutLineBreak) {
    for (const char* last : {"f 1 2 3", "v 7 8 9", "vt 0.5 0.5", "# done", "v 1 2", "   "}) {
        const std::string text = std::string("v 0 0 0\nv 1 0 0\nv 0 1 0\n") + last;
        const Read whole = ReadText(text, 0, 1);
        for (size_t bytes : {1, 4, 7}) ExpectSame(ReadText(text, bytes), whole, text);
        ExpectSameAsSpirit(text, 3, 2);
    }
    const Read r = ReadText("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3", 2);
    EXPECT_EQ(r.faces.size(), 1u);
    EXPECT_EQ(ReadText("v 0 0 0\nv 7 8 9", 1).positions.back()[2], 9.0);
}

TEST(ObjReaderChunks, BadLinesKeepTheirMessageAndLineNumber) {
    const std::string text =
        "v 0 0 0\n"      // 1
        "v 1 2\n"        // 2: too few numbers
        "v 0 1 0\r\n"    // 3
        "f 1 2 3 4\r"    // 4: the fourth corner is left over; a lone CR ends the line
        "\r\n"           // 5: empty
        "newmtl red\n"   // 6: n is no comment letter
        "v 1 1 1 foo\n"  // 7
        "v 2 2 2";       // 8
    for (size_t bytes : {0, 1, 5, 16}) {
        const std::vector<ObjChunk> chunks = ReadObjChunks(text, Options(bytes, 2));
        const Flat flat = Flatten(chunks);
        EXPECT_EQ(flat.raw.badLines, (std::vector<size_t>{2, 4, 6, 7}));
        ExpectSameAsSpirit(text, bytes, 2);
        const Read r = ReadText(text, bytes);
        EXPECT_EQ(r.log,
                  "Incomplete Parse\nIncomplete Parse\nIncomplete Parse\nIncomplete Parse\n");
        EXPECT_EQ(r.positions.size(), 4u);
        EXPECT_EQ(r.faces.size(), 1u);
    }
}

TEST(ObjReaderChunks, EmptyTextAndEmptyFile) {
    const Read r = ReadText("", 1);
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.positions.empty());
    EXPECT_EQ(r.log, "");
    EXPECT_TRUE(ReadObjChunks("", ObjReadOptions{}).empty());

    const std::string file = WriteFile(TempFolder(), "empty.obj", "");
    std::vector<std::array<double, 3>> p;
    std::vector<Vec3i> f;
    std::vector<Vec3f> n, t;
    std::ostringstream log;
    EXPECT_TRUE(ReadObj(file, p, f, n, t, log));
    EXPECT_TRUE(p.empty());
    EXPECT_EQ(log.str(), "");
}

TEST(ObjReaderChunks, FileThatIsNotThere) {
    const std::string missing = (TempFolder() / "none.obj").string();
    FileBytes bytes;
    EXPECT_FALSE(LoadFileBytes(missing, bytes));
    EXPECT_EQ(bytes.error, missing + ": No such file or directory");

    std::vector<std::array<double, 3>> p{{1, 2, 3}};
    std::vector<Vec3i> f;
    std::vector<Vec3f> n, t;
    std::ostringstream log;
    EXPECT_FALSE(ReadObj(missing, p, f, n, t, log));
    EXPECT_EQ(p.size(), 1u);
    EXPECT_EQ(log.str(), "");  // ObjGenerate's callers count on a missing file being silent

    FileBytes folder;
    EXPECT_FALSE(LoadFileBytes(TempFolder().string(), folder));
    EXPECT_NE(folder.error.find("is a folder, not a file"), std::string::npos) << folder.error;
}

TEST(ObjReaderChunks, MappedAndReadBytesAgree) {
    const std::string text = Grid(5, "\r\n");
    const std::string file = WriteFile(TempFolder(), "grid.obj", text);
    FileBytes mapped, read;
    ASSERT_TRUE(LoadFileBytes(file, mapped));
    ASSERT_TRUE(LoadFileBytes(file, read, false));
    EXPECT_NE(mapped.mapped, nullptr);
    EXPECT_EQ(read.mapped, nullptr);
    EXPECT_EQ(mapped.bytes, text);
    EXPECT_EQ(read.bytes, text);
}

TEST(ObjReaderChunks, ReleasedPagesReadBackTheSame) {
    std::string text;
    while (text.size() < (size_t(3) << 20)) text += Grid(20, "\n");
    const std::string file = WriteFile(TempFolder(), "big.obj", text);
    FileBytes bytes;
    ASSERT_TRUE(LoadFileBytes(file, bytes));
    ReleaseFileBytes(bytes, bytes.bytes.data(), bytes.bytes.data() + bytes.bytes.size());
    EXPECT_EQ(bytes.bytes, text);
}

TEST(ObjReaderChunks, LargeFileReadFromDiskAsFromText) {
    // Several stretches of a megabyte or more, each let go once read; the "nan(" that closes
    // on a later line near the end sends the whole text through again after that.
    std::string text;
    while (text.size() < (size_t(5) << 20)) text += Grid(20, "\n") + "v 1 2\n";
    for (const std::string tail : {"", "v nan(\n) 1 2\n"}) {
        const std::string file = WriteFile(TempFolder(), "big.obj", text + tail);
        Read fromFile;
        std::ostringstream log;
        fromFile.ok =
            ReadObj(file, fromFile.positions, fromFile.faces, fromFile.normals, fromFile.tex, log);
        fromFile.log = log.str();
        ExpectSame(fromFile, ReadText(text + tail, text.size() + 64, 1), "from the file");
        EXPECT_GT(fromFile.positions.size(), 10000u);
    }
}

TEST(ObjReaderChunks, NanWhoseParenthesesCloseOnALaterLine) {
    // The number runs over two line breaks; a cut inside it makes the text read as one stretch.
    const std::string text = "v 0 0 0\nv nan(\nx\n) 1 2\nv 3 3 3\nv 1 2\n";
    for (size_t bytes : {0, 1, 10, 12}) ExpectSameAsSpirit(text, bytes, 2);
    const Read r = ReadText(text, 1);
    ASSERT_EQ(r.positions.size(), 3u);
    EXPECT_TRUE(std::isnan(r.positions[1][0]));
    EXPECT_EQ(r.log, "Incomplete Parse\n");
}

// Random documents of well-formed and broken lines, every line break kind, cut anywhere.
std::string RandomDocument(std::mt19937& rng) {
    auto pick = [&rng](int n) { return int(rng() % uint32_t(n)); };
    auto real = [&] {
        static const char* odd[] = {"nan",
                                    "-inf",
                                    "inf",
                                    "1e999",
                                    "1e-999",
                                    ".5",
                                    "5.",
                                    "-0",
                                    "1e",
                                    "+3",
                                    "0x1",
                                    "1.2.3",
                                    "12345678901234567890.5"};
        if (pick(12) == 0) return std::string(odd[pick(int(std::size(odd)))]);
        return std::to_string(pick(2000) - 1000) +
               (pick(2) ? "." + std::to_string(pick(1000)) : "");
    };
    auto index = [&] {
        if (pick(15) == 0) return std::string(pick(2) ? "0" : "99999999999");
        const int i = 1 + pick(12);
        return std::to_string(pick(3) == 0 ? -i : i);
    };
    auto blank = [&] { return std::string(size_t(1 + pick(2) * pick(3)), pick(5) ? ' ' : '\t'); };
    std::string t;
    const int lines = 1 + pick(40);
    for (int l = 0; l < lines; ++l) {
        switch (pick(16)) {
            case 0:
            case 1:
            case 2:
                t += "v" + blank() + real() + blank() + real() + blank() + real();
                break;
            case 3:
                t += "vn " + real() + " " + real() + " " + real();
                break;
            case 4:
                t += "vt " + real() + " " + real() + (pick(2) ? " " + real() : "");
                break;
            case 5:
                t += "f " + index() + " " + index() + " " + index();
                break;
            case 6: {
                t += "f";
                for (int k = 0; k < 3; ++k) t += " " + index() + "/" + index() + "/" + index();
                break;
            }
            case 7: {
                t += "f";
                const char* sep = pick(2) ? "//" : "/";
                for (int k = 0; k < 3; ++k) t += " " + index() + sep + index();
                break;
            }
            case 8: {
                static const char* other[] = {
                    "# c",    "o obj",       "g a b",       "usemtl m", "s 1", "l 1 2",
                    "vp 1 2", "newmtl x",    "F 1 2 3",     "V 1 2 3",  "",    " ",
                    "\t",     "v 1 2 3 red", "v 1 2 3 foo", "f 1 2 3 4"};
                t += other[pick(int(std::size(other)))];
                break;
            }
            case 9:
                t += "vt 1 2 1e999";
                break;
            case 10:
                t += "v nan( " + std::string(pick(2) ? "\n" : "") + ") 1 2";
                break;
            default: {
                // A well-formed line with one character replaced or dropped.
                std::string line = "v " + real() + " " + real() + " " + real();
                const size_t at = size_t(pick(int(line.size())));
                static const char junk[] = "v/ .e-#\tnf0";
                if (pick(2))
                    line[at] = junk[pick(int(sizeof junk) - 1)];
                else
                    line.erase(at, 1);
                t += line;
            }
        }
        if (pick(4) == 0) t += blank();
        if (l + 1 < lines || pick(2)) {
            const int eol = pick(5);
            t += eol == 0 ? "\r\n" : eol == 1 ? "\r" : "\n";
        }
    }
    return t;
}

TEST(ObjReaderChunks, RandomDocumentsMatchSpiritAtAnyCut) {
    std::mt19937 rng(99);
    for (int i = 0; i < 3000; ++i) {
        const std::string text = RandomDocument(rng);
        const size_t bytes = i % 3 == 0 ? 0 : 1 + rng() % 24;
        ExpectSameAsSpirit(text, bytes, 1 + unsigned(rng() % 3));
        ExpectSame(ReadText(text, bytes), ReadText(text, 0, 1),
                   "chunk bytes " + std::to_string(bytes) + " in:\n" + text);
        if (HasFailure()) return;
    }
}

}  // namespace
}  // namespace tv
