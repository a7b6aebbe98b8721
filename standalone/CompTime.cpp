// Comp time: a fine scale of at least 1000 ticks per frame, so that motion-blur samples fall
// between frames.
#include <algorithm>
#include <cmath>

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

int64_t Comp::frameCount() const {
    return std::max<int64_t>(1, int64_t(duration * fpsNum / std::max(fpsDen, 1)));
}

std::pair<int64_t, int64_t> Comp::workAreaFrames() const {
    const int64_t last = frameCount() - 1;
    if (workEnd <= 0) return {0, last};
    const double fps = double(fpsNum) / std::max(fpsDen, 1);
    // A frame's time a hair past a bound still counts as on it (seconds written by hand).
    const auto firstAtOrAfter = [fps](double t) { return int64_t(std::ceil(t * fps - 1e-6)); };
    const int64_t first = std::clamp<int64_t>(firstAtOrAfter(workStart), 0, last);
    return {first, std::clamp<int64_t>(firstAtOrAfter(workEnd) - 1, first, last)};
}

}  // namespace tv::standalone
