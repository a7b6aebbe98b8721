// The transform effector's matrix, shared with its tests.
#pragma once

#include "host/Matrix.h"

namespace tv {

// Row-vector matrix of translate * center * scale * Rx * Ry * Rz * -center (column order);
// angles in degrees, scales as factors.
Mat4 TransformEffectorMatrix(const double center[3], const double rotation[3],
                             const double translate[3], const double scale[3]);

}  // namespace tv
