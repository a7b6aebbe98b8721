// The lines renderer's neighbour search: exact k-nearest neighbours on a kd-tree, connections
// made only from the lower vertex index to the higher, with factors from two distance curves.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "host/GeometryStore.h"
#include "params/DistanceCurve.h"
#include "renderers/ParallelFor.h"

namespace tv {

struct ConnectionSet {
    std::vector<int32_t> pairs;  // first, second, first, second...
    std::vector<float> opacityFactors;
    std::vector<float> thicknessFactors;
    size_t size() const { return opacityFactors.size(); }
};

enum DrawBetween : int32_t {
    kSameGroup = 1,
    kDifferentGroups = 2,
    kAllGroupsLines = 3,
    kOneGroup = 4,
    kTwoGroups = 5,
};

struct SearchSettings {
    int32_t maxVertices = 10;
    float maxDistance = 100;
    int32_t drawBetween = kAllGroupsLines;
    int32_t firstGroup = 1;
    int32_t secondGroup = 2;
    DistanceCurve opacityCurve = DistanceCurve::DefaultOpacity();
    DistanceCurve thicknessCurve = DistanceCurve::DefaultThickness();
};

// One search: the queries [queryStart, +queryCount) against the points [searchStart,
// +searchCount), appended to `out` in the order of the queries and, for each, of increasing
// distance. A pair (a, b) is kept when b is among the maxVertices nearest of a, within the
// maximum distance (inclusive), and a < b. Nothing happens when an argument is out of range.
// The same pairs in the same order with or without `parallel`.
void SearchNeighbours(const SearchSettings& s, const std::vector<Vec3f>& search,
                      const std::vector<Vec3f>& queries, uint32_t searchStart, uint32_t searchCount,
                      uint32_t queryStart, uint32_t queryCount, ConnectionSet& out,
                      const ParallelFor& parallel = {});

// All connections of one geometry by "Draw Lines Between", searched on positions shifted by the
// store's jitter (the shift is removed again before returning).
void ConnectionsOfGeometry(const SearchSettings& s, GeometryStore& store, ConnectionSet& out,
                           const ParallelFor& parallel = {});

// Blends connections found at two times: common pairs interpolate, the others fade.
bool BlendConnections(const ConnectionSet& a, const ConnectionSet& b, float factorA, float factorB,
                      ConnectionSet& out);

}  // namespace tv
