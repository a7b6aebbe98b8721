#include "sources/ObjReader.h"

#include <algorithm>
#include <atomic>
#include <iostream>

#include "host/FileBytes.h"
#include "sources/ObjParallel.h"
#include "sources/ObjReadText.h"

namespace tv {

namespace {

// How many lines of each kind come before a stretch (and, for the whole text, in total).
struct Counts {
    size_t positions = 0, normals = 0, texCoords = 0, faces = 0, faceNormals = 0, faceTex = 0;
};

std::vector<Counts> Before(const std::vector<ObjChunk>& chunks, Counts& total) {
    std::vector<Counts> before;
    before.reserve(chunks.size());
    for (const ObjChunk& c : chunks) {
        before.push_back(total);
        total.positions += c.positions.size();
        total.normals += c.normals.size();
        total.texCoords += c.texCoords.size();
        total.faces += c.faces.index.size();
        total.faceNormals += c.faceNormals.index.size();
        total.faceTex += c.faceTex.index.size();
    }
    return before;
}

// Entry i of a stretch's corners with its flagged corners shifted by the earlier lines' count.
inline Vec3i Resolved(const ObjCorners& c, size_t i, size_t earlier) {
    Vec3i v = c.index[i];
    if (c.shift.empty() || c.shift[i] == 0) return v;
    const uint8_t m = c.shift[i];
    const uint32_t add = uint32_t(earlier);
    if (m & 1) v.x = int32_t(uint32_t(v.x) + add);
    if (m & 2) v.y = int32_t(uint32_t(v.y) + add);
    if (m & 4) v.z = int32_t(uint32_t(v.z) + add);
    return v;
}

// Whether every corner of the given kind, over all stretches, names one of `count` lines.
bool InRange(const std::vector<ObjChunk>& chunks, const std::vector<Counts>& before,
             ObjCorners ObjChunk::*corners, size_t Counts::*earlier, size_t count,
             unsigned threads) {
    std::atomic<bool> ok{true};
    RunJobs(chunks.size(), threads, [&](size_t k) {
        const ObjCorners& c = chunks[k].*corners;
        const size_t shift = before[k].*earlier;
        for (size_t i = 0; i < c.index.size(); ++i) {
            const Vec3i v = Resolved(c, i, shift);
            for (int32_t x : {v.x, v.y, v.z})
                if (x < 0 || size_t(x) >= count) {
                    ok = false;
                    return;
                }
        }
    });
    return ok;
}

// One value per position: taken as they are when there are as many as positions, else written
// through the face corners (the last face to touch a vertex wins, untouched vertices stay zero).
// Nothing when the per-face indices do not cover every face.
void PerVertex(const std::vector<ObjChunk>& chunks, const std::vector<Counts>& before,
               const Counts& total, std::vector<Vec3f> ObjChunk::*values,
               size_t Counts::*valueCount, ObjCorners ObjChunk::*corners,
               size_t Counts::*cornerCount, std::vector<Vec3f>& out) {
    if (total.*valueCount == 0 || total.*cornerCount != total.faces) return;
    if (total.*valueCount == total.positions) {
        out.reserve(out.size() + total.positions);
        for (const ObjChunk& c : chunks)
            out.insert(out.end(), (c.*values).begin(), (c.*values).end());
        return;
    }
    std::vector<Vec3f> all;
    all.reserve(total.*valueCount);
    for (const ObjChunk& c : chunks) all.insert(all.end(), (c.*values).begin(), (c.*values).end());
    std::vector<Vec3f> perVertex(total.positions);
    // Every face has its corners of this kind, so a stretch has as many of them as faces.
    for (size_t k = 0; k < chunks.size(); ++k) {
        const ObjCorners& f = chunks[k].faces;
        const ObjCorners& q = chunks[k].*corners;
        for (size_t i = 0; i < f.index.size(); ++i) {
            const Vec3i p = Resolved(f, i, before[k].positions);
            const Vec3i v = Resolved(q, i, before[k].*valueCount);
            perVertex[size_t(p.x)] = all[size_t(v.x)];
            perVertex[size_t(p.y)] = all[size_t(v.y)];
            perVertex[size_t(p.z)] = all[size_t(v.z)];
        }
    }
    out.insert(out.end(), perVertex.begin(), perVertex.end());
}

}  // namespace

bool ReadObjText(std::string_view text, const ObjReadOptions& options,
                 std::vector<std::array<double, 3>>& positions, std::vector<Vec3i>& faces,
                 std::vector<Vec3f>& normals, std::vector<Vec3f>& texCoords, std::ostream& log,
                 std::vector<size_t>* badLines) {
    std::vector<ObjChunk> chunks = ReadObjChunks(text, options);

    // Reading that failed keeps what came before the failure, as a sequential read would.
    bool ok = true;
    for (size_t k = 0; k < chunks.size(); ++k)
        if (chunks[k].failed) {
            chunks.resize(k + 1);
            ok = false;
            break;
        }
    size_t linesBefore = 0;
    for (const ObjChunk& c : chunks) {
        for (const ObjBadLine& bad : c.badLines) {
            log << bad.message << '\n';
            if (badLines) badLines->push_back(linesBefore + bad.line + 1);
        }
        linesBefore += c.lines;
    }
    if (!ok) log << "Error Parsing the OBJ File\n";

    Counts total;
    const std::vector<Counts> before = Before(chunks, total);
    const unsigned threads = options.threads;
    if (!InRange(chunks, before, &ObjChunk::faces, &Counts::positions, total.positions, threads)) {
        log << "Position Range Check Failed\n";
        return false;
    }
    positions.reserve(positions.size() + total.positions);
    for (const ObjChunk& c : chunks)
        positions.insert(positions.end(), c.positions.begin(), c.positions.end());
    faces.reserve(faces.size() + total.faces);
    for (size_t k = 0; k < chunks.size(); ++k) {
        const ObjCorners& f = chunks[k].faces;
        if (f.shift.empty()) {
            faces.insert(faces.end(), f.index.begin(), f.index.end());
            continue;
        }
        for (size_t i = 0; i < f.index.size(); ++i)
            faces.push_back(Resolved(f, i, before[k].positions));
    }

    if (!InRange(chunks, before, &ObjChunk::faceNormals, &Counts::normals, total.normals,
                 threads)) {
        log << "Normal Range Check Failed\n";
    } else {
        PerVertex(chunks, before, total, &ObjChunk::normals, &Counts::normals,
                  &ObjChunk::faceNormals, &Counts::faceNormals, normals);
    }
    if (!InRange(chunks, before, &ObjChunk::faceTex, &Counts::texCoords, total.texCoords,
                 threads)) {
        log << "Texture Range Check Failed\n";
    } else {
        PerVertex(chunks, before, total, &ObjChunk::texCoords, &Counts::texCoords,
                  &ObjChunk::faceTex, &Counts::faceTex, texCoords);
    }
    return ok;
}

bool ReadObj(const std::string& path, std::vector<std::array<double, 3>>& positions,
             std::vector<Vec3i>& faces, std::vector<Vec3f>& normals,
             std::vector<Vec3f>& texCoords) {
    return ReadObj(path, positions, faces, normals, texCoords, std::cout);
}

bool ReadObj(const std::string& path, std::vector<std::array<double, 3>>& positions,
             std::vector<Vec3i>& faces, std::vector<Vec3f>& normals, std::vector<Vec3f>& texCoords,
             std::ostream& log, std::vector<size_t>* badLines) {
    FileBytes file;
    if (!LoadFileBytes(path, file)) return false;
    // Each stretch's pages go back to the system once read, so the whole file is never
    // resident alongside everything read from it.
    ObjReadOptions options;
    options.stretchRead = [&file](const char* begin, const char* end) {
        ReleaseFileBytes(file, begin, end);
    };
    return ReadObjText(file.bytes, options, positions, faces, normals, texCoords, log, badLines);
}

}  // namespace tv
