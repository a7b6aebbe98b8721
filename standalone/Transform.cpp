#include "standalone/Transform.h"

#include <cmath>

namespace tv::standalone {

namespace {

constexpr double kPi = 3.14159265358979323846;

Mat4 Translation(double x, double y, double z) {
    Mat4 m;
    m.m[12] = x, m.m[13] = y, m.m[14] = z;
    return m;
}

Mat4 Scaling(double x, double y, double z) {
    Mat4 m;
    m.m[0] = x, m.m[5] = y, m.m[10] = z;
    return m;
}

// Rows: the x, y and z axes of a view from `from` toward `to`; y stays as close to comp "down"
// as the view allows.
Mat4 LookAt(const std::array<double, 4>& from, const std::array<double, 4>& to) {
    double z[3] = {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
    double zl = std::sqrt(z[0] * z[0] + z[1] * z[1] + z[2] * z[2]);
    if (zl == 0) z[2] = zl = 1;
    for (double& c : z) c /= zl;
    double x[3] = {z[2], 0, -z[0]};  // (0, 1, 0) x z
    double xl = std::sqrt(x[0] * x[0] + x[2] * x[2]);
    if (xl == 0) {
        x[0] = 1, x[1] = x[2] = 0;
        xl = 1;
    }
    for (double& c : x) c /= xl;
    const double y[3] = {z[1] * x[2] - z[2] * x[1], z[2] * x[0] - z[0] * x[2],
                         z[0] * x[1] - z[1] * x[0]};
    Mat4 m;
    for (int i = 0; i < 3; ++i) {
        m.m[0 + i] = x[i];
        m.m[4 + i] = y[i];
        m.m[8 + i] = z[i];
    }
    return m;
}

}  // namespace

Mat4 RotationX(double degrees) {
    const double r = degrees * kPi / 180.0, c = std::cos(r), s = std::sin(r);
    Mat4 m;
    m.m[5] = c, m.m[6] = s, m.m[9] = -s, m.m[10] = c;
    return m;
}

Mat4 RotationY(double degrees) {
    const double r = degrees * kPi / 180.0, c = std::cos(r), s = std::sin(r);
    Mat4 m;
    m.m[0] = c, m.m[2] = -s, m.m[8] = s, m.m[10] = c;
    return m;
}

Mat4 RotationZ(double degrees) {
    const double r = degrees * kPi / 180.0, c = std::cos(r), s = std::sin(r);
    Mat4 m;
    m.m[0] = c, m.m[1] = s, m.m[4] = -s, m.m[5] = c;
    return m;
}

const Layer* LayerById(const Comp& comp, uint32_t id) {
    for (const auto& l : comp.layers)
        if (l->id == id) return l.get();
    return nullptr;
}

Mat4 LayerToParent(const Layer& layer, const Comp& comp, double seconds) {
    const Transform2D& t = layer.transform;
    Mat4 m;
    const bool scene = layer.kind == LayerKind::Camera || layer.kind == LayerKind::Light;
    if (!scene) {
        // A null turns about its corner; other layers about their centre.
        std::array<double, 4> anchor{layer.width / 2.0, layer.height / 2.0, 0, 0};
        if (layer.kind == LayerKind::Null) anchor = {0, 0, 0, 0};
        std::array<double, 4> scale{100, 100, 100, 0};
        if (t.set) anchor = t.anchor.at(seconds), scale = t.scale.at(seconds);
        if (!layer.is3D) anchor[2] = 0, scale[2] = 100;
        m = Multiply(Translation(-anchor[0], -anchor[1], -anchor[2]),
                     Scaling(scale[0] / 100.0, scale[1] / 100.0, scale[2] / 100.0));
    }
    if (t.set) {
        m = Multiply(m, RotationZ(t.rotation.at(seconds)[0]));
        if (layer.is3D) {
            const auto o = t.orientation.at(seconds);
            m = Multiply(m, RotationY(t.rotationY.at(seconds)[0]));
            m = Multiply(m, RotationX(t.rotationX.at(seconds)[0]));
            m = Multiply(m, Multiply(RotationZ(o[2]), Multiply(RotationY(o[1]), RotationX(o[0]))));
        }
    }
    std::array<double, 4> position{comp.width / 2.0, comp.height / 2.0, 0, 0};
    if (layer.kind == LayerKind::Camera) {
        position = layer.camera.position.at(seconds);
        if (!layer.camera.oneNode)
            m = Multiply(m, LookAt(position, layer.camera.pointOfInterest.at(seconds)));
    } else if (layer.kind == LayerKind::Light) {
        position = layer.light.position.at(seconds);
        if (layer.light.type == kLightSpot || layer.light.type == kLightParallel)
            m = Multiply(m, LookAt(position, layer.light.pointOfInterest.at(seconds)));
    } else if (t.set) {
        position = t.position.at(seconds);
        if (!layer.is3D) position[2] = 0;
    }
    return Multiply(m, Translation(position[0], position[1], position[2]));
}

Mat4 LayerToWorld(const Layer& layer, const Comp& comp, double seconds) {
    Mat4 m = LayerToParent(layer, comp, seconds);
    const Layer* at = &layer;
    // Documents refuse parent cycles; the bound keeps a hand-built model from looping.
    for (size_t depth = 0; at->parent != 0 && depth < comp.layers.size(); ++depth) {
        at = LayerById(comp, at->parent);
        if (!at) break;
        m = Multiply(m, LayerToParent(*at, comp, seconds));
    }
    return m;
}

}  // namespace tv::standalone
