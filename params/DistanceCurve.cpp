#include "params/DistanceCurve.h"

#include <algorithm>
#include <cmath>

namespace tv {

float DistanceCurve::eval(float t) const {
    // A NaN t reads as 0: it must not reach the integer conversion.
    const float x = std::isnan(t) ? 0.0f : std::clamp(t * 200.0f, 0.0f, 199.0f);
    const int i = static_cast<int>(x);
    const float f = x - float(i);
    return ((1 - f) * samples[size_t(i)] + f * samples[size_t(std::min(i + 1, 199))]) / 50.0f;
}

DistanceCurve DistanceCurve::DefaultOpacity() {
    DistanceCurve c;
    for (int i = 0; i < 200; ++i)
        c.samples[size_t(i)] = i < 100 ? 50.0f : 50.0f - float(i - 100) / 100.0f * 50.0f;
    return c;
}

DistanceCurve DistanceCurve::DefaultThickness() {
    DistanceCurve c;
    c.samples.fill(50.0f);
    return c;
}

}  // namespace tv
