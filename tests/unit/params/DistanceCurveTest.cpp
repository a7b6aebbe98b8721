#include <gtest/gtest.h>

#include <limits>

#include "params/DistanceCurve.h"

namespace tv {
namespace {

// Sample i holds i, so eval gives the interpolated sample position over 50.
DistanceCurve Ramp() {
    DistanceCurve c;
    for (int i = 0; i < 200; ++i) c.samples[size_t(i)] = float(i);
    return c;
}

TEST(DistanceCurve, InterpolatesBetweenSamplesAndClampsToTheLastOne) {
    const DistanceCurve c = Ramp();
    EXPECT_FLOAT_EQ(c.eval(0.0f), 0.0f);
    EXPECT_FLOAT_EQ(c.eval(-1.0f), 0.0f);              // below 0: sample 0
    EXPECT_FLOAT_EQ(c.eval(0.25f), 50.0f / 50.0f);     // x = 50 exactly
    EXPECT_FLOAT_EQ(c.eval(0.5025f), 100.5f / 50.0f);  // halfway between samples 100 and 101
    EXPECT_FLOAT_EQ(c.eval(0.999f), 199.0f / 50.0f);   // x = 199.8 is clamped to 199
    EXPECT_FLOAT_EQ(c.eval(1.0f), 199.0f / 50.0f);
    EXPECT_FLOAT_EQ(c.eval(3.0f), 199.0f / 50.0f);
}

TEST(DistanceCurve, NaNReadsTheFirstSample) {
    DistanceCurve c = Ramp();
    c.samples[0] = 30.0f;
    EXPECT_FLOAT_EQ(c.eval(std::numeric_limits<float>::quiet_NaN()), 30.0f / 50.0f);
}

TEST(DistanceCurve, HeightFiftyIsFactorOne) {
    DistanceCurve c;
    c.samples.fill(50.0f);
    EXPECT_FLOAT_EQ(c.eval(0.37f), 1.0f);
    c.samples.fill(100.0f);  // nothing caps the height
    EXPECT_FLOAT_EQ(c.eval(0.37f), 2.0f);
}

TEST(DistanceCurve, Defaults) {
    const DistanceCurve o = DistanceCurve::DefaultOpacity();
    for (int i = 0; i < 100; ++i) EXPECT_EQ(o.samples[size_t(i)], 50.0f) << i;
    EXPECT_FLOAT_EQ(o.samples[150], 25.0f);
    EXPECT_FLOAT_EQ(o.samples[199], 0.5f);  // 50 - 99 / 100 * 50: nearly zero
    EXPECT_FLOAT_EQ(o.eval(0.5f), 1.0f);
    EXPECT_FLOAT_EQ(o.eval(0.6f), 0.8f);      // sample 120: 50 - 20 / 100 * 50 = 40
    EXPECT_FLOAT_EQ(o.eval(0.9975f), 0.01f);  // x = 199.5, clamped to sample 199
    const DistanceCurve t = DistanceCurve::DefaultThickness();
    for (float x : t.samples) EXPECT_EQ(x, 50.0f);
    EXPECT_FLOAT_EQ(t.eval(0.8f), 1.0f);
}

TEST(DistanceCurve, IsExactlyTheEightHundredByteHandle) {
    EXPECT_EQ(sizeof(DistanceCurve), 800u);
}

}  // namespace
}  // namespace tv
