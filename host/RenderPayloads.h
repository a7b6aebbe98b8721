// The payloads of RenderItem kinds, shared by the renderers that push them and the engines'
// feeding steps that read them. Arrays are owned by the item and freed by its kind's releaser.
#pragma once

#include <cstdint>

#include "host/HostTypes.h"
#include "host/RenderItem.h"

namespace tv {

struct PointsPayload {
    uint32_t* vertices = nullptr;     // indices into the store
    A_Time* times = nullptr;          // sprite sample times
    uint32_t* sampleIndex = nullptr;  // per listed vertex, into times
    uint32_t vertexCount = 0;
    uint32_t timeCount = 0;
    uint8_t overrideColor = 0;
    uint8_t overrideOpacity = 0;
    uint8_t overrideScale = 0;
    uint8_t perspective = 1;
    uint8_t onlyConnected = 0;
    uint8_t hasSprite = 0;
    float size = 2;
    float color[4] = {1, 1, 1, 0.5f};
    float offset[3] = {0, 0, 0};
    int32_t spriteLayer = 0;  // the sprite layer's id in the effect's comp, 0 for none
};
static_assert(sizeof(PointsPayload) <= sizeof(RenderItem::data));

struct IndexPair {
    int32_t a = 0, b = 0;
};

// Kind 1: lines between pairs of vertices, with per-pair opacity and thickness factors.
struct LinesPayload {
    IndexPair* pairs = nullptr;
    float* opacity = nullptr;    // per pair, 0..1
    float* thickness = nullptr;  // per pair, a factor of the size
    uint32_t pairCount = 0;
    float size = 1;
    float color[4] = {1, 1, 1, 1};
    uint8_t overrideColor = 0;
    uint8_t overrideOpacity = 0;
    uint8_t overrideScale = 0;
    uint8_t perspective = 1;
    uint8_t depthSort = 1;
};
static_assert(sizeof(LinesPayload) <= sizeof(RenderItem::data));

struct IndexTriple {
    int32_t a = 0, b = 0, c = 0;
};

// Kind 2: filled triangles over vertex triples, with per-triple opacity factors.
struct TrianglesPayload {
    IndexTriple* triples = nullptr;
    float* opacity = nullptr;  // per triple, 0..1
    float* extra = nullptr;    // left empty by the triangulation renderer
    uint32_t tripleCount = 0;
    int32_t colorMode = 1;  // 1 interpolate, 2 average of the corners, 3 first corner
    float color[4] = {1, 1, 1, 1};
    uint8_t overrideColor = 0;
    uint8_t overrideOpacity = 0;
};
static_assert(sizeof(TrianglesPayload) <= sizeof(RenderItem::data));

// Kind 3: beams fixed by structure; each grows from its first end by `amounts`.
struct BeamsPayload {
    IndexPair* pairs = nullptr;  // from, to
    float* amounts = nullptr;    // per beam, 0..1
    float* spans = nullptr;      // two per beam: its share of its row
    uint32_t beamCount = 0;
    float startThickness = 1, endThickness = 1;
    float startCurve = 0, endCurve = 0;
    int32_t bezierPoints = 10;
    int32_t bezierAxis = 0;  // 0 X, 1 Y, 2 Z
    float color[4] = {1, 1, 1, 1};
    uint8_t perspective = 1;
    uint8_t overrideColor = 0;
    uint8_t overrideOpacity = 0;
    uint8_t overrideScale = 0;
    uint8_t flipDirection = 0;
    uint8_t bezier = 0;
};
static_assert(sizeof(BeamsPayload) <= sizeof(RenderItem::data));

// Kind 4: the faces the sources made, each with its rotation and centroid (which face effectors
// may have changed) and an opacity factor.
struct FacetsPayload {
    IndexTriple* triples = nullptr;  // corner indices, the range's vertex start added
    float* opacity = nullptr;        // per face, 0..1
    double* rotations = nullptr;     // three per face, degrees about X, Y, Z
    double* centroids = nullptr;     // three per face
    uint32_t faceCount = 0;
    int32_t colorMode = 1;  // 1 interpolate, 2 average of the corners, 3 first corner
    float color[4] = {1, 1, 1, 0.5f};
    uint8_t overrideColor = 0;
    uint8_t overrideOpacity = 0;
};
static_assert(sizeof(FacetsPayload) <= sizeof(RenderItem::data));

// Registers the releasers of the kinds above.
void RegisterStandardPayloadReleasers();

}  // namespace tv
