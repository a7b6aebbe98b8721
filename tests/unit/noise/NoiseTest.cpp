#include <gtest/gtest.h>

#include <cmath>

#include "effectors/EffectorFrame.h"
#include "effectors/NoiseGenerators.h"
#include "host/Gather.h"
#include "standalone/Document.h"
#include "host/Random.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

// Written out plainly for the test: the periodic 4D gradient noise as a weighted sum over the
// 16 corners of the cell, in double precision.
const int kPerm[256] = {
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

int P(int i) {
    return kPerm[i & 255];
}

double Grad(int hash, double x, double y, double z, double w) {
    const int h = hash & 31;
    const double u = h < 24 ? x : y, v = h < 16 ? y : z, t = h < 8 ? z : w;
    return ((h & 1) ? -u : u) + ((h & 2) ? -v : v) + ((h & 4) ? -t : t);
}

double Fade(double t) {
    return t * t * t * (t * (t * 6 - 15) + 10);
}

double Reference4(double x, double y, double z, double w, int pw) {
    const double c[4] = {x, y, z, w};
    int cell[4];
    double frac[4];
    for (int i = 0; i < 4; ++i) {
        cell[i] = c[i] > 0 ? int(c[i]) : int(c[i]) - 1;
        frac[i] = c[i] - cell[i];
    }
    double sum = 0;
    for (int corner = 0; corner < 16; ++corner) {
        int idx[4];
        double weight = 1, off[4];
        for (int i = 0; i < 4; ++i) {
            const int bit = (corner >> i) & 1;
            int ci = cell[i] + bit;
            if (i == 3) ci %= pw;
            idx[i] = ci & 255;
            off[i] = frac[i] - bit;
            const double f = Fade(frac[i]);
            weight *= bit ? f : 1 - f;
        }
        const int hash = P(idx[0] + P(idx[1] + P(idx[2] + P(idx[3]))));
        sum += weight * Grad(hash, off[0], off[1], off[2], off[3]);
    }
    return 0.87 * sum;
}

TEST(Noise, CurrentGeneratorMatchesAPlainImplementation) {
    NoiseSettings s;
    s.octaves = 1;
    s.seed = 0;  // channel shifts 1, 32, 64, 128
    for (const auto& [ix, iy, iz] :
         {std::tuple{0, 0, 0}, std::tuple{3, 7, 1}, std::tuple{12, 2, 9}}) {
        float n[4];
        CurrentNoise(s, ix, iy, iz, n);
        const double x = float(ix * 0.25 + 0.11729999631643295),
                     y = float(iy * 0.25 + 0.7519000172615051),
                     z = float(iz * 0.25 + 0.3296999931335449);
        const double shifts[4] = {1, 32, 64, 128};
        for (int c = 0; c < 4; ++c) {
            const double k = shifts[c];
            const double expected = 0.5 * Reference4(x + k, y + k, z + k, 1.0 + k, 0x7FFFFFFF);
            EXPECT_NEAR(n[c], expected, 2e-5) << ix << "," << iy << "," << iz << " channel " << c;
        }
    }
}

TEST(Noise, LoopEvolutionWithOneCycleRepeatsAt360) {
    NoiseSettings s;
    s.period = 1;
    float a[4], b[4];
    s.evolution = 0;
    CurrentNoise(s, 4, 5, 6, a);
    s.evolution = 360;
    CurrentNoise(s, 4, 5, 6, b);
    for (int c = 0; c < 4; ++c) EXPECT_NEAR(a[c], b[c], 1e-6);
    s.period = 0x7FFFFFFF;  // without the loop it moves on
    CurrentNoise(s, 4, 5, 6, b);
    EXPECT_NE(a[0], b[0]);
}

TEST(Noise, ZeroOctavesGiveZeroInBothGenerators) {
    NoiseSettings s;
    s.octaves = 0;
    float n[4];
    CurrentNoise(s, 1, 2, 3, n);
    for (float v : n) EXPECT_EQ(v, 0.0f);
    const Perlin table(0, 10);
    CompatibilityNoise(s, table, 1, 2, 3, n);
    for (float v : n) EXPECT_EQ(v, 0.0f);
}

TEST(Noise, HslRoundTrip) {
    float h, s, l, r, g, b;
    RgbToHsl(0.2f, 0.6f, 0.9f, h, s, l);
    HslToRgb(h, s, l, r, g, b);
    EXPECT_NEAR(r, 0.2f, 1e-5);
    EXPECT_NEAR(g, 0.6f, 1e-5);
    EXPECT_NEAR(b, 0.9f, 1e-5);
}

TEST(EffectorFrame, AxisSelectionAndFalloff) {
    EXPECT_TRUE(AxisSelection(1).x && !AxisSelection(1).y && !AxisSelection(1).z);
    EXPECT_TRUE(AxisSelection(6).y && AxisSelection(6).z && !AxisSelection(6).x);
    EXPECT_TRUE(AxisSelection(7).x && AxisSelection(7).y && AxisSelection(7).z);
    FieldRecord f;
    f.radius = 10;
    f.fade = 0.5f;
    double w = -1;
    EXPECT_TRUE(FieldWeight(f, 4, w));
    EXPECT_DOUBLE_EQ(w, 1.0);
    EXPECT_TRUE(FieldWeight(f, 7.5, w));
    EXPECT_NEAR(w, 0.5, 1e-6);
    EXPECT_FALSE(FieldWeight(f, 10.5, w));
    FieldRecord point;  // radius 0 acts only at its centre, where 0/0 leaves no number
    EXPECT_TRUE(FieldWeight(point, 0, w));
    EXPECT_TRUE(std::isnan(w));
    EXPECT_FALSE(FieldWeight(point, 0.001, w));
    FieldRecord hard;  // fade 0: weight 1 inside, and no number exactly on the edge
    hard.radius = 10;
    hard.fade = 0;
    EXPECT_TRUE(FieldWeight(hard, 9.99, w));
    EXPECT_DOUBLE_EQ(w, 1.0);
    EXPECT_TRUE(FieldWeight(hard, 10, w));
    EXPECT_TRUE(std::isnan(w));
}

TEST(NoiseEffector, ZeroAmplitudeLeavesGeometryAndUnusedGroupDoesNothing) {
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("c", 100, 100);
    auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
    host.applyEffectInstance(layer, "KDL TAVRSRC Primitives");
    auto& noise = host.applyEffectInstance(layer, "KDL TAVREFF Noise");
    auto gather = [&] {
        ObjectMessage m;
        InitObjectMessage(m);
        Gather(host, layer.uid, A_Time{0, 30000}, m);
        auto p = m.geometry->positions;
        DisposeObjectMessage(m);
        return p;
    };
    noise.active = false;
    const auto plain = gather();
    noise.active = true;
    EXPECT_EQ(gather(), plain);  // amplitude 0 by default
    noise.params[5].value.u.floatValue = 50;
    EXPECT_NE(gather(), plain);
    noise.params[29].value.u.popup = 4;  // a group no source fills
    EXPECT_EQ(gather(), plain);
}

}  // namespace
}  // namespace tv

namespace tv {
namespace {

// The compatibility generator written out plainly: a table filled from the twister, 3D gradient
// noise as a weighted sum over the 8 corners, octaves summed from amplitude 0.5.
struct PlainPerlin {
    int table[512];
    explicit PlainPerlin(int seed) {
        MTRand_int32 mt(uint32_t(seed & 255));
        for (int i = 0; i < 256; ++i) table[i] = table[i + 256] = int(mt.next() & 0xFF);
    }
    static double Grad(int hash, double x, double y, double z) {
        const int h = hash & 15;
        const double u = h < 8 ? x : y, v = h < 4 ? y : (h == 12 || h == 14) ? x : z;
        return ((h & 1) ? -u : u) + ((h & 2) ? -v : v);
    }
    double Noise(double x, double y, double z) const {
        const double c[3] = {x, y, z};
        int cell[3];
        double frac[3];
        for (int i = 0; i < 3; ++i) {
            cell[i] = c[i] > 0 ? int(c[i]) : int(c[i]) - 1;
            frac[i] = c[i] - cell[i];
        }
        double sum = 0;
        for (int corner = 0; corner < 8; ++corner) {
            int idx[3];
            double w = 1, off[3];
            for (int i = 0; i < 3; ++i) {
                const int bit = (corner >> i) & 1;
                idx[i] = (cell[i] + bit) & 255;
                off[i] = frac[i] - bit;
                const double f = Fade(frac[i]);
                w *= bit ? f : 1 - f;
            }
            sum += w * Grad(table[idx[0] + table[idx[1] + table[idx[2]]]], off[0], off[1], off[2]);
        }
        return 0.936 * sum;
    }
    double Fbm(int octaves, double x, double y, double z) const {
        double s = 0, a = 0.5;
        for (int o = 0; o < octaves; ++o, a *= 0.5, x *= 2, y *= 2, z *= 2) s += a * Noise(x, y, z);
        return s;
    }
};

TEST(Noise, CompatibilityGeneratorMatchesAPlainImplementation) {
    NoiseSettings s;
    s.octaves = 2;
    s.seed = 10;
    s.scale[0] = 1.0;  // a whole number: X is mended by 0.001 (once: 0.999 is not whole)
    s.evolution = 30;
    s.rate = 0.5;
    const Perlin table(s.octaves, s.seed);
    const PlainPerlin plain(s.seed);
    for (const auto& [ix, iy, iz] :
         {std::tuple{0, 0, 0}, std::tuple{2, 5, 1}, std::tuple{7, 3, 4}}) {
        float n[4];
        CompatibilityNoise(s, table, ix, iy, iz, n);
        const float sx = 1.0f - 0.001f;
        const double e = 0.5 * 30;
        const float u = float(sx * (ix + 0.23) + e), v = float((iy + 0.27) * 0.25 + e),
                    t = float((iz + 0.31) * 0.25 + e);
        EXPECT_NEAR(n[0], plain.Fbm(2, u + 3, v + 8, t + 12), 2e-5);
        EXPECT_NEAR(n[1], plain.Fbm(2, u + 4, v + 9, t + 13), 2e-5) << ix << iy << iz;
        EXPECT_NEAR(n[2], plain.Fbm(2, u + 5, v + 10, t + 14), 2e-5) << ix << iy << iz;
        EXPECT_NEAR(n[3], plain.Fbm(2, u + 7, v + 11, t + 15), 2e-5) << ix << iy << iz;
    }
}

GeometryStore GatherFacesNoise(double amplitude) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(
        R"j({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 200, "layers": [
          {"name": "L", "solid": {}, "effects": [
            {"effect": "Tavrin Primitives Object", "params": {"X Points": 4, "Y Points": 4,
              "Z Points": 1, "Generate Faces": "XY", "X Rotate": 30}},
            {"effect": "Tavrin Noise Effector", "params": {"Effector effects": "Faces",
              "Apply Noise To (Faces)": "Position", "Apply Noise to Axis": "Normal",
              "Noise Amplitude": )j" +
            std::to_string(amplitude) + "}}]}]}]}",
        "doc.json", host);
    auto& comp = *host.project().comps[0];
    ObjectMessage m;
    InitObjectMessage(m);
    EXPECT_EQ(Gather(host, comp.layers[0]->uid, comp.frameTime(0), m), 0);
    GeometryStore g = *m.geometry;
    DisposeObjectMessage(m);
    return g;
}

TEST(NoiseEffector, FacesMoveAlongTheirOwnNormal) {
    const GeometryStore still = GatherFacesNoise(0);
    const GeometryStore moved = GatherFacesNoise(50);
    ASSERT_FALSE(still.faceCentroids.empty());
    ASSERT_EQ(still.faceCentroids.size(), moved.faceCentroids.size());
    const std::vector<Vec3f> normals = FaceNormals(still);
    int movedCount = 0;
    for (size_t f = 0; f < still.faceCentroids.size(); ++f) {
        const Vec3f& a = still.faceCentroids[f];
        const Vec3f& b = moved.faceCentroids[f];
        const double d[3] = {b.x - a.x, b.y - a.y, b.z - a.z};
        const double len = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        if (len < 1e-4) continue;
        ++movedCount;
        // The step is parallel to the face's normal (the plane is turned, so not along Z).
        const double dot = (d[0] * normals[f].x + d[1] * normals[f].y + d[2] * normals[f].z) / len;
        EXPECT_NEAR(std::abs(dot), 1.0, 1e-3) << f;
    }
    EXPECT_GT(movedCount, 0);
}

}  // namespace
}  // namespace tv
