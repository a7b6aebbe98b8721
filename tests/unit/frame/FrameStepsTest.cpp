#include <gtest/gtest.h>

#include <filesystem>

#include "host/SampleTimes.h"
#include "host/Unpremultiply.h"
#include "standalone/CompRenderer.h"
#include "standalone/ImageOutput.h"

namespace tv {
namespace {

TEST(SampleTimes, OffGivesTheFrameTimeAlone) {
    SampleTimeInputs in;
    in.time = A_Time{3000, 30000};
    in.mode = kMotionBlurOff;
    in.samples = 16;
    EXPECT_EQ(BuildSampleTimes(in).size(), 1u);
}

TEST(SampleTimes, CustomSpreadsSamplesOverTheShutter) {
    SampleTimeInputs in;
    in.time = A_Time{3000, 30000};
    in.mode = kMotionBlurCustom;
    in.angle = 180;
    in.phase = -180;
    in.samples = 4;
    in.timeStep = 1000;
    in.timeScale = 30000;
    const auto t = BuildSampleTimes(in);
    ASSERT_EQ(t.size(), 4u);
    // step = 0.5 * (1/30) / 4 s = 125 ticks; shift = -0.5 frame = -500 ticks.
    EXPECT_EQ(t[0].value, 2500);
    EXPECT_EQ(t[1].value, 2625);
    EXPECT_EQ(t[3].value, 2875);
    EXPECT_EQ(t[3].scale, 30000u);
}

TEST(SampleTimes, CompSettingsFollowTheCompShutterAngle) {
    SampleTimeInputs in;
    in.time = A_Time{0, 30000};
    in.mode = kMotionBlurComp;
    in.angle = 999;                                     // ignored in this mode
    in.compShutterAngle = DoubleToFixed(90.0 / 360.0);  // the host's 16.16 fraction of a turn
    in.compShutterPhase = 0;
    in.samples = 2;
    in.timeStep = 1000;
    in.timeScale = 30000;
    const auto t = BuildSampleTimes(in);
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t[1].value, 125);  // 90/360 of a frame over 2 samples
    in.compShutterAngle = 0;     // a comp shutter of 0 gives one time
    EXPECT_EQ(BuildSampleTimes(in).size(), 1u);
}

TEST(SampleTimes, NegativeTimesBecomeZero) {
    SampleTimeInputs in;
    in.time = A_Time{0, 30000};
    in.mode = kMotionBlurCustom;
    in.angle = 180;
    in.phase = -180;
    in.samples = 2;
    in.timeStep = 1000;
    in.timeScale = 30000;
    const auto t = BuildSampleTimes(in);
    EXPECT_EQ(t[0].value, 0);
    EXPECT_EQ(t[1].value, 0);  // -500 + 250 is still negative
}

TEST(Unpremultiply, EightBitEdgeValues) {
    PF_Pixel8 row[4] = {{0, 10, 20, 30}, {255, 10, 20, 30}, {128, 64, 200, 128}, {1, 1, 0, 0}};
    UnpremultiplyRow8(row, 4);
    EXPECT_EQ(row[0].red, 0);  // alpha 0: all zero
    EXPECT_EQ(row[0].blue, 0);
    EXPECT_EQ(row[1].red, (10 << 8) / 255);  // alpha 255: c*256/255 with integer division
    EXPECT_EQ(row[1].blue, (30 << 8) / 255);
    EXPECT_EQ(row[2].red, 128);    // 64*256/128
    EXPECT_EQ(row[2].green, 255);  // c > a clamps at 255
    EXPECT_EQ(row[2].alpha, 128);
    EXPECT_EQ(row[3].red, 255);  // 256/1 clamps
}

TEST(Unpremultiply, FloatEdgeValues) {
    PF_PixelFloat row[3] = {{0, 0.5f, 0.5f, 0.5f}, {0.5f, 0.25f, 1.0f, 0}, {1, 0.3f, 0.2f, 0.1f}};
    UnpremultiplyRowFloat(row, 3);
    EXPECT_EQ(row[0].red, 0.0f);
    EXPECT_EQ(row[1].red, 0.5f);
    EXPECT_EQ(row[1].green, 2.0f);  // c > a is not clamped in float
    EXPECT_EQ(row[2].red, 0.3f);
}

TEST(Unpremultiply, SixteenBitWorldIsLeftUntouched) {
    std::vector<uint16_t> data = {100, 50, 50, 50};
    PF_EffectWorld w{1, 1, 8, PF_PixelFormat_ARGB64, reinterpret_cast<uint8_t*>(data.data()), {}};
    EXPECT_EQ(UnpremultiplyWorld(nullptr, w), 0);
    EXPECT_EQ(data, (std::vector<uint16_t>{100, 50, 50, 50}));
}

TEST(ImageOutput, FramePatterns) {
    using standalone::FramePath;
    EXPECT_EQ(FramePath("out/f_####.png", 7, true), "out/f_0007.png");
    EXPECT_EQ(FramePath("out/f_##.png", 123, true), "out/f_123.png");
    EXPECT_EQ(FramePath("out/f.png", 7, false), "out/f.png");
    EXPECT_EQ(FramePath("out/f.png", 7, true), "out/f_0007.png");
    // A run longer than any fixed buffer still pads every frame to its own name.
    EXPECT_EQ(FramePath("f_" + std::string(40, '#') + ".png", 7, true),
              "f_" + std::string(39, '0') + "7.png");
    // Every run, and the printf and $F styles.
    EXPECT_EQ(FramePath("r##/f_####.png", 7, true), "r07/f_0007.png");
    EXPECT_EQ(FramePath("f_%04d.png", 7, true), "f_0007.png");
    EXPECT_EQ(FramePath("f_%d.png", 1234, true), "f_1234.png");
    EXPECT_EQ(FramePath("f_$F4.png", 7, true), "f_0007.png");
    EXPECT_EQ(FramePath("f_$F.png", 7, true), "f_7.png");
    EXPECT_EQ(FramePath("100%%_%02d.png", 7, true), "100%_07.png");
    EXPECT_EQ(FramePath("100%%.png", 7, true), "100%_0007.png");
}

TEST(ImageOutput, MalformedOrMixedPatternsAreRefused) {
    using standalone::FramePatternProblem;
    EXPECT_EQ(FramePatternProblem("f_%04d.png"), "");
    EXPECT_EQ(FramePatternProblem("f_%04x.png"),
              "\"%04x\" is not a frame number; write #### (one digit a '#'), %04d, %d, $F4 or $F "
              "(and %% for a percent sign)");
    EXPECT_NE(FramePatternProblem("f_%4d.png"), "");  // spaces in a file name
    EXPECT_NE(FramePatternProblem("f_%.png"), "");
    EXPECT_NE(FramePatternProblem("f_$Frame.png"), "");
    EXPECT_NE(FramePatternProblem("f_$F0.png"), "");
    EXPECT_NE(FramePatternProblem("f_%099d.png"), "");
    EXPECT_EQ(FramePatternProblem("f_####_%04d.png"),
              "\"%04d\" mixes frame-number styles with \"####\"; use one style: ####, %04d or "
              "$F4");
    EXPECT_THROW(standalone::FramePath("f_#_$F2.png", 1, true), std::invalid_argument);
}

TEST(ImageOutput, WritesAtomicallyAndRefusesUnknownFormats) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / "tavrin_output_test";
    fs::remove_all(dir);
    standalone::FloatImage image;
    image.width = 2;
    image.height = 1;
    image.rgba = {0.5f, 0, 0, 0.5f, 0, 0, 1, 1};
    standalone::WriteImage((dir / "a.png").string(), image, 8);
    standalone::WriteImage((dir / "a.exr").string(), image, 32);
    EXPECT_THROW(standalone::WriteImage((dir / "a.nope").string(), image, 8), std::runtime_error);
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"a.exr", "a.png"}));  // no temporary left behind
    const auto straight = standalone::ToStraight8(image);
    EXPECT_EQ(straight[0], 255);  // 0.5 premultiplied by 0.5 is full red
    EXPECT_EQ(straight[3], 128);
    fs::remove_all(dir);
}

TEST(Compositing, OverOfAStraightLayer) {
    standalone::FloatImage frame;
    frame.width = 1;
    frame.height = 1;
    frame.rgba = {0, 0, 1, 1};     // opaque blue
    PF_Pixel8 px{128, 255, 0, 0};  // half-transparent red, straight
    PF_EffectWorld w{1, 1, 4, PF_PixelFormat_ARGB32, reinterpret_cast<uint8_t*>(&px), {}};
    standalone::CompositeOver(frame, w, 0, 0, 1.0f);
    EXPECT_NEAR(frame.rgba[0], 128 / 255.0f, 1e-6);
    EXPECT_NEAR(frame.rgba[2], 1 - 128 / 255.0f, 1e-6);
    EXPECT_NEAR(frame.rgba[3], 1.0f, 1e-6);
}

}  // namespace
}  // namespace tv

namespace tv {
namespace {

TEST(Compositing, PlacementMapsAnchorToPositionWithScaleAndRotation) {
    standalone::Comp comp;
    comp.width = 200;
    comp.height = 100;
    standalone::Layer layer;
    layer.width = 50;
    layer.height = 20;
    float opacity = 0;
    // Defaults: the layer's centre on the comp's centre, full opacity.
    standalone::Placement p = standalone::PlaceLayer(layer, comp, 0, opacity);
    EXPECT_EQ(opacity, 1.0f);
    EXPECT_DOUBLE_EQ(p.b[0], 75);
    EXPECT_DOUBLE_EQ(p.b[1], 40);
    layer.transform.set = true;
    layer.transform.anchor.value = {0, 0, 0, 0};
    layer.transform.position.value = {100, 50, 0, 0};
    layer.transform.scale.value = {200, 50, 0, 0};
    layer.transform.rotation.value = {90, 0, 0, 0};
    layer.transform.opacity.value = {25, 0, 0, 0};
    p = standalone::PlaceLayer(layer, comp, 0, opacity);
    EXPECT_EQ(opacity, 0.25f);
    // Layer point (10, 0): scaled to (20, 0), turned 90 degrees clockwise on screen to (0, 20).
    const double x = p.a[0] * 10 + p.b[0], y = p.a[2] * 10 + p.b[1];
    EXPECT_NEAR(x, 100, 1e-9);
    EXPECT_NEAR(y, 70, 1e-9);
}

}  // namespace
}  // namespace tv
