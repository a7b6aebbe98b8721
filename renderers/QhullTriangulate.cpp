// The one translation unit that includes Qhull (compiled as C++17, see CMakeLists.txt).
#include "renderers/QhullTriangulate.h"

#include <libqhullcpp/PointCoordinates.h>
#include <libqhullcpp/Qhull.h>
#include <libqhullcpp/QhullError.h>
#include <libqhullcpp/QhullFacet.h>
#include <libqhullcpp/QhullFacetList.h>
#include <libqhullcpp/QhullVertex.h>
#include <libqhullcpp/QhullVertexSet.h>

namespace tv {

bool RunQhull(const std::vector<double>& coords, int32_t dim, const char* options, QhullFacets& out,
              std::string& error) {
    out = QhullFacets{};
    if (dim <= 0 || coords.size() % size_t(dim) != 0) return true;
    try {
        orgQhull::PointCoordinates points(dim, "tavrin");
        points.append(coords);
        orgQhull::Qhull qhull;
        qhull.runQhull(points.comment().c_str(), points.dimension(), points.count(),
                       points.coordinates(), options);
        const orgQhull::QhullFacetList list = qhull.facetList();
        for (const orgQhull::QhullFacet& facet : list) {
            // The facets the list selects: the good ones. Delaunay's upper facets (the hull of
            // the lifted points, not part of the mesh) are not good.
            if (!list.isSelectAll() && !facet.isGood()) continue;
            uint32_t size = 0;
            for (const orgQhull::QhullVertex& vertex : facet.vertices()) {
                out.ids.push_back(int32_t(vertex.point().id()));
                ++size;
            }
            out.sizes.push_back(size);
        }
    } catch (const orgQhull::QhullError& e) {
        out = QhullFacets{};
        error = e.what();
        return false;
    }
    return true;
}

}  // namespace tv
