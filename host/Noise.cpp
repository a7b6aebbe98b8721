#include "host/Noise.h"

#include "host/Random.h"

namespace tv {

namespace {

// Perlin's published permutation, doubled.
constexpr uint8_t kPerm256[256] = {
    151, 160, 137, 91,  90,  15,  131, 13,  201, 95,  96,  53,  194, 233, 7,   225, 140, 36,  103,
    30,  69,  142, 8,   99,  37,  240, 21,  10,  23,  190, 6,   148, 247, 120, 234, 75,  0,   26,
    197, 62,  94,  252, 219, 203, 117, 35,  11,  32,  57,  177, 33,  88,  237, 149, 56,  87,  174,
    20,  125, 136, 171, 168, 68,  175, 74,  165, 71,  134, 139, 48,  27,  166, 77,  146, 158, 231,
    83,  111, 229, 122, 60,  211, 133, 230, 220, 105, 92,  41,  55,  46,  245, 40,  244, 102, 143,
    54,  65,  25,  63,  161, 1,   216, 80,  73,  209, 76,  132, 187, 208, 89,  18,  169, 200, 196,
    135, 130, 116, 188, 159, 86,  164, 100, 109, 198, 173, 186, 3,   64,  52,  217, 226, 250, 124,
    123, 5,   202, 38,  147, 118, 126, 255, 82,  85,  212, 207, 206, 59,  227, 47,  16,  58,  17,
    182, 189, 28,  42,  223, 183, 170, 213, 119, 248, 152, 2,   44,  154, 163, 70,  221, 153, 101,
    155, 167, 43,  172, 9,   129, 22,  39,  253, 19,  98,  108, 110, 79,  113, 224, 232, 178, 185,
    112, 104, 218, 246, 97,  228, 251, 34,  242, 193, 238, 210, 144, 12,  191, 179, 162, 241, 81,
    51,  145, 235, 249, 14,  239, 107, 49,  192, 214, 31,  181, 199, 106, 157, 184, 84,  204, 176,
    115, 121, 50,  45,  127, 4,   150, 254, 138, 236, 205, 93,  222, 114, 67,  29,  24,  72,  243,
    141, 128, 195, 78,  66,  215, 61,  156, 180};

struct PermTable {
    uint8_t p[512];
    constexpr PermTable() : p() {
        for (int i = 0; i < 512; ++i) p[i] = kPerm256[i & 255];
    }
};
constexpr PermTable kPerm;

inline float Lerp(float t, float a, float b) {
    return a + t * (b - a);
}

inline float Grad1(int hash, float x) {
    const int h = hash & 15;
    float grad = 1.0f + float(h & 7);
    if (h & 8) grad = -grad;
    return grad * x;
}

inline float Grad3(int hash, float x, float y, float z) {
    const int h = hash & 15;
    const float u = h < 8 ? x : y;
    const float v = h < 4 ? y : (h == 12 || h == 14) ? x : z;
    return ((h & 1) ? -u : u) + ((h & 2) ? -v : v);
}

inline float Grad4(int hash, float x, float y, float z, float t) {
    const int h = hash & 31;
    const float u = h < 24 ? x : y;
    const float v = h < 16 ? y : z;
    const float w = h < 8 ? z : t;
    return ((h & 1) ? -u : u) + ((h & 2) ? -v : v) + ((h & 4) ? -w : w);
}

}  // namespace

float PeriodicNoise4(float x, float y, float z, float w, int32_t px, int32_t py, int32_t pz,
                     int32_t pw) {
    const uint8_t* perm = kPerm.p;
    int32_t ix0 = NoiseCell(x), iy0 = NoiseCell(y), iz0 = NoiseCell(z), iw0 = NoiseCell(w);
    const float fx0 = x - float(ix0), fy0 = y - float(iy0), fz0 = z - float(iz0),
                fw0 = w - float(iw0);
    const float fx1 = fx0 - 1.0f, fy1 = fy0 - 1.0f, fz1 = fz0 - 1.0f, fw1 = fw0 - 1.0f;
    const int32_t ix1 = ((ix0 + 1) % px) & 0xff, iy1 = ((iy0 + 1) % py) & 0xff,
                  iz1 = ((iz0 + 1) % pz) & 0xff, iw1 = ((iw0 + 1) % pw) & 0xff;
    ix0 = (ix0 % px) & 0xff;
    iy0 = (iy0 % py) & 0xff;
    iz0 = (iz0 % pz) & 0xff;
    iw0 = (iw0 % pw) & 0xff;
    const float r = NoiseFade(fw0), t = NoiseFade(fz0), s = NoiseFade(fy0), q = NoiseFade(fx0);

    auto g = [&](int ix, int iy, int iz, int iw, float gx, float gy, float gz, float gw) {
        return Grad4(perm[ix + perm[iy + perm[iz + perm[iw]]]], gx, gy, gz, gw);
    };
    // Innermost over w, then z, y and x, in the classic order so float rounding matches.
    auto alongW = [&](int ix, int iy, int iz, float gx, float gy, float gz) {
        return Lerp(r, g(ix, iy, iz, iw0, gx, gy, gz, fw0), g(ix, iy, iz, iw1, gx, gy, gz, fw1));
    };
    auto alongZ = [&](int ix, int iy, float gx, float gy) {
        return Lerp(t, alongW(ix, iy, iz0, gx, gy, fz0), alongW(ix, iy, iz1, gx, gy, fz1));
    };
    auto alongY = [&](int ix, float gx) {
        return Lerp(s, alongZ(ix, iy0, gx, fy0), alongZ(ix, iy1, gx, fy1));
    };
    const float n0 = alongY(ix0, fx0);
    const float n1 = alongY(ix1, fx1);
    return 0.87f * Lerp(q, n0, n1);
}

float Fbm4(int32_t octaves, float x, float y, float z, float w, int32_t period) {
    constexpr int32_t kHuge = 0x7FFFFFFF;
    float sum = 0.0f, amplitude = 0.5f;
    for (int32_t o = 0; o < octaves; ++o) {
        sum += amplitude * PeriodicNoise4(x, y, z, w, kHuge, kHuge, kHuge, period);
        amplitude *= 0.5f;
        x *= 2.0f;
        y *= 2.0f;
        z *= 2.0f;
        w *= 2.0f;
    }
    return sum;
}

Perlin::Perlin(int32_t octaves, int32_t seed) : octaves_(static_cast<uint8_t>(octaves)) {
    auto guard = MTRand_int32::lock();
    MTRand_int32 twister;
    twister.seed(static_cast<uint32_t>(seed & 255));
    for (int i = 0; i < 256; ++i) {
        const uint8_t v = static_cast<uint8_t>(twister.next() & 0xFF);
        table_[i] = v;
        table_[i + 256] = v;
    }
}

float Perlin::noise1(float x) const {
    const int32_t ix0 = NoiseCell(x);
    const float fx0 = x - float(ix0);
    const float fx1 = fx0 - 1.0f;
    const int32_t ix1 = (ix0 + 1) & 0xff;
    const float s = NoiseFade(fx0);
    return 0.188f * Lerp(s, Grad1(table_[ix0 & 0xff], fx0), Grad1(table_[ix1], fx1));
}

float Perlin::noise3(float x, float y, float z) const {
    const uint8_t* p = table_;
    int32_t ix0 = NoiseCell(x), iy0 = NoiseCell(y), iz0 = NoiseCell(z);
    const float fx0 = x - float(ix0), fy0 = y - float(iy0), fz0 = z - float(iz0);
    const float fx1 = fx0 - 1.0f, fy1 = fy0 - 1.0f, fz1 = fz0 - 1.0f;
    const int32_t ix1 = (ix0 + 1) & 0xff, iy1 = (iy0 + 1) & 0xff, iz1 = (iz0 + 1) & 0xff;
    ix0 &= 0xff;
    iy0 &= 0xff;
    iz0 &= 0xff;
    const float r = NoiseFade(fz0), t = NoiseFade(fy0), s = NoiseFade(fx0);
    auto g = [&](int ix, int iy, int iz, float gx, float gy, float gz) {
        return Grad3(p[ix + p[iy + p[iz]]], gx, gy, gz);
    };
    const float nx0 =
        Lerp(t, Lerp(r, g(ix0, iy0, iz0, fx0, fy0, fz0), g(ix0, iy0, iz1, fx0, fy0, fz1)),
             Lerp(r, g(ix0, iy1, iz0, fx0, fy1, fz0), g(ix0, iy1, iz1, fx0, fy1, fz1)));
    const float nx1 =
        Lerp(t, Lerp(r, g(ix1, iy0, iz0, fx1, fy0, fz0), g(ix1, iy0, iz1, fx1, fy0, fz1)),
             Lerp(r, g(ix1, iy1, iz0, fx1, fy1, fz0), g(ix1, iy1, iz1, fx1, fy1, fz1)));
    return 0.936f * Lerp(s, nx0, nx1);
}

float Perlin::fbm1(float x) const {
    float sum = 0.0f, amplitude = 0.5f;
    for (int o = 0; o < octaves_; ++o) {
        sum += amplitude * noise1(x);
        amplitude *= 0.5f;
        x *= 2.0f;
    }
    return sum;
}

float Perlin::fbm3(float x, float y, float z) const {
    float sum = 0.0f, amplitude = 0.5f;
    for (int o = 0; o < octaves_; ++o) {
        sum += amplitude * noise3(x, y, z);
        amplitude *= 0.5f;
        x *= 2.0f;
        y *= 2.0f;
        z *= 2.0f;
    }
    return sum;
}

}  // namespace tv
