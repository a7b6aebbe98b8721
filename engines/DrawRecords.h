// The flat records the feeding step hands to an engine.
#pragma once

#include <cstdint>

namespace tv {

struct DrawPoint {
    double x = 0, y = 0, z = 0;
    float color[4] = {0, 0, 0, 0};  // R, G, B, A, not premultiplied
    float size = 0;                 // radius
    float softness = 0;             // soft edge width; 0 is a crisp disc
};
static_assert(sizeof(DrawPoint) == 48);

struct DrawLine {
    double start[3] = {0, 0, 0};
    double end[3] = {0, 0, 0};
    float startColor[4] = {0, 0, 0, 0};
    float endColor[4] = {0, 0, 0, 0};
    float startSize = 0, endSize = 0;
    float startDepthScale = 1, endDepthScale = 1;
    float layerTag = -1.0f;
};
static_assert(sizeof(DrawLine) == 104);

struct DrawTriangle {
    double corners[3][3] = {};
    float colors[3][4] = {};
};
static_assert(sizeof(DrawTriangle) == 120);

// A tile of the output: {left, top, right, bottom}.
struct ScanTile {
    int32_t left = 0, top = 0, right = 0, bottom = 0;
};

}  // namespace tv
