// A curve over distance: 200 float samples from 0 to 50; height 50 is a factor of 1.0.
#pragma once

#include <array>

namespace tv {

struct DistanceCurve {
    std::array<float, 200> samples{};
    float eval(float t) const;
    static DistanceCurve DefaultOpacity();    // full to half the distance, then falling
    static DistanceCurve DefaultThickness();  // flat at 1.0
};
static_assert(sizeof(DistanceCurve) == 800);

}  // namespace tv
