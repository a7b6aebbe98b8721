// Comp time: a fine scale of at least 1000 ticks per frame, so that motion-blur samples fall
// between frames.
#include <algorithm>

#include "standalone/Composition.h"

namespace tv::standalone {

uint32_t Comp::timeScale() const {
    const int32_t den = std::max(fpsDen, 1);
    const int32_t ticksPerUnit = (1000 + den - 1) / den;  // at least 1000 ticks per frame
    return static_cast<uint32_t>(std::max(fpsNum, 1) * ticksPerUnit);
}

int32_t Comp::ticksPerFrame() const {
    const int32_t den = std::max(fpsDen, 1);
    return den * ((1000 + den - 1) / den);
}

A_Time Comp::frameTime(int64_t frame) const {
    return A_Time{static_cast<int32_t>(frame * ticksPerFrame()), timeScale()};
}

}  // namespace tv::standalone
