// The OBJ reader on text already in memory, with the stretch size and thread count open to
// tests; ReadObj maps the file and calls this.
#pragma once

#include <array>
#include <iosfwd>
#include <string_view>
#include <vector>

#include "host/GeometryStore.h"
#include "sources/ObjChunks.h"

namespace tv {

// As ReadObj, on `text`: appends what it holds to the four arrays; false when a face names a
// position that does not exist (then nothing is added) or reading failed. `badLines`, when given,
// receives the one-based line of each place where reading a line stopped short, in file order.
bool ReadObjText(std::string_view text, const ObjReadOptions& options,
                 std::vector<std::array<double, 3>>& positions, std::vector<Vec3i>& faces,
                 std::vector<Vec3f>& normals, std::vector<Vec3f>& texCoords, std::ostream& log,
                 std::vector<size_t>* badLines = nullptr);

}  // namespace tv
