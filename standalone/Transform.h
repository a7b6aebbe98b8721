// Layer-to-world matrices of the composition model, row-vector convention (p' = p * M), through
// the whole parent chain. Comp space: origin top left, X right, Y down, Z away from the viewer.
#pragma once

#include "host/Matrix.h"
#include "standalone/Composition.h"

namespace tv::standalone {

// Rotations about one axis by degrees; positive turns X toward Y (clockwise on screen), Y toward
// Z and Z toward X.
Mat4 RotationX(double degrees);
Mat4 RotationY(double degrees);
Mat4 RotationZ(double degrees);

// The layer's own matrix, from its layer space into its parent's space (comp space without a
// parent): minus the anchor, scale, Z, Y and X rotations, orientation (Z, Y, X), position.
// Cameras and lights have no anchor or scale; a two-node one first turns to face its point of
// interest.
Mat4 LayerToParent(const Layer& layer, const Comp& comp, double seconds);

// The layer's matrix into comp space: its own, then each parent's in turn.
Mat4 LayerToWorld(const Layer& layer, const Comp& comp, double seconds);

// The layer whose id is `id` in the comp, or null.
const Layer* LayerById(const Comp& comp, uint32_t id);

}  // namespace tv::standalone
