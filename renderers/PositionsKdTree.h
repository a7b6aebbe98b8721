// The kd-tree the neighbour searches share: nanoflann's single index over L2 of float, built in
// place over a run of the store's positions through an adaptor (no copy), leaves of 32.
#pragma once

#include <nanoflann.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "host/GeometryStore.h"

namespace tv {

struct PositionsAdaptor {
    const Vec3f* points;
    size_t count;
    size_t kdtree_get_point_count() const { return count; }
    float kdtree_get_pt(size_t i, size_t dim) const {
        const Vec3f& p = points[i];
        return dim == 0 ? p.x : dim == 1 ? p.y : p.z;
    }
    template <class Box>
    bool kdtree_get_bbox(Box&) const {
        return false;
    }
};

using PositionsKdTree =
    nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<float, PositionsAdaptor>,
                                        PositionsAdaptor, 3, uint32_t>;

inline constexpr size_t kKdLeafSize = 32;

// A k-nearest search whose entries past `limit` (a squared distance) are dropped afterwards can
// start with the limit as its radius: set the result's last slot (the bound the tree prunes by
// until k are found) to this after init. Branches past the limit hold only entries that would be
// dropped, and the entries within it are found in the same order (the neighbour search's test
// checks this against the search without a limit). No limit (infinite or NaN) leaves the tree's
// own start.
inline float KnnBoundPast(float limit) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    return limit < kInfinity ? std::nextafter(limit, kInfinity) : std::numeric_limits<float>::max();
}

}  // namespace tv
