// Colour gradients: the stored record (a byte length, then 24-byte stops) and the lookup, which
// follows the 8-bit arithmetic of a common UI toolkit's colour gradient so that pictures match
// what the gradient editor shows.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace tv {

#pragma pack(push, 4)
struct GradientStop {
    double position = 0;  // 0..1
    float red = 0, green = 0, blue = 0, alpha = 1;
};
#pragma pack(pop)
static_assert(sizeof(GradientStop) == 24);

// R, G, B, A in 0..1. An empty list gives transparent black.
std::array<float, 4> GradientColorAt(const std::vector<GradientStop>& stops, double t);

// The stops stored in a gradient record's bytes (u32 length, then the stops).
std::vector<GradientStop> GetGradientStops(const uint8_t* bytes, uint64_t size);
std::vector<uint8_t> MakeGradientRecord(const std::vector<GradientStop>& stops);

}  // namespace tv
