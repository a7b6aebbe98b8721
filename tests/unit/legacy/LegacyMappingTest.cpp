// The legacy renderer's mapping of its older parameters onto the points and lines records.
#include <gtest/gtest.h>

#include <cmath>

#include "host/RenderItem.h"
#include "renderers/LegacyMapping.h"

namespace tv {
namespace {

TEST(LegacyCurve, EqualDistancesFallFromTheMiddle) {
    DistanceCurve c;
    FillLegacyCurve(c, 25, 25);  // n = 100
    for (size_t i = 0; i < 100; ++i) EXPECT_EQ(c.samples[i], 50.0f) << i;
    EXPECT_FLOAT_EQ(c.samples[100], 50.0f);
    EXPECT_FLOAT_EQ(c.samples[150], 25.0f);
    EXPECT_FLOAT_EQ(c.samples[199], 0.5f);
    // The same curve as the lines renderer's default.
    const DistanceCurve d = DistanceCurve::DefaultOpacity();
    for (size_t i = 0; i < 200; ++i) EXPECT_FLOAT_EQ(c.samples[i], d.samples[i]) << i;
}

TEST(LegacyCurve, UnequalDistancesSplitByShare) {
    DistanceCurve c;
    FillLegacyCurve(c, 30, 10);  // 30 / 40 * 200 = 150
    EXPECT_EQ(c.samples[149], 50.0f);
    EXPECT_FLOAT_EQ(c.samples[150], 50.0f);
    EXPECT_FLOAT_EQ(c.samples[160], 40.0f);  // (1 - 10 / 50) * 50
    EXPECT_FLOAT_EQ(c.samples[199], 1.0f);
    FillLegacyCurve(c, 1, 2);  // 1 / 3 * 200 = 66.67: n = 66
    EXPECT_EQ(c.samples[65], 50.0f);
    EXPECT_FLOAT_EQ(c.samples[67], 49.626866f);  // (1 - 1 / 134) * 50
}

TEST(LegacyCurve, NoFadeOutIsFullOpacityToTheEnd) {
    DistanceCurve c;
    FillLegacyCurve(c, 25, 0);
    for (size_t i = 0; i < 200; ++i) EXPECT_EQ(c.samples[i], 50.0f) << i;
    EXPECT_FLOAT_EQ(c.eval(1.0f), 1.0f);
}

TEST(LegacyCurve, NoMaximumDistanceFallsFromTheStart) {
    DistanceCurve c;
    FillLegacyCurve(c, 0, 10);
    EXPECT_FLOAT_EQ(c.samples[0], 50.0f);
    EXPECT_FLOAT_EQ(c.samples[100], 25.0f);
}

TEST(LegacyCurve, BothDistancesZeroTakeTheWholeCurveAsFull) {
    DistanceCurve c;
    FillLegacyCurve(c, 0, 0);
    for (size_t i = 0; i < 200; ++i) {
        EXPECT_FALSE(std::isnan(c.samples[i])) << i;
        EXPECT_EQ(c.samples[i], 50.0f) << i;
    }
}

TEST(LegacyMapping, LinesRecord) {
    LegacyValues v;
    v.maxDistance = 40;
    v.fadeOutDistance = 60;
    v.maxPoints = 7;
    v.linesColor[0] = 255;
    v.linesColor[1] = 51;
    v.linesColor[2] = 0;
    v.linesOpacity = 80;
    v.linesColorsFromPoints = false;
    v.linesOpacityFromPoints = false;
    v.linesScaleFromPoints = false;
    v.lineThickness = 3.5f;
    v.linesPerspective = false;
    v.drawBetween = kDifferentGroups;
    const LegacyLines l = MapLegacyValues(v).lines;
    EXPECT_EQ(l.search.maxVertices, 7);
    EXPECT_FLOAT_EQ(l.search.maxDistance, 100.0f);  // the sum of the two distances
    EXPECT_EQ(l.search.drawBetween, kDifferentGroups);
    EXPECT_FLOAT_EQ(l.thickness, 3.5f);
    EXPECT_FLOAT_EQ(l.color[0], 1.0f);
    EXPECT_FLOAT_EQ(l.color[1], 0.2f);
    EXPECT_FLOAT_EQ(l.color[2], 0.0f);
    EXPECT_FLOAT_EQ(l.color[3], 0.8f);
    EXPECT_FALSE(l.getColors);
    EXPECT_FALSE(l.getOpacity);
    EXPECT_FALSE(l.getScale);
    EXPECT_FALSE(l.perspective);
    // 40 / 100 * 200 = 80 samples at full height, then falling.
    EXPECT_EQ(l.search.opacityCurve.samples[79], 50.0f);
    EXPECT_FLOAT_EQ(l.search.opacityCurve.samples[80], 50.0f);
    EXPECT_FLOAT_EQ(l.search.opacityCurve.samples[140], 25.0f);
    for (float s : l.search.thicknessCurve.samples) EXPECT_EQ(s, 50.0f);
}

TEST(LegacyMapping, PointsRecord) {
    LegacyValues v;
    v.spriteLayer = 9;
    v.overridePointsColor = true;
    v.pointsColor[0] = 0;
    v.pointsColor[1] = 255;
    v.pointsColor[2] = 102;
    v.overridePointsOpacity = true;
    v.pointsOpacity = 25;
    v.pointsSize = 6;
    v.pointsPerspective = false;
    v.onlyConnected = true;
    const LegacyPoints p = MapLegacyValues(v).points;
    EXPECT_TRUE(p.hasSprite);
    EXPECT_EQ(p.spriteLayer, 9);
    EXPECT_TRUE(p.overrideColor);
    EXPECT_TRUE(p.overrideOpacity);
    EXPECT_FALSE(p.overrideScale);
    EXPECT_FALSE(p.perspective);
    EXPECT_TRUE(p.onlyConnected);
    EXPECT_FLOAT_EQ(p.size, 6.0f);
    EXPECT_FLOAT_EQ(p.color[0], 0.0f);
    EXPECT_FLOAT_EQ(p.color[1], 1.0f);
    EXPECT_FLOAT_EQ(p.color[2], 0.4f);
    EXPECT_FLOAT_EQ(p.color[3], 0.25f);
    for (float o : p.offset) EXPECT_EQ(o, 0.0f);
    v.spriteLayer = 0;
    EXPECT_FALSE(MapLegacyValues(v).points.hasSprite);
}

TEST(LegacyMapping, PointsHandTheirColourToLinesThatTakeTheVertices) {
    LegacyValues v;
    v.overridePointsColor = true;
    v.pointsColor[0] = 255;
    v.pointsColor[1] = 0;
    v.pointsColor[2] = 0;
    v.linesColor[0] = v.linesColor[1] = v.linesColor[2] = 0;
    v.linesOpacity = 70;
    const LegacyLines l = MapLegacyValues(v).lines;
    EXPECT_FALSE(l.getColors);
    EXPECT_FLOAT_EQ(l.color[0], 1.0f);
    EXPECT_FLOAT_EQ(l.color[1], 0.0f);
    EXPECT_FLOAT_EQ(l.color[2], 0.0f);
    EXPECT_FLOAT_EQ(l.color[3], 0.7f);  // the opacity is not linked
    EXPECT_TRUE(l.getOpacity);
    // Lines with their own colour keep it.
    v.linesColorsFromPoints = false;
    const LegacyLines own = MapLegacyValues(v).lines;
    EXPECT_FALSE(own.getColors);
    EXPECT_FLOAT_EQ(own.color[0], 0.0f);
}

TEST(LegacyMapping, PointsHandTheirOpacityToLinesThatTakeTheVertices) {
    LegacyValues v;
    v.overridePointsOpacity = true;
    v.pointsOpacity = 20;
    v.linesOpacity = 90;
    v.linesColor[1] = 0;
    const LegacyLines l = MapLegacyValues(v).lines;
    EXPECT_FALSE(l.getOpacity);
    EXPECT_FLOAT_EQ(l.color[3], 0.2f);
    EXPECT_TRUE(l.getColors);  // the colour is not linked
    EXPECT_FLOAT_EQ(l.color[1], 0.0f);
    v.linesOpacityFromPoints = false;
    EXPECT_FLOAT_EQ(MapLegacyValues(v).lines.color[3], 0.9f);
}

TEST(LegacyMapping, NoOverrideLeavesTheLinesAlone) {
    const LegacyLines l = MapLegacyValues(LegacyValues{}).lines;
    EXPECT_TRUE(l.getColors);
    EXPECT_TRUE(l.getOpacity);
    EXPECT_FLOAT_EQ(l.color[3], 0.5f);
}

TEST(LegacyOrder, ByRenderOrderAndDraw) {
    using K = std::vector<uint32_t>;
    const uint32_t P = kRenderPoints, L = kRenderLines;
    EXPECT_EQ(LegacyItemOrder(kLegacyPointsAfterLines, kLegacyDrawBoth), (K{L, P}));
    EXPECT_EQ(LegacyItemOrder(kLegacyPointsAfterLines, kLegacyDrawPoints), (K{P}));
    EXPECT_EQ(LegacyItemOrder(kLegacyPointsAfterLines, kLegacyDrawLines), (K{L}));
    EXPECT_EQ(LegacyItemOrder(kLegacyLinesAfterPoints, kLegacyDrawBoth), (K{P, L}));
    EXPECT_EQ(LegacyItemOrder(kLegacyLinesAfterPoints, kLegacyDrawPoints), (K{P}));
    EXPECT_EQ(LegacyItemOrder(kLegacyLinesAfterPoints, kLegacyDrawLines), (K{L}));
}

}  // namespace
}  // namespace tv
