// The comp's camera at one time, as two plain matrices and its lens values, and the comp's point
// lights as records. Made anew for every frame or motion-blur sample; nothing is kept.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "host/GeometryStore.h"
#include "host/HostServices.h"
#include "host/Matrix.h"

namespace tv {

enum CoordinateSystem : int32_t { kLeftHanded = 1, kRightHanded = 2 };

struct AEBase {
    double width = 0, height = 0;
    double downscaleX = 1, downscaleY = 1;
    double pixelAspect = 1;
    double aspect = 1;
    double inverseDownscaleX = 1, inverseDownscaleY = 1;
    double reserved = 0;
    AEGP_LayerH layer = 0;
};

struct ProjectedPoint {
    double x = 0, y = 0, z = 0, rhw = 0;
};

struct CameraSnapshot : AEBase {
    float nearPlane = 0, farPlane = 0;
    float normalizeX = 1, normalizeY = 1, normalizeZ = 1;
    double focusDistance = 1.0;
    int32_t cameraType = -1;  // -1 none, 0 perspective, 1 orthographic
    Mat4 cameraMatrix;
    int32_t filmSizeUnits = 1;
    double filmSize = 36.0;
    AEGP_LayerH cameraLayer = 0;
    double forward[3] = {0, 0, 0};
    float compWidth = 0, compHeight = 0;
    double imagePlaneDistance = 1.0;
    double focalLength = 0;
    double filmExtent = 0;
    int16_t imagePlaneWidth = 1, imagePlaneHeight = 1;
    double zoom = 1.0;
    double fieldOfView = 0;
    float position[3] = {0, 0, 0};
    Mat4 projection;
    Mat4 modelView;
    Mat4 modelViewProjection;
    float blurLevel = 0;
    bool depthOfField = false;
    double aperture = 0;
    float fNumber = 0;
    int32_t coordinateSystem = kLeftHanded;
    PF_Err status = PF_Err_NONE;  // the last host code met while building

    // World point to pixels: x, y in the output, z in depth, and 1 / w.
    ProjectedPoint projectPoint(const Vec3f& p) const;
    // Per-vertex depth-of-field blur; does nothing without depth of field or on a size mismatch.
    void fillBlurs(double blurFactor, const std::vector<Vec3f>& positions,
                   std::vector<float>& blurs) const;
    void dump(std::ostream& out) const;
};

// Builds the snapshot at in_data->current_time with the given clip distances.
CameraSnapshot MakeCameraSnapshot(const PF_InData* in_data, double nearDistance, double farDistance,
                                  int32_t mode);
// The matrix steps alone, from values already fetched (the host-free part, used by tests).
void ComputeCameraMatrices(CameraSnapshot& camera);

struct SceneLight {
    double position[3] = {0, 0, 0};
    float color[3] = {1, 1, 1};
    float intensity = 100;
    double shadowDarkness = 0;
    double shadowDiffusion = 0;
};

// The comp's lights of one type (point unless asked) whose names begin with `namePrefix` (raw
// bytes, no case folding).
PF_Err CollectLights(const PF_InData* in_data, std::vector<SceneLight>& out,
                     const std::string& namePrefix, double timeOffsetSeconds,
                     int32_t lightType = AEGP_LightType_POINT);

}  // namespace tv
