// How the renderers' geometry steps run blocks of independent work.
#pragma once

#include <cstdint>
#include <functional>

namespace tv {

// Runs `count` jobs, possibly in parallel; the host's iteration in the effects.
using ParallelFor = std::function<void(int32_t count, const std::function<void(int32_t)>& job)>;

}  // namespace tv
