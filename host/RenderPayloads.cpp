#include "host/RenderPayloads.h"

namespace tv {

namespace {

void ReleasePoints(RenderItem& item) {
    auto& p = item.as<PointsPayload>();
    delete[] p.vertices;
    delete[] p.times;
    delete[] p.sampleIndex;
    p = PointsPayload{};
}

void ReleaseLines(RenderItem& item) {
    auto& p = item.as<LinesPayload>();
    delete[] p.pairs;
    delete[] p.opacity;
    delete[] p.thickness;
    p = LinesPayload{};
}

void ReleaseTriangles(RenderItem& item) {
    auto& p = item.as<TrianglesPayload>();
    delete[] p.triples;
    delete[] p.opacity;
    delete[] p.extra;
    p = TrianglesPayload{};
}

void ReleaseBeams(RenderItem& item) {
    auto& p = item.as<BeamsPayload>();
    delete[] p.pairs;
    delete[] p.amounts;
    delete[] p.spans;
    p = BeamsPayload{};
}

void ReleaseFacets(RenderItem& item) {
    auto& p = item.as<FacetsPayload>();
    delete[] p.triples;
    delete[] p.opacity;
    delete[] p.rotations;
    delete[] p.centroids;
    p = FacetsPayload{};
}

}  // namespace

void RegisterStandardPayloadReleasers() {
    RegisterRenderItemReleaser(kRenderPoints, &ReleasePoints);
    RegisterRenderItemReleaser(kRenderLines, &ReleaseLines);
    RegisterRenderItemReleaser(kRenderTriangles, &ReleaseTriangles);
    RegisterRenderItemReleaser(kRenderBeams, &ReleaseBeams);
    RegisterRenderItemReleaser(kRenderFacets, &ReleaseFacets);
}

}  // namespace tv
