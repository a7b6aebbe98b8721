// Beams on the GPU: a 20-sided circle swept along each path, as triangle strips.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engines/DrawRecords.h"

namespace tv {

inline constexpr int32_t kTubeSides = 20;
inline constexpr uint32_t kRestartIndex = 0xFFFFFFFFu;

struct TubeMesh {
    std::vector<float> positions;   // x, y, z per vertex
    std::vector<float> colors;      // R, G, B, A per vertex
    std::vector<uint32_t> indices;  // strips separated by kRestartIndex
    std::vector<std::string> warnings;
};

// Appends the tube of one path: a ring of kTubeSides + 1 vertices (closed) per point, its frame
// fixed by the first segment (an up vector made perpendicular to it) and carried along; one strip
// per segment. A path of fewer than 2 points adds nothing; a first segment of length zero is
// reported and leaves the rings flat.
void BuildTube(const BeamPath& path, const std::vector<float>& radii, TubeMesh& out);

}  // namespace tv
