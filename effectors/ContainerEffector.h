// The container effector's projection of one vertex into a box or an ellipsoid.
#pragma once

#include "host/GeometryStore.h"

namespace tv {

// Moves p into the container about `center`, turned by `rotation` (degrees): type 2 a box of
// `boxSize` x `scale`, type 3 a sphere of `radius` scaled per axis (every vertex takes the scale,
// inside ones too).
void ContainVertex(const double center[3], const float boxSize[3], float radius,
                   const float scale[3], const float rotation[3], int32_t type, Vec3f& p);

}  // namespace tv
