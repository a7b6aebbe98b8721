// The frame plan of the lines renderer: the interval holding the current time, the blend
// factors, and the frames whose geometry is fetched.
#include <gtest/gtest.h>

#include <limits>

#include "renderers/LinesRenderer.h"

namespace tv {
namespace {

constexpr uint32_t kScale = 10000;  // 10 fps at 1000 ticks a frame
constexpr int64_t kStep = 1000;

TEST(LinesFramePlan, IntervalZeroHasNoDurationAndTakesTheFirstFrameWhole) {
    const LinesFramePlan p = MakeLinesFramePlan(kScale, 15000, kStep, 0, 0.0f);
    EXPECT_EQ(p.length, 0);
    EXPECT_EQ(p.k, 0);
    EXPECT_EQ(p.t0, 0);
    EXPECT_EQ(p.t1, 0);  // the end of the interval
    EXPECT_EQ(p.duration, 0);
    EXPECT_EQ(p.factorA, 1.0f);
    EXPECT_EQ(p.factorB, 0.0f);
    EXPECT_EQ(p.scale, kScale);
    EXPECT_EQ(LinesFrameList(kLinesOverInterval, p, 20000), std::vector<int32_t>{0});
}

TEST(LinesFramePlan, IntervalBelowOneTickIsIntervalZero) {
    // 0.00005 s at 10000 ticks a second is half a tick.
    const LinesFramePlan p = MakeLinesFramePlan(kScale, 7000, kStep, 0, 0.00005f);
    EXPECT_EQ(p.length, 0);
    EXPECT_EQ(p.k, 0);
    EXPECT_EQ(p.t1, 0);
    EXPECT_EQ(p.duration, 0);
    EXPECT_EQ(p.factorA, 1.0f);
    EXPECT_EQ(p.factorB, 0.0f);
}

TEST(LinesFramePlan, FactorsMeasureTheCurrentTimeInItsInterval) {
    const LinesFramePlan p = MakeLinesFramePlan(kScale, 12500, kStep, 0, 1.0f);
    EXPECT_EQ(p.length, 10000);
    EXPECT_EQ(p.k, 1);
    EXPECT_EQ(p.t0, 10000);
    EXPECT_EQ(p.t1, 20000);
    EXPECT_EQ(p.duration, 10000);
    EXPECT_FLOAT_EQ(p.factorA, 0.25f);
    EXPECT_FLOAT_EQ(p.factorB, 0.75f);
    // On the interval's first tick the start frame counts whole.
    const LinesFramePlan s = MakeLinesFramePlan(kScale, 10000, kStep, 0, 1.0f);
    EXPECT_EQ(s.factorA, 0.0f);
    EXPECT_EQ(s.factorB, 1.0f);
}

TEST(LinesFramePlan, NegativeTimesClampTheStartAndTheFrameAtZero) {
    // Integer division truncates: -2500 / 10000 is interval 0.
    const LinesFramePlan p = MakeLinesFramePlan(kScale, -2500, kStep, -4, 1.0f);
    EXPECT_EQ(p.k, 0);
    EXPECT_EQ(p.t0, 0);
    EXPECT_EQ(p.t1, 10000);
    EXPECT_EQ(p.frameTime, 0);
    EXPECT_EQ(p.factorA, 0.0f);  // clamped from -0.25
    EXPECT_EQ(p.factorB, 1.0f);  // clamped from 1.25
    const LinesFramePlan f = MakeLinesFramePlan(kScale, 0, kStep, 7, 1.0f);
    EXPECT_EQ(f.frameTime, 7000);
}

TEST(LinesFramePlan, FrameListByMode) {
    const LinesFramePlan mid = MakeLinesFramePlan(kScale, 5000, kStep, 3, 1.0f);
    EXPECT_TRUE(LinesFrameList(kLinesEveryFrame, mid, 20000).empty());
    EXPECT_EQ(LinesFrameList(kLinesOneFrame, mid, 20000), std::vector<int32_t>{3000});
    EXPECT_EQ(LinesFrameList(kLinesOverInterval, mid, 20000), (std::vector<int32_t>{0, 10000}));
}

TEST(LinesFramePlan, OverTimeIntervalAtTheEndOfTheCompFetchesOneFrame) {
    // A 2 s comp: the second interval ends on the comp's total time, so only its start is
    // fetched.
    const LinesFramePlan p = MakeLinesFramePlan(kScale, 19000, kStep, 0, 1.0f);
    EXPECT_EQ(p.t0, 10000);
    EXPECT_EQ(p.t1, 20000);
    EXPECT_EQ(LinesFrameList(kLinesOverInterval, p, 20000), std::vector<int32_t>{10000});
    // One tick more of comp and the end is fetched too.
    EXPECT_EQ(LinesFrameList(kLinesOverInterval, p, 20001), (std::vector<int32_t>{10000, 20000}));
}

TEST(LinesFramePlan, AnIntervalPastTheTickRangeIsHeldAtTheLargestTime) {
    // 10^6 s at 10000 ticks a second does not fit 32 bits.
    const LinesFramePlan p = MakeLinesFramePlan(kScale, 5000, kStep, 0, 1.0e6f);
    EXPECT_EQ(p.k, 0);
    EXPECT_EQ(p.t0, 0);
    EXPECT_EQ(p.t1, std::numeric_limits<int32_t>::max());
    EXPECT_EQ(p.duration, std::numeric_limits<int32_t>::max());
    EXPECT_FLOAT_EQ(p.factorA, float(5000.0 / 1.0e10));
    EXPECT_EQ(LinesFrameList(kLinesOverInterval, p, 20000), std::vector<int32_t>{0});
}

}  // namespace
}  // namespace tv
