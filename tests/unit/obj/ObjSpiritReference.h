// The OBJ reader as it was first written, a Boost.Spirit Qi grammar, kept as the reference the
// hand-written reader is compared with: same numbers to the bit, same statements, same lines
// reported.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "host/GeometryStore.h"

namespace tv::objtest {

// What the grammar collects, before the range checks.
struct SpiritObj {
    std::vector<std::array<double, 3>> positions;
    std::vector<std::array<double, 3>> normals;
    std::vector<std::array<double, 3>> texCoords;
    std::vector<Vec3i> faces;
    std::vector<Vec3i> faceNormals;
    std::vector<Vec3i> faceTex;
    // One-based line of each place where the parse stopped ("Incomplete Parse").
    std::vector<size_t> badLines;
};

SpiritObj ParseWithSpirit(std::string_view text);

}  // namespace tv::objtest
