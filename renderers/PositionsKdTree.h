// The kd-tree the neighbour searches share: nanoflann's single index over L2 of float, built in
// place over a run of the store's positions through an adaptor (no copy), leaves of 32.
#pragma once

#include <nanoflann.hpp>

#include <cstddef>
#include <cstdint>

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

}  // namespace tv
