// Animated values: keyframes with linear, hold and bezier interpolation, in the manner of a
// compositing host (speed in units per second, influence as a fraction of the segment).
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace tv::standalone {

enum class Interp : uint8_t { Linear, Hold, Bezier };

struct Key {
    double t = 0;                    // seconds
    std::array<double, 4> v{};       // up to four components
    Interp interp = Interp::Linear;  // how the value leaves this key toward the next
    double speedIn = 0, influenceIn = 1.0 / 3.0;
    double speedOut = 0, influenceOut = 1.0 / 3.0;
};

// The value at time t: before the first key its value, after the last key its value.
std::array<double, 4> Evaluate(const std::vector<Key>& keys, double t, int components);

}  // namespace tv::standalone
