// Qhull behind a plain interface: this header names nothing of Qhull's, so that callers build
// as C++20 while QhullTriangulate.cpp (whose Qhull headers need C++17) keeps Qhull to itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tv {

// The facets of one Qhull run: each facet's vertices as point ids (counting from the first
// point handed in), in the facet's vertex order; the facets Qhull's facet list selects (its
// good ones, which leaves out the upper facets of a Delaunay run), in list order.
struct QhullFacets {
    std::vector<int32_t> ids;     // every facet's ids, one facet after another
    std::vector<uint32_t> sizes;  // how many ids each facet has
};

// Runs Qhull on `count` points of `dim` coordinates each (tightly packed doubles) with the
// given options ("Qt" for the triangulated convex hull, "d Qt" for the Delaunay
// triangulation). Returns false, with Qhull's message in `error`, when Qhull throws.
bool RunQhull(const std::vector<double>& coords, int32_t dim, const char* options, QhullFacets& out,
              std::string& error);

}  // namespace tv
