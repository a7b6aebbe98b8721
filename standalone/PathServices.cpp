// The embedded host's path services: the masks of an effect's layer, their paths at a time
// (keys blend linearly or hold), and the glyph outlines of a text layer.
#include <algorithm>
#include <stdexcept>

#include "standalone/EmbeddedHost.h"
#include "standalone/TextOutlines.h"

namespace tv::standalone {

namespace {

BezierPath ToPath(const std::vector<MaskVertex>& vertices, bool closed) {
    BezierPath p;
    p.closed = closed;
    p.vertices.reserve(vertices.size());
    for (const MaskVertex& v : vertices)
        p.vertices.push_back({v.x, v.y, v.inX, v.inY, v.outX, v.outY});
    return p;
}

}  // namespace

BezierPath MaskPathAt(const Mask& mask, double seconds) {
    if (mask.keys.empty()) return ToPath(mask.vertices, mask.closed);
    const auto& keys = mask.keys;
    if (seconds <= keys.front().t) return ToPath(keys.front().vertices, mask.closed);
    if (seconds >= keys.back().t) return ToPath(keys.back().vertices, mask.closed);
    const auto next = std::upper_bound(keys.begin(), keys.end(), seconds,
                                       [](double t, const MaskPathKey& k) { return t < k.t; });
    const MaskPathKey& a = *(next - 1);
    const MaskPathKey& b = *next;
    const BezierPath pa = ToPath(a.vertices, mask.closed);
    if (a.interp == Interp::Hold || b.t <= a.t) return pa;
    return InterpolatePaths(pa, ToPath(b.vertices, mask.closed), (seconds - a.t) / (b.t - a.t));
}

int32_t EmbeddedHost::layerMaskCount(PF_ProgPtr ref) {
    const Layer* layer = layerOfInstance(ref);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return static_cast<int32_t>(layer->masks.size());
}

PF_Err EmbeddedHost::layerMask(PF_ProgPtr ref, int32_t index, const A_Time& compTime,
                               MaskData& out) {
    const Layer* layer = layerOfInstance(ref);
    if (!layer) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= layer->masks.size()) return PF_Err_INVALID_INDEX;
    const Mask& mask = layer->masks[size_t(index)];
    const double seconds = TimeToSeconds(compTime);
    out.name = mask.name;
    std::copy(std::begin(mask.color), std::end(mask.color), out.color);
    out.opacity = mask.opacity.at(seconds)[0];
    out.inverted = mask.inverted;
    out.path = MaskPathAt(mask, seconds);
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::layerTextOutlines(PF_ProgPtr ref, const A_Time&,
                                       std::vector<BezierPath>& out) {
    out.clear();
    const Layer* layer = layerOfInstance(ref);
    if (!layer || layer->kind != LayerKind::Text) return PF_Err_BAD_CALLBACK_PARAM;
    try {
        out = TextOutlines(
            TextStyle{layer->text, layer->sourceFile, layer->fontFamily, layer->fontSize},
            layer->width, layer->height);
    } catch (const std::exception& e) {
        diagnostic("text layer \"" + layer->name + "\": " + e.what());
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    return PF_Err_NONE;
}

}  // namespace tv::standalone
