#include "effectors/EffectorFrame.h"

#include <algorithm>
#include <cmath>

#include "host/EffectTemplate.h"

namespace tv {

AxisMask AxisSelection(int32_t a) {
    AxisMask m;
    if (a < 0 || a > 31) return m;
    m.x = (178 >> a) & 1;
    m.y = (212 >> a) & 1;
    m.z = a == 3 || a == 5 || a == 6 || a == 7;
    return m;
}

IndexRange EffectorRange(GeometryStore& store, int32_t group, int32_t target) {
    return target == kTargetFaces ? GroupFaceRange(store, group) : GroupVertexRange(store, group);
}

bool FieldWeight(const FieldRecord& field, double d, double& w) {
    const double r = field.radius, f = field.fade;
    if (!(r >= d)) return false;
    const double q = (d / r - (1 - f)) / f;
    // A q of no number (0/0 at the very edge of a hard field, or at the centre of a radius-0
    // field) passes the clamp and gives a weight of no number, which the engines report.
    w = 1 - (q < 0.0 ? 0.0 : q > 1.0 ? 1.0 : q);
    return true;
}

double LightValue(int32_t source, const SceneLight& light, double fallback, bool asFraction) {
    double v;
    switch (source) {
        case 2:
            v = light.intensity;
            break;
        case 3:
            v = light.shadowDarkness;
            break;
        case 4:
            v = light.shadowDiffusion;
            break;
        default:
            return fallback;
    }
    return asFraction ? v / 100.0 : v;
}

}  // namespace tv
