#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "params/Gradient.h"

namespace tv {
namespace {

GradientStop Stop(double p, float r, float g, float b, float a = 1) {
    GradientStop s;
    s.position = p;
    s.red = r, s.green = g, s.blue = b, s.alpha = a;
    return s;
}

TEST(Gradient, OpaqueHalfWayWorkedByHand) {
    // Black to white at t = 0.5: amount round(0.5 * 255) = 128 (127.5, halves to even);
    // each lane 0 + ((255 - 0) * 128 >> 8) = 127.
    const auto c = GradientColorAt({Stop(0, 0, 0, 0), Stop(1, 1, 1, 1)}, 0.5);
    EXPECT_EQ(c[0], 127 / 255.0f);
    EXPECT_EQ(c[3], 1.0f);
}

TEST(Gradient, TranslucentStopsArePremultipliedThenTweened) {
    // Red at alpha 0.5 (byte 128) to blue opaque, t = 0.25: amount round(63.75) = 64.
    // Premultiplied red: (255 * 128 + 127) >> 8 = 127; tween: alpha 128 + ((255-128)*64 >> 8)
    // = 159, blue 0 + (255*64 >> 8) = 63; red shares a 32-bit word with blue, and the
    // difference 255 - (127 << 16) wraps: ((0xFF8100FF * 64) mod 2^32) >> 8 = 0xE040FF, plus
    // 127 << 16, masked, leaves red 0x5F = 95.
    // Unpremultiplied: red 95*255/159 = 152, blue 63*255/159 = 101.
    const auto c = GradientColorAt({Stop(0, 1, 0, 0, 0.5f), Stop(1, 0, 0, 1)}, 0.25);
    EXPECT_EQ(c[3], 159 / 255.0f);
    EXPECT_EQ(c[0], 152 / 255.0f);
    EXPECT_EQ(c[2], 101 / 255.0f);
}

TEST(Gradient, EndEntriesReplaceTheFirstStopAndClamp) {
    // Red at 0.2, green at 0.8. The end entry at 0 takes the first entry's place, so red spans
    // 0 to 0.8: at t = 0.5 the proportion is 0.625, amount round(159.375) = 159.
    // Red/blue lane: (0 - 0x00FF0000) wraps to 0xFF010000; * 159 mod 2^32 = 0x619F0000; >> 8 =
    // 0x619F00; plus 0xFF0000, masked: red 0x60 = 96. Green: 255 * 159 >> 8 = 158.
    const std::vector<GradientStop> two = {Stop(0.2, 1, 0, 0), Stop(0.8, 0, 1, 0)};
    const auto mid = GradientColorAt(two, 0.5);
    EXPECT_EQ(mid[0], 96 / 255.0f);
    EXPECT_EQ(mid[1], 158 / 255.0f);
    EXPECT_EQ(mid[2], 0.0f);
    EXPECT_EQ(mid[3], 1.0f);
    // Outside 0..1 the ends hold; past the last stop the colour is the last.
    EXPECT_EQ(GradientColorAt(two, -3), (std::array<float, 4>{1, 0, 0, 1}));
    EXPECT_EQ(GradientColorAt(two, 0.0), (std::array<float, 4>{1, 0, 0, 1}));
    EXPECT_EQ(GradientColorAt(two, 0.9), (std::array<float, 4>{0, 1, 0, 1}));
    EXPECT_EQ(GradientColorAt(two, 1.0), (std::array<float, 4>{0, 1, 0, 1}));
    EXPECT_EQ(GradientColorAt(two, 7), (std::array<float, 4>{0, 1, 0, 1}));
}

TEST(Gradient, StopsAreSortedByPosition) {
    // Given green at 0.75 before red at 0.25: sorted, red is first. At t = 0.375 the proportion
    // is 0.5, amount round(127.5) = 128 (half to even); red 255 - 128 = 127 after the wrap,
    // green 255 * 128 >> 8 = 127.
    const auto c = GradientColorAt({Stop(0.75, 0, 1, 0), Stop(0.25, 1, 0, 0)}, 0.375);
    EXPECT_EQ(c, (std::array<float, 4>{127 / 255.0f, 127 / 255.0f, 0, 1}));
    // A later stop at 0 overwrites the first entry: only blue is left.
    const auto b = GradientColorAt({Stop(0.5, 1, 0, 0), Stop(0.0, 0, 0, 1)}, 0.5);
    EXPECT_EQ(b, (std::array<float, 4>{0, 0, 1, 1}));
}

TEST(Gradient, OneStopIsConstantAndNoStopsIsTransparentBlack) {
    // 0.2 * 255.996 = 51.2 -> 51; 0.4 -> 102.4 -> 102; 0.6 -> 153.6 -> 154.
    const std::vector<GradientStop> one = {Stop(0.5, 0.2f, 0.4f, 0.6f)};
    for (double t : {-1.0, 0.0, 0.3, 0.9, 2.0})
        EXPECT_EQ(GradientColorAt(one, t),
                  (std::array<float, 4>{51 / 255.0f, 102 / 255.0f, 154 / 255.0f, 1}))
            << t;
    EXPECT_EQ(GradientColorAt({}, 0.5), (std::array<float, 4>{0, 0, 0, 0}));
}

// A damaged record can hold NaN channels or positions: they read as 0, never as whatever an
// out-of-range conversion happens to give.
TEST(Gradient, NanChannelsReadAsZero) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<GradientStop> one = {Stop(0.5, nan, 0.4f, 0.6f)};
    EXPECT_EQ(GradientColorAt(one, 0.5), (std::array<float, 4>{0, 102 / 255.0f, 154 / 255.0f, 1}));
    const std::vector<GradientStop> two = {Stop(0, 0, 0, 0), Stop(1, 1, 1, 1)};
    for (double t : {double(nan), 1e300, -1e300})
        for (float c : GradientColorAt(two, t)) EXPECT_TRUE(std::isfinite(c)) << t;
    const std::vector<GradientStop> nanPosition = {Stop(nan, 1, 0, 0), Stop(1, 0, 0, 1)};
    for (float c : GradientColorAt(nanPosition, 0.5)) EXPECT_TRUE(std::isfinite(c));
}

TEST(Gradient, FloatsBecomeBytesScaledBy255_996) {
    // 0.998 * 255.996 = 255.48 -> 255 (times 255 it would round to 254); 0.001 -> 0.256 -> 0.
    // At t = 0 the first entry comes back as it is, without the premultiplied round trip.
    const std::vector<GradientStop> odd = {Stop(0, 0.998f, 0.001f, 2.0f, -1.0f)};
    EXPECT_EQ(GradientColorAt(odd, 0.0), (std::array<float, 4>{1, 0, 1, 0}));
    // Between entries alpha 0 premultiplies everything away.
    EXPECT_EQ(GradientColorAt(odd, 0.5), (std::array<float, 4>{0, 0, 0, 0}));
}

TEST(Gradient, TranslucentOneStopLosesBitsBetweenTheEnds) {
    // Bytes 51, 102, 154 at alpha 0.5 -> 128. Premultiplied: (51 * 128 + 127) >> 8 = 25, 51, 77;
    // the tween of equal colours changes nothing; unpremultiplied: 25 * 255 / 128 = 49, 101, 153.
    const std::vector<GradientStop> one = {Stop(0.5, 0.2f, 0.4f, 0.6f, 0.5f)};
    const std::array<float, 4> ends = {51 / 255.0f, 102 / 255.0f, 154 / 255.0f, 128 / 255.0f};
    EXPECT_EQ(GradientColorAt(one, 0.0), ends);
    EXPECT_EQ(GradientColorAt(one, 1.0), ends);
    EXPECT_EQ(GradientColorAt(one, 0.3),
              (std::array<float, 4>{49 / 255.0f, 101 / 255.0f, 153 / 255.0f, 128 / 255.0f}));
}

TEST(Gradient, TransparentStopsTweenThroughZero) {
    // Alpha 0 premultiplies to all zero: white at alpha 0 to black opaque at t = 0.5 gives
    // alpha 0 + 255 * 128 >> 8 = 127 and black.
    const auto c = GradientColorAt({Stop(0, 1, 1, 1, 0), Stop(1, 0, 0, 0, 1)}, 0.5);
    EXPECT_EQ(c, (std::array<float, 4>{0, 0, 0, 127 / 255.0f}));
}

TEST(Gradient, RecordRoundTrip) {
    const std::vector<GradientStop> stops = {Stop(0, 1, 0, 0), Stop(0.5, 0, 1, 0),
                                             Stop(1, 0, 0, 1)};
    const auto bytes = MakeGradientRecord(stops);
    EXPECT_EQ(bytes.size(), 4u + 24u * 3u);
    const auto back = GetGradientStops(bytes.data(), bytes.size());
    ASSERT_EQ(back.size(), 3u);
    EXPECT_EQ(back[1].position, 0.5);
    EXPECT_EQ(back[2].blue, 1.0f);
}

TEST(Gradient, RecordReadsNoMoreThanItHolds) {
    auto bytes = MakeGradientRecord({Stop(0, 1, 0, 0), Stop(1, 0, 1, 0)});
    EXPECT_EQ(GetGradientStops(bytes.data(), bytes.size() - 1).size(), 1u);  // cut short
    const uint32_t tooLong = 1000;
    std::memcpy(bytes.data(), &tooLong, 4);
    EXPECT_EQ(GetGradientStops(bytes.data(), bytes.size()).size(), 2u);
    EXPECT_TRUE(GetGradientStops(bytes.data(), 3).empty());
    EXPECT_TRUE(GetGradientStops(nullptr, 100).empty());
}

}  // namespace
}  // namespace tv
