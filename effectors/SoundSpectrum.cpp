#include "effectors/SoundSpectrum.h"

#include <kiss_fft.h>

#include <algorithm>
#include <cmath>

namespace tv {

size_t SpectrumSize(size_t n) {
    size_t v = n;
    for (size_t shift = 1; shift < sizeof(size_t) * 8; shift <<= 1) v |= v >> shift;
    return v + 1;
}

std::vector<float> SoundSpectrum(const float* samples, size_t n, double f0, double f1) {
    if (n < 4 || !samples) return {};
    const size_t N = SpectrumSize(n);
    std::vector<float> a(N, 0.0f);
    std::copy(samples, samples + n, a.begin());
    const double pi = 3.14159265358979323846;
    for (size_t i = 0; i < N; ++i)
        a[i] = float(a[i] * (0.42 - 0.5 * std::cos(2 * pi * double(i) / double(N - 1)) +
                             0.08 * std::cos(4 * pi * double(i) / double(N - 1))));
    // The buffer read as N / 2 complex values, transformed with the sign +1 (KissFFT's inverse,
    // unnormalised).
    const size_t half = N / 2;
    kiss_fft_cfg cfg = kiss_fft_alloc(int(half), 1, nullptr, nullptr);
    std::vector<kiss_fft_cpx> in(half), out(half);
    for (size_t k = 0; k < half; ++k) in[k] = {a[2 * k], a[2 * k + 1]};
    kiss_fft(cfg, in.data(), out.data());
    kiss_fft_free(cfg);
    std::vector<float> m(half);
    for (size_t k = 0; k < half; ++k) {
        const double re = out[k].r, im = k == 0 ? 0.0 : out[k].i;
        m[k] = float(0.5 * std::sqrt(re * re + im * im) / double(N));
    }
    const double width = 8000.0 / double(half);
    m.resize(size_t(std::max(0.0, std::trunc(f1 / width + 1))), 0.0f);
    const auto drop = std::min(m.size(), size_t(std::max(0.0, std::trunc(f0 / width))));
    m.erase(m.begin(), m.begin() + long(drop));
    return m;
}

float LiveLookup(const std::vector<float>& s, double u) {
    if (s.empty()) return 0.0f;
    u = std::clamp(u, 0.0, 1.0);
    const double x = double(s.size()) * u;
    const auto last = int64_t(s.size()) - 1;
    const auto i = std::clamp<int64_t>(int64_t(x), 0, last);
    const auto j = std::min<int64_t>(i + 1, last);
    const double f = x - double(int64_t(x));
    return float(s[size_t(i)] + (s[size_t(j)] - s[size_t(i)]) * f);
}

float TableLookup(const std::vector<std::vector<float>>& rows, double u, double v) {
    if (rows.empty()) return 0.0f;
    u = std::clamp(u, 0.0, 1.0);
    v = std::clamp(v, 0.0, 1.0);
    const auto lastRow = int64_t(rows.size()) - 1;
    const double y = double(rows.size()) * v;
    const auto r0 = std::clamp<int64_t>(int64_t(y), 0, lastRow);
    const auto r1 = std::min<int64_t>(r0 + 1, lastRow);
    const auto& a = rows[size_t(r0)];
    const auto& b = rows[size_t(r1)];
    if (a.empty() || b.empty() || a.size() != b.size()) return 0.0f;
    const float top = LiveLookup(a, u), bottom = LiveLookup(b, u);
    const double fy = y - double(int64_t(y));
    return float(top + (bottom - top) * fy);
}

EchoRows PlanEchoRows(int32_t maxY, double echoFrames, int64_t timeStep, int64_t now,
                      uint32_t scale) {
    EchoRows e;
    e.rows = echoFrames <= 0 ? 1 : std::max(maxY, 1) + 2;
    e.step = e.rows == 1 ? 1 : std::max<int64_t>(1, int64_t(double(timeStep) * echoFrames));
    e.cur = now - now % e.step;
    e.rem = now % e.step;
    e.t0 = double(e.cur - int64_t(e.rows - 1) * e.step) / double(scale);
    return e;
}

}  // namespace tv
