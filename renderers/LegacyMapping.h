// The legacy renderer's older parameter set turned into a points record and a lines record,
// and the order in which their items go out.
#pragma once

#include <cstdint>
#include <vector>

#include "params/DistanceCurve.h"
#include "renderers/NeighbourSearch.h"

namespace tv {

// "Draw".
enum LegacyDraw : int32_t { kLegacyDrawPoints = 1, kLegacyDrawLines = 2, kLegacyDrawBoth = 3 };
// "Render Order".
enum LegacyOrder : int32_t { kLegacyPointsAfterLines = 1, kLegacyLinesAfterPoints = 2 };

// The parameter values as the host gives them: colours in bytes, opacities in percent.
struct LegacyValues {
    int32_t spriteLayer = 0;  // 0: no layer chosen
    bool overridePointsColor = false;
    uint8_t pointsColor[3] = {255, 255, 255};
    bool overridePointsOpacity = false;
    float pointsOpacity = 50;
    float pointsSize = 2;
    bool pointsPerspective = true;
    float maxDistance = 25;
    float fadeOutDistance = 25;
    int32_t maxPoints = 10;
    bool linesColorsFromPoints = true;
    uint8_t linesColor[3] = {255, 255, 255};
    bool linesOpacityFromPoints = true;
    float linesOpacity = 50;
    bool linesScaleFromPoints = true;
    float lineThickness = 1;
    bool linesPerspective = true;
    int32_t draw = kLegacyDrawBoth;
    int32_t drawBetween = kAllGroupsLines;
    bool onlyConnected = false;
    int32_t renderOrder = kLegacyPointsAfterLines;
};

// What the points renderer would read: all vertices, the current time as the only sample.
struct LegacyPoints {
    bool perspective = true, overrideColor = false, overrideOpacity = false;
    bool onlyConnected = false, hasSprite = false, overrideScale = false;
    float color[4] = {1, 1, 1, 0.5f};
    float size = 2;
    float offset[3] = {0, 0, 0};
    int32_t spriteLayer = 0;
};

// What the lines renderer would read, always computed every frame.
struct LegacyLines {
    SearchSettings search;
    float thickness = 1;
    float color[4] = {1, 1, 1, 0.5f};
    bool getOpacity = true, getColors = true, getScale = true, perspective = true;
};

struct LegacyRecords {
    LegacyPoints points;
    LegacyLines lines;
};

// Full opacity up to `maxDistance`'s share of the sum, then falling linearly to the end. Samples
// past the full part are left as they are when there is no fade (the share is all 200 samples).
void FillLegacyCurve(DistanceCurve& curve, float maxDistance, float fadeOutDistance);

LegacyRecords MapLegacyValues(const LegacyValues& v);

// The render item kinds to push, in order, for "Render Order" and "Draw".
std::vector<uint32_t> LegacyItemOrder(int32_t renderOrder, int32_t draw);

}  // namespace tv
