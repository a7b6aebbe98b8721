// Gradient noise shared by the geometry store's jitter and the noise effector: the periodic 4D
// noise of the current generator, and the compatibility generator's table-driven noise.
#pragma once

#include <cstdint>

namespace tv {

// Cell of a coordinate: truncation, less one when the coordinate is not above zero (an exact 0.0
// lands in cell -1; the old look depends on it).
inline int32_t NoiseCell(float v) {
    return v > 0 ? int32_t(v) : int32_t(v) - 1;
}
inline float NoiseFade(float t) {
    return t * t * t * (t * (t * 6 - 15) + 10);
}

// Periodic 4D gradient noise on Perlin's permutation; x, y, z, w wrap at their periods.
float PeriodicNoise4(float x, float y, float z, float w, int32_t px, int32_t py, int32_t pz,
                     int32_t pw);
// Octave sum from amplitude 0.5, halving the amplitude and doubling the coordinates; only w wraps
// (at `period`). 0 octaves give 0.
float Fbm4(int32_t octaves, float x, float y, float z, float w, int32_t period);

// The compatibility generator: an octave count and 512 table bytes filled from the twister.
class Perlin {
  public:
    Perlin(int32_t octaves, int32_t seed);
    float noise1(float x) const;
    float noise3(float x, float y, float z) const;
    float fbm1(float x) const;
    float fbm3(float x, float y, float z) const;
    const uint8_t* table() const { return table_; }
    uint8_t octaves() const { return octaves_; }

  private:
    uint8_t octaves_;
    uint8_t table_[512];
};

}  // namespace tv
