// Reads a Wavefront OBJ file into positions, triangles and per-vertex normals and texture
// coordinates. Only v, vn, vt and f lines are read; everything else is skipped. The file is
// mapped into memory and, when large, read in stretches on all cores.
#pragma once

#include <array>
#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "host/GeometryStore.h"

namespace tv {

// Appends what the file holds to the four arrays. False when the file cannot be read or a face
// names a position that does not exist; then nothing is added. Problems are reported as lines on
// `log` (standard output by default) and never thrown; `badLines`, when given, receives the
// one-based line of each line that could not be read whole.
bool ReadObj(const std::string& path, std::vector<std::array<double, 3>>& positions,
             std::vector<Vec3i>& faces, std::vector<Vec3f>& normals, std::vector<Vec3f>& texCoords);
bool ReadObj(const std::string& path, std::vector<std::array<double, 3>>& positions,
             std::vector<Vec3i>& faces, std::vector<Vec3f>& normals, std::vector<Vec3f>& texCoords,
             std::ostream& log, std::vector<size_t>* badLines = nullptr);

}  // namespace tv
