#include "host/CameraSnapshot.h"

#include <cmath>
#include <cstring>

#include "host/SuiteCache.h"

namespace tv {

namespace {
constexpr double kPi = 3.14159265358979323846;

void DumpMatrix(std::ostream& out, const char* title, const Mat4& m) {
    out << title << "\n";
    for (int r = 0; r < 4; ++r)
        out << "[" << m.at(r, 0) << ", " << m.at(r, 1) << ", " << m.at(r, 2) << ", " << m.at(r, 3)
            << "]\n";
}
}  // namespace

void ComputeCameraMatrices(CameraSnapshot& c) {
    // Model view: the camera-to-world matrix with its translation normalised, inverted.
    Mat4 view = c.cameraMatrix;
    view.m[12] /= c.normalizeX;
    view.m[13] /= c.normalizeY;
    view.m[14] /= c.normalizeZ;
    const bool right = c.coordinateSystem == kRightHanded;
    if (right) {
        for (int i : {2, 6, 8, 9}) view.m[i] = -view.m[i];
    }
    Invert(view, c.modelView);

    double aspect = c.aspect;
    if (c.cameraLayer) aspect *= c.pixelAspect;
    const double n = c.nearPlane, f = c.farPlane;
    if (c.cameraType == 1) {
        Mat4 p;
        const double w = c.compWidth / double(c.imagePlaneWidth);
        const double h = c.compHeight / double(c.imagePlaneWidth);
        p.at(0, 0) = 2.0 / w;
        p.at(1, 1) = 2.0 / h;
        if (f != n) {
            if (right) {
                p.at(2, 2) = -2.0 / (f - n);
                p.at(3, 2) = -(f + n) / (f - n);
            } else {
                p.at(2, 2) = 1.0 / (f - n);
                p.at(3, 2) = n / (n - f);
            }
        }
        c.projection = p;
    } else {
        const double x = c.fieldOfView / 2.0 * kPi / 180.0;
        if (f != n && std::sin(x) != 0 && aspect != 0) {
            const double fc = std::cos(x) / std::sin(x);
            Mat4 p;
            p.at(0, 0) = fc / aspect;
            p.at(1, 1) = fc;
            p.at(3, 3) = 0;
            if (right) {
                p.at(2, 2) = -(n + f) / (f - n);
                p.at(2, 3) = -1;
                p.at(3, 2) = -2 * n * f / (f - n);
            } else {
                p.at(2, 2) = f / (f - n);
                p.at(2, 3) = 1;
                p.at(3, 2) = -n * f / (f - n);
            }
            c.projection = p;
        }
    }
    c.modelViewProjection = Multiply(c.modelView, c.projection);
    // position = -R^T t of the model view (row-vector: R is the upper 3x3, t the last row).
    const Mat4& mv = c.modelView;
    for (int i = 0; i < 3; ++i)
        c.position[i] = static_cast<float>(
            -(mv.at(i, 0) * mv.at(3, 0) + mv.at(i, 1) * mv.at(3, 1) + mv.at(i, 2) * mv.at(3, 2)));
    for (int i = 0; i < 3; ++i) c.forward[i] = mv.at(i, 2) * (right ? -1.0 : 1.0);
}

CameraSnapshot MakeCameraSnapshot(const PF_InData* in_data, double nearDistance, double farDistance,
                                  int32_t mode) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    CameraSnapshot c;
    c.downscaleX = double(in_data->downsample_x.num) / in_data->downsample_x.den;
    c.downscaleY = double(in_data->downsample_y.num) / in_data->downsample_y.den;
    c.inverseDownscaleX = 1.0 / c.downscaleX;
    c.inverseDownscaleY = 1.0 / c.downscaleY;
    c.width = in_data->width * c.downscaleX;
    c.height = in_data->height * c.downscaleY;
    c.pixelAspect = double(in_data->pixel_aspect_ratio.num) / in_data->pixel_aspect_ratio.den;
    c.aspect = in_data->height ? double(in_data->width) / in_data->height : 0;
    c.coordinateSystem = mode;

    // Each host call that fails leaves its defaults; the snapshot goes on and keeps the last
    // failure's code.
    auto call = [&c](auto&& f) {
        try {
            f();
        } catch (const HostErrorCode& e) {
            c.status = e.code;
        }
    };
    call([&] {
        const AEGP_EffectRefH self = host.effectFromInstance(0, in_data->effect_ref);
        c.layer = host.effectLayer(self);
        host.disposeEffect(self);
    });
    call([&] {
        int32_t cw = 0, ch = 0;
        host.compDimensions(host.layerParentComp(c.layer), &cw, &ch);
        c.compWidth = float(cw);
        c.compHeight = float(ch);
    });
    A_Time compTime{in_data->current_time, in_data->time_scale};
    call([&] {
        compTime = host.convertEffectToCompTime(in_data->effect_ref, in_data->current_time,
                                                in_data->time_scale);
    });
    call([&] {
        const HostCameraMatrix cm = host.effectCameraMatrix(in_data->effect_ref, compTime);
        std::memcpy(c.cameraMatrix.m, cm.matrix, sizeof cm.matrix);
        c.imagePlaneDistance = cm.imagePlaneDistance;
        c.imagePlaneWidth = cm.imagePlaneWidth;
        c.imagePlaneHeight = cm.imagePlaneHeight;
    });
    c.normalizeX = c.normalizeY = c.normalizeZ = float(c.imagePlaneWidth);
    c.nearPlane = float(nearDistance / c.normalizeX);
    c.farPlane = float(farDistance / c.normalizeX);

    call([&] { c.cameraLayer = host.effectCamera(in_data->effect_ref, compTime); });
    if (c.cameraLayer) {
        auto stream = [&](int32_t id, auto set) {
            call([&] {
                double v[4];
                host.layerStreamValue(c.cameraLayer, id, compTime, v);
                set(v[0]);
            });
        };
        stream(14, [&](double v) { c.aperture = v; });
        stream(13, [&](double v) { c.focusDistance = v; });
        stream(15, [&](double v) { c.blurLevel = float(v); });
        stream(12, [&](double v) { c.depthOfField = v != 0; });
        stream(11, [&](double v) { c.zoom = v; });
        call([&] { host.cameraFilmSize(c.cameraLayer, &c.filmSizeUnits, &c.filmSize); });
        call([&] { c.cameraType = host.cameraType(c.cameraLayer); });
    }
    c.filmExtent =
        c.filmSizeUnits == 1 ? c.compWidth
        : c.filmSizeUnits == 2
            ? c.compHeight
            : std::sqrt(double(c.compWidth) * c.compWidth + double(c.compHeight) * c.compHeight);
    c.focalLength = c.filmSize * c.zoom / c.filmExtent;
    c.fNumber = float(c.focalLength / c.aperture);
    c.fieldOfView = 2.0 * std::atan(float(c.compHeight * 0.5 / c.imagePlaneDistance)) * 180.0 / kPi;
    ComputeCameraMatrices(c);
    return c;
}

ProjectedPoint CameraSnapshot::projectPoint(const Vec3f& p) const {
    const double in[3] = {p.x / double(normalizeX), p.y / double(normalizeY),
                          p.z / double(normalizeZ)};
    double r[4];
    TransformPoint(modelViewProjection, in, r);
    ProjectedPoint out;
    out.rhw = 1.0 / r[3];
    out.x = (r[0] * out.rhw + 1.0) * width * 0.5;
    out.y = height - (1.0 - r[1] * out.rhw) * height * 0.5;
    out.z = r[2] * out.rhw;
    return out;
}

void CameraSnapshot::fillBlurs(double blurFactor, const std::vector<Vec3f>& positions,
                               std::vector<float>& blurs) const {
    if (!depthOfField || positions.empty() || positions.size() != blurs.size()) return;
    const double scale = blurLevel / 100.0 * aperture;
    for (size_t i = 0; i < positions.size(); ++i) {
        const double dx = positions[i].x - double(position[0]) * normalizeX;
        const double dy = positions[i].y - double(position[1]) * normalizeX;
        const double dz = positions[i].z - double(position[2]) * normalizeX;
        const double d = std::sqrt(dx * dx + dy * dy + dz * dz);
        blurs[i] = float(std::fabs(d - focusDistance) * scale * blurFactor / focusDistance);
    }
}

void CameraSnapshot::dump(std::ostream& out) const {
    out << "Camera Type: " << (cameraType == 1 ? "Orthographic Camera" : "Perspective Camera")
        << "\n";
    out << "Co-ordinate System: "
        << (coordinateSystem == kRightHanded ? "Right Handed (OPENGL) System"
                                             : "Left Handed (DIRECTX) System")
        << "\n";
    out << "Image Plane: " << imagePlaneDistance << "\n";
    out << "FOV: " << fieldOfView << "\n";
    out << "Forward Vector: " << forward[0] << ", " << forward[1] << ", " << forward[2] << "\n";
    out << "Normalize Vector: " << normalizeX << ", " << normalizeY << ", " << normalizeZ << "\n";
    DumpMatrix(out, "Projection Matrix:", projection);
    DumpMatrix(out, "Model View Matrix:", modelView);
    DumpMatrix(out, "Model View Projection Matrix:", modelViewProjection);
}

PF_Err CollectLights(const PF_InData* in_data, std::vector<SceneLight>& out,
                     const std::string& namePrefix, double timeOffsetSeconds, int32_t lightType) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    try {
        const AEGP_EffectRefH self = host.effectFromInstance(0, in_data->effect_ref);
        const AEGP_LayerH layer = host.effectLayer(self);
        host.disposeEffect(self);
        const AEGP_CompH comp = host.layerParentComp(layer);
        int32_t t = in_data->current_time;
        if (timeOffsetSeconds > 0)
            t = static_cast<int32_t>(in_data->current_time -
                                     in_data->time_scale * timeOffsetSeconds);
        const A_Time time =
            host.convertEffectToCompTime(in_data->effect_ref, t, in_data->time_scale);
        const int32_t count = host.compNumLayers(comp);
        for (int32_t i = 0; i < count; ++i) {
            const AEGP_LayerH l = host.compLayerByIndex(comp, i);
            if (!(host.layerFlags(l) & AEGP_LayerFlag_VIDEO_ACTIVE)) continue;
            if (!host.layerActiveAtTime(l, time)) continue;
            const std::string name = host.layerName(l);
            if (name.size() < namePrefix.size() ||
                std::memcmp(name.data(), namePrefix.data(), namePrefix.size()) != 0)
                continue;
            if (host.layerObjectType(l) != AEGP_ObjectType_LIGHT) continue;
            if (host.layerLightType(l) != lightType) continue;
            SceneLight light;
            double m[16];
            host.layerToWorldXform(l, time, m);
            light.position[0] = m[12];
            light.position[1] = m[13];
            light.position[2] = m[14];
            double v[4];
            host.layerStreamValue(l, 16, time, v);
            light.intensity = float(v[0]);
            host.layerStreamValue(l, 17, time, v);
            light.color[0] = float(v[0]);
            light.color[1] = float(v[1]);
            light.color[2] = float(v[2]);
            host.layerStreamValue(l, 20, time, v);
            light.shadowDarkness = v[0];
            host.layerStreamValue(l, 21, time, v);
            light.shadowDiffusion = v[0];
            out.push_back(light);
        }
    } catch (const HostErrorCode& e) {
        return e.code;  // what was collected stands
    }
    return PF_Err_NONE;
}

}  // namespace tv
