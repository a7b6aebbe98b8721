// Moves a store's vertices by their jitter for the length of a scope and back when it ends, also
// when the work in between throws.
#pragma once

#include "host/GeometryStore.h"
#include "renderers/ParallelFor.h"

namespace tv {

class JitterShift {
  public:
    JitterShift(GeometryStore& store, const ParallelFor& parallel);
    ~JitterShift();
    JitterShift(const JitterShift&) = delete;
    JitterShift& operator=(const JitterShift&) = delete;

  private:
    GeometryStore& store_;
    const ParallelFor& parallel_;
};

}  // namespace tv
