// The beams renderer's logic: beams along a source's lattice rows or between two groups, how much
// of each is drawn, and the item that carries them to the engines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/GeometryStore.h"
#include "host/RenderPayloads.h"

namespace tv {

// "Beams Type".
enum BeamsType : int32_t {
    kBeamsObjects = 1,
    kBeamsGroups = 2,
};

// The parameter values as the beams are built from them. Popups keep their 1-based values.
struct BeamsRecord {
    int32_t beamsType = kBeamsObjects;
    int32_t axis = 3;  // "Only on Axis": 1 X, 2 Y, 3 Z
    int32_t linesType = 1;
    int32_t firstGroup = 1, secondGroup = 2;
    double time = 1;  // the percentages as fractions
    double rangeStart = 0, rangeEnd = 1, rangeOffset = 0;
    bool flipDirection = false, joinEnds = false, randomize = false;
    int32_t randomSeed = 10;
    int32_t bezierPoints = 100;
    float startCurve = 1, endCurve = -1;
    int32_t bezierAxis = 2;  // 1 X, 2 Y, 3 Z
    float startThickness = 2, endThickness = 2;
    bool getColors = true, getOpacity = true, getScale = true, perspective = true;
    float color[4] = {1, 1, 1, 0.5f};  // alpha from "Beams Opacity"
    int32_t group = kAllGroups;        // "Effect Only Group"
    bool bezier = false;               // "Lines Type" is Bezier Lines
};

// One entry per beam in each list.
struct BeamSet {
    std::vector<IndexPair> pairs;  // from, to
    std::vector<float> amounts;    // 0..1: how much of the beam is drawn
    std::vector<float> spans;      // two per beam: its share of its row
    size_t size() const { return pairs.size(); }
};

// The lattice direction the beams of a source run along (0 X, 1 Y, 2 Z): `chosen` when the
// source's mask (bit 0 X, bit 1 Y, bit 2 Z) holds it, else a neighbour; -1 for an empty mask.
int32_t BeamAxis(int32_t chosen, uint32_t mask);

// Appends the beams of every lattice row of `range` along `axis`, with their spans; the amounts
// are left for the range selection.
void AppendRowBeams(const ObjectRange& range, int32_t axis, bool joinEnds, BeamSet& set);

// Sets the amounts of beams `first` onward from the range selection and the time. With
// `swapPartial`, the beam the range starts inside grows from its far end.
void SelectRange(const BeamsRecord& r, size_t first, bool swapPartial, BeamSet& set);

// Shuffles the amounts of beams `first` onward with the seeded twister; the pairs stay.
void ShuffleAmounts(int32_t seed, size_t first, BeamSet& set);

// Objects: one pass per source range of the chosen group. Groups: from the second group to the
// first, the longer group's every vertex joined to one of the shorter's.
BeamSet ObjectBeams(const BeamsRecord& r, const GeometryStore& store);
BeamSet GroupBeams(const BeamsRecord& r, GeometryStore& store);
BeamSet BuildBeams(const BeamsRecord& r, GeometryStore& store);

// The cache key of a record.
uint64_t BeamsHash(const BeamsRecord& r);

// Copies the set and the drawing values into a kind 3 payload, whose arrays it allocates.
void FillBeamsPayload(const BeamSet& set, const BeamsRecord& r, BeamsPayload& out);

}  // namespace tv
