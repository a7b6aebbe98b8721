#include "renderers/LegacyMapping.h"

#include <algorithm>
#include <cmath>

#include "host/RenderItem.h"

namespace tv {

void FillLegacyCurve(DistanceCurve& curve, float maxDistance, float fadeOutDistance) {
    // Both distances 0 leave the share undefined: the whole curve is then the full part.
    const float share = maxDistance / (maxDistance + fadeOutDistance);
    int32_t n = 200;
    if (std::isfinite(share)) n = std::clamp(int32_t(std::trunc(share * 200.0f)), 0, 200);
    for (int32_t i = 0; i < n; ++i) curve.samples[size_t(i)] = 50.0f;
    for (int32_t i = n; i < 200; ++i)
        curve.samples[size_t(i)] = float((1.0 - double(i - n) / double(200 - n)) * 50.0);
}

LegacyRecords MapLegacyValues(const LegacyValues& v) {
    LegacyRecords r;
    LegacyPoints& p = r.points;
    p.size = v.pointsSize;
    p.perspective = v.pointsPerspective;
    p.overrideColor = v.overridePointsColor;
    p.overrideOpacity = v.overridePointsOpacity;
    p.onlyConnected = v.onlyConnected;
    for (int c = 0; c < 3; ++c) p.color[c] = v.pointsColor[c] / 255.0f;
    p.color[3] = v.pointsOpacity / 100.0f;
    p.spriteLayer = v.spriteLayer;
    p.hasSprite = v.spriteLayer != 0;

    LegacyLines& l = r.lines;
    SearchSettings& s = l.search;
    s.maxVertices = v.maxPoints;
    s.maxDistance = v.maxDistance + v.fadeOutDistance;
    s.drawBetween = v.drawBetween;
    s.opacityCurve = DistanceCurve{};
    FillLegacyCurve(s.opacityCurve, v.maxDistance, v.fadeOutDistance);
    s.thicknessCurve = DistanceCurve{};
    FillLegacyCurve(s.thicknessCurve, 100.0f, 0.0f);
    l.thickness = v.lineThickness;
    for (int c = 0; c < 3; ++c) l.color[c] = v.linesColor[c] / 255.0f;
    l.color[3] = v.linesOpacity / 100.0f;
    l.getOpacity = v.linesOpacityFromPoints;
    l.getColors = v.linesColorsFromPoints;
    l.getScale = v.linesScaleFromPoints;
    l.perspective = v.linesPerspective;

    // Points with their own colour or opacity hand it to lines that would take the vertices'.
    if (p.overrideColor && l.getColors) {
        l.getColors = false;
        for (int c = 0; c < 3; ++c) l.color[c] = p.color[c];
    }
    if (p.overrideOpacity && l.getOpacity) {
        l.getOpacity = false;
        l.color[3] = p.color[3];
    }
    return r;
}

std::vector<uint32_t> LegacyItemOrder(int32_t renderOrder, int32_t draw) {
    const bool points = draw == kLegacyDrawPoints || draw == kLegacyDrawBoth;
    const bool lines = draw == kLegacyDrawLines || draw == kLegacyDrawBoth;
    std::vector<uint32_t> kinds;
    if (renderOrder == kLegacyLinesAfterPoints) {
        if (points) kinds.push_back(kRenderPoints);
        if (lines) kinds.push_back(kRenderLines);
    } else {
        if (lines) kinds.push_back(kRenderLines);
        if (points) kinds.push_back(kRenderPoints);
    }
    return kinds;
}

}  // namespace tv
