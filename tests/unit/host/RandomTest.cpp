#include <gtest/gtest.h>

#include <cstdlib>
#include <string_view>
#include <thread>
#include <vector>

#include "host/Noise.h"
#include "host/ParamHash.h"
#include "host/Random.h"

namespace tv {
namespace {

TEST(MersenneTwister, Seed5489GivesTheStandardSequence) {
    MTRand_int32 mt(5489);
    EXPECT_EQ(mt.next(), 3499211612u);
    EXPECT_EQ(mt.next(), 581869302u);
    EXPECT_EQ(mt.next(), 3890346734u);
}

TEST(MersenneTwister, SeedingOneObjectReseedsEveryOther) {
    MTRand_int32 a(1);
    MTRand_int32 b(2);
    a.seed(5489);  // reseeds the shared state b also draws from
    EXPECT_EQ(b.next(), 3499211612u);
    EXPECT_EQ(a.next(), 581869302u);
}

TEST(MersenneTwister, DoublesAreScaledDraws) {
    MTRand r(5489);
    EXPECT_DOUBLE_EQ(r(), 3499211612u * 2.3283064365386963e-10);
}

TEST(ParamHash, Fnv1aOfKnownInputs) {
    EXPECT_EQ(Fnv1a64("", 0), 0xcbf29ce484222325ull);
    EXPECT_EQ(Fnv1a64("a", 1), 0xaf63dc4c8601ec8cull);
    EXPECT_EQ(Fnv1a64("foobar", 6), 0x85944171f73967e8ull);
}

TEST(ParamHash, CombineStep) {
    // seed 0: 0 ^ (h + 0x9e3779b9 + 0 + 0)
    EXPECT_EQ(HashCombine(0, 1), 1 + 0x9e3779b9ull);
    const uint64_t seed = 100;
    EXPECT_EQ(HashCombine(seed, 7), seed ^ (7 + 0x9e3779b9ull + (seed << 6) + (seed >> 2)));
}

TEST(ParamHash, ZeroHashesAsPositiveZero) {
    EXPECT_EQ(ParamHasher(5).add(-0.0).value(), ParamHasher(5).add(0.0).value());
    EXPECT_EQ(ParamHasher(5).add(-0.0f).value(), ParamHasher(5).add(0.0f).value());
    EXPECT_NE(ParamHasher(5).add(1.0).value(), ParamHasher(5).add(0.0).value());
}

TEST(ParamHash, HandWorkedValues) {
    // One byte: (offset ^ byte) * prime, modulo 2^64.
    EXPECT_EQ(Fnv1a64("\x00", 1), 0xcbf29ce484222325ull * 0x100000001b3ull);
    EXPECT_EQ(Fnv1a64("\x01", 1), 0xaf63bc4c8601b62cull);
    // 1 ^ (0 + 0x9e3779b9 + (1 << 6) + (1 >> 2)) = 1 ^ 0x9e3779f9.
    EXPECT_EQ(HashCombine(1, 0), 0x9e3779f8ull);
    // All ones: the shifted seed wraps, the sum is 2^62 + 0x9e377979, inverted.
    EXPECT_EQ(HashCombine(~0ull, 1), 0xbfffffff61c88686ull);
}

TEST(ParamHash, HasherCombinesEachValueInOrder) {
    const int32_t one = 1;
    EXPECT_EQ(Fnv1a64(&one, 4), 0xad2aca7747985764ull);
    EXPECT_EQ(ParamHasher(21).add(int32_t(1)).value(), 0xad2aca77e5cfd677ull);
    EXPECT_EQ(ParamHasher(21).add(-0.0).add(std::string_view("ab")).value(), 0xcc0bb6f45f2e0d0eull);
    // Order matters.
    EXPECT_NE(ParamHasher(21).add(int32_t(1)).add(int32_t(2)).value(),
              ParamHasher(21).add(int32_t(2)).add(int32_t(1)).value());
}

// Needs a process in which nothing has drawn yet: the threadsafe style runs the statement in a
// fresh run of this test binary.
TEST(MersenneTwister, FirstUseWithoutSeedTakes5489) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            MTRand_int32 mt;
            const bool standard = mt.next() == 3499211612u && mt.next() == 581869302u;
            std::exit(standard ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(MersenneTwister, DoubleAndIntegerObjectsShareOneState) {
    MTRand_int32 ints(5489);
    MTRand doubles;
    EXPECT_EQ(doubles(), 3499211612u * 2.3283064365386963e-10);
    EXPECT_EQ(ints.next(), 581869302u);
    EXPECT_EQ(doubles(), 3890346734u * 2.3283064365386963e-10);
}

TEST(MersenneTwister, SeedAndDrawsUnderTheLockAreNotInterleaved) {
    auto reference = [](uint32_t seed) {
        auto guard = MTRand_int32::lock();
        MTRand_int32 mt(seed);
        std::vector<uint32_t> v;
        for (int i = 0; i < 2000; ++i) v.push_back(mt.next());
        return v;
    };
    const std::vector<uint32_t> expectA = reference(1), expectB = reference(2);
    std::vector<std::vector<uint32_t>> got(8);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 20; ++round) got[size_t(t)] = reference(t % 2 ? 2 : 1);
        });
    for (std::thread& th : threads) th.join();
    for (int t = 0; t < 8; ++t) EXPECT_EQ(got[size_t(t)], t % 2 ? expectB : expectA);
}

TEST(CompatibilityPerlin, TableComesFromTheTwisterSeededWithTheLowByte) {
    const Perlin p(3, 12 + 256);  // only seed & 255 counts
    MTRand_int32 mt(12);
    for (int i = 0; i < 256; ++i) {
        const uint8_t expected = static_cast<uint8_t>(mt.next() & 0xFF);
        EXPECT_EQ(p.table()[i], expected);
        EXPECT_EQ(p.table()[i + 256], expected);
    }
    EXPECT_EQ(p.octaves(), 3);
}

TEST(Noise, CellOfExactZeroIsMinusOne) {
    EXPECT_EQ(NoiseCell(0.0f), -1);
    EXPECT_EQ(NoiseCell(0.5f), 0);
    EXPECT_EQ(NoiseCell(-0.5f), -1);
    EXPECT_EQ(NoiseCell(2.0f), 2);
}

TEST(Noise, ZeroOctavesGiveZero) {
    EXPECT_EQ(Fbm4(0, 0.3f, 0.4f, 0.5f, 1.2f, 4), 0.0f);
}

}  // namespace
}  // namespace tv
