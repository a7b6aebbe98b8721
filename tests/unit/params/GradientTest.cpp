#include <gtest/gtest.h>

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

TEST(Gradient, EndsClampAndSpecialLists) {
    const std::vector<GradientStop> two = {Stop(0.2, 1, 0, 0), Stop(0.8, 0, 1, 0)};
    EXPECT_EQ(GradientColorAt(two, -3)[0], 1.0f);  // the end entries repeat the end stops
    EXPECT_EQ(GradientColorAt(two, 0.1)[0], 1.0f);
    EXPECT_EQ(GradientColorAt(two, 0.9)[1], 1.0f);
    EXPECT_EQ(GradientColorAt(two, 7)[1], 1.0f);
    const auto one = GradientColorAt({Stop(0.5, 0.2f, 0.4f, 0.6f)}, 0.9);  // constant
    EXPECT_EQ(one[1], 102 / 255.0f);
    const auto none = GradientColorAt({}, 0.5);
    EXPECT_EQ(none[3], 0.0f);
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

}  // namespace
}  // namespace tv
