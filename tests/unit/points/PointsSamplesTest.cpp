#include <gtest/gtest.h>

#include <cstdlib>

#include "host/Random.h"
#include "renderers/PointsSamples.h"

namespace tv {
namespace {

SampleInputs Inputs(int32_t sampling, uint32_t count, int32_t maxSamples) {
    SampleInputs in;
    in.timeSampling = sampling;
    in.count = count;
    in.maxSamples = maxSamples;
    in.randomSeed = 5;
    in.spriteDuration = A_Time{100, 10};  // ten seconds at 10 ticks per second
    in.compFrame = A_Time{1, 10};
    in.now = A_Time{30, 10};
    return in;
}

TEST(PointsSamples, RandomStillWorkedOutWithTheTwister) {
    std::vector<A_Time> times;
    std::vector<uint32_t> idx;
    ASSERT_TRUE(BuildSpriteSamples(Inputs(2, 5, 3), times, idx));
    ASSERT_EQ(times.size(), 3u);
    // Expected: seed 5, then |next as i32| % last, last = 100 - 1, rounded up to the step (1).
    MTRand_int32 mt(5);
    for (int k = 0; k < 3; ++k) {
        const int64_t r = std::llabs(int64_t(int32_t(mt.next()))) % 99;
        EXPECT_EQ(times[size_t(k)].value, r);
        EXPECT_EQ(times[size_t(k)].scale, 10u);
    }
    // Indices i % S, then shuffled with seed 2 * 5 + 1.
    std::vector<uint32_t> expected = {0, 1, 2, 0, 1};
    mt.seed(11);
    for (uint32_t i = 1; i < 5; ++i) std::swap(expected[i], expected[mt.next() % (i + 1)]);
    EXPECT_EQ(idx, expected);
}

TEST(PointsSamples, LoopTypesAndEdgeCases) {
    std::vector<A_Time> times;
    std::vector<uint32_t> idx;
    // More samples allowed than vertices: one sample per vertex.
    ASSERT_TRUE(BuildSpriteSamples(Inputs(2, 4, 64), times, idx));
    EXPECT_EQ(times.size(), 4u);
    // One sample: every vertex shows it.
    ASSERT_TRUE(BuildSpriteSamples(Inputs(3, 6, 1), times, idx));
    EXPECT_EQ(idx, std::vector<uint32_t>(6, 0));
    // Freeze never passes the last frame; normal loops stay within it.
    SampleInputs in = Inputs(3, 50, 50);
    in.loopType = kLoopFreeze;
    BuildSpriteSamples(in, times, idx);
    for (const A_Time& t : times) EXPECT_LE(t.value, 99);
    in.loopType = kLoopNormal;
    BuildSpriteSamples(in, times, idx);
    for (const A_Time& t : times) EXPECT_LE(t.value, 99);
    // A one-frame sprite: last is 0, every sample is 0.
    in.spriteDuration = A_Time{1, 10};
    ASSERT_TRUE(BuildSpriteSamples(in, times, idx));
    for (const A_Time& t : times) EXPECT_EQ(t.value, 0);
    // No vertices: nothing is built.
    EXPECT_FALSE(BuildSpriteSamples(Inputs(2, 0, 4), times, idx));
}

TEST(PointsSamples, SameSeedSameSamples) {
    std::vector<A_Time> a, b;
    std::vector<uint32_t> ia, ib;
    BuildSpriteSamples(Inputs(2, 20, 7), a, ia);
    MTRand_int32 other(999);  // someone else draws in between
    other.next();
    BuildSpriteSamples(Inputs(2, 20, 7), b, ib);
    EXPECT_EQ(ia, ib);
    for (size_t i = 0; i < a.size(); ++i) EXPECT_EQ(a[i].value, b[i].value);
}

}  // namespace
}  // namespace tv
