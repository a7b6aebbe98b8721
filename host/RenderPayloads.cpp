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

}  // namespace

void RegisterStandardPayloadReleasers() {
    RegisterRenderItemReleaser(kRenderPoints, &ReleasePoints);
    RegisterRenderItemReleaser(kRenderLines, &ReleaseLines);
}

}  // namespace tv
