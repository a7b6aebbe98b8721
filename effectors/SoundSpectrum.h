// The sound effector's analysis: spectra of 16 kHz mono samples, the echo rows over time, and
// the lookups the vertices make into them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tv {

inline constexpr int32_t kSoundRate = 16000;

// Magnitudes from `f0` to `f1` Hz of `n` samples: a Blackman window over the next power of two
// above n, the complex transform (sign +1) of the buffer read as interleaved pairs, magnitudes
// 0.5 |X| / N, bins of 8000 / (N / 2) Hz kept up to f1 (zeros beyond the data) and dropped below
// f0. Fewer than 4 samples: empty.
std::vector<float> SoundSpectrum(const float* samples, size_t n, double f0, double f1);

// The power of two the spectrum works on: n with its lower bits filled, plus one.
size_t SpectrumSize(size_t n);

// Linear lookup at u (held to 0..1) along one spectrum.
float LiveLookup(const std::vector<float>& s, double u);

// Bilinear lookup at u (across a row) and v (across the rows), both held to 0..1; 0 when the
// two rows read differ in length or one is empty.
float TableLookup(const std::vector<std::vector<float>>& rows, double u, double v);

// Where the echo rows lie in time, in host units of `scale` per second.
struct EchoRows {
    int32_t rows = 1;
    int64_t step = 1;
    int64_t cur = 0, rem = 0;
    double t0 = 0;  // seconds: the start of the one audio checkout
};
EchoRows PlanEchoRows(int32_t maxY, double echoFrames, int64_t timeStep, int64_t now,
                      uint32_t scale);

}  // namespace tv
