// The flat records the feeding step hands to an engine. Sizes are fixed: the arrays are walked
// by several threads and copied per record before projection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

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
    float startColor[4] = {0, 0, 0, 0};  // A already holds the connection's opacity
    float endColor[4] = {0, 0, 0, 0};
    float startSize = 0, endSize = 0;  // radii, thickness already applied
    float startDepthScale = 1, endDepthScale = 1;
    float layerTag = -1.0f;
};
static_assert(sizeof(DrawLine) == 104);

struct DrawTriangle {
    double corners[3][3] = {};
    float colors[3][4] = {};  // R, G, B, A per corner
};
static_assert(sizeof(DrawTriangle) == 120);

struct DrawSprite {
    double x = 0, y = 0, z = 0;
    float color[4] = {1, 1, 1, 1};  // tint
    float width = 0, height = 0;    // half sizes
    float rotation = 0;
    uint64_t layer = 0;     // layer handle of the sprite's source
    uint64_t time = 0;      // its sample time
    uint32_t useLayer = 0;  // 0: the frame's first sprite world serves; 1: this record's own
};
static_assert(sizeof(DrawSprite) == 80);

// One polyline of a beam: a run of joined segments; a broken connection starts a new path.
struct BeamPath {
    std::vector<double> positions;  // x, y, z per point
    std::vector<float> colors;      // R, G, B, A per point
    std::vector<float> radii;       // one per point
    size_t size() const { return radii.size(); }
};

// A tile of the output: {left, top, right, bottom}.
struct ScanTile {
    int32_t left = 0, top = 0, right = 0, bottom = 0;
};

}  // namespace tv
