// The statements of a stretch of OBJ text, read line by line: v, vn, vt and f lines; blanks,
// comments and other statements skipped; a line that cannot be read whole reported.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/GeometryStore.h"

namespace tv {

// Face corners (positions, normals or texture coordinates of faces) as read from one stretch.
// Indices are zero-based. A negative index counts back from the lines read so far; since the
// lines before the stretch are not known while it is read, such a corner holds its index
// counted from the stretch's start and is flagged, to be shifted by the earlier lines' count.
struct ObjCorners {
    std::vector<Vec3i> index;
    // Empty when no corner of the stretch is flagged; else one mask per entry of `index`, bit k
    // set when corner k is to be shifted.
    std::vector<uint8_t> shift;
};

// A place where the reading of a line stopped short.
struct ObjBadLine {
    size_t line = 0;  // line breaks between the stretch's start and the place
    const char* message = "";
};

// What one stretch of text holds, in file order.
struct ObjChunk {
    std::vector<std::array<double, 3>> positions;
    // Normals and texture coordinates are only ever handed out as floats.
    std::vector<Vec3f> normals;
    std::vector<Vec3f> texCoords;
    ObjCorners faces;
    ObjCorners faceNormals;
    ObjCorners faceTex;
    std::vector<ObjBadLine> badLines;
    size_t lines = 0;            // line breaks read
    const char* stop = nullptr;  // where reading ended: the stretch's end, or past it
    bool failed = false;         // reading threw (out of memory); what came before is kept
};

// Reads the lines that start in [begin, stretchEnd). `begin` is the start of a line and
// `stretchEnd` the end of the text or just past a line break. `textEnd` is the end of the whole
// text: a "nan(" may close on a later line, and then reading goes on past `stretchEnd`.
// `flagRelative` false (the first stretch) resolves negative indices at once.
ObjChunk ReadObjLines(const char* begin, const char* stretchEnd, const char* textEnd,
                      bool flagRelative);

}  // namespace tv
