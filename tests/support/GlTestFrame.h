// A small unified engine frame for the GL tests: a camera in front of the origin or behind it,
// and one engine drawing what a test feeds it into a float target.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "engines/TVGLEngine.h"
#include "engines/gl/GlGlobals.h"

namespace tv::gltest {

inline constexpr int32_t kSize = 32;

inline const gl::GlGlobals* Globals() {
    static gl::GlFramework framework;
    return gl::FrameworkGlobals(framework);
}

// A camera 100 units from the origin with a 90 degree field: in front (looking down +z) or
// behind (turned half way round y, looking down -z). Either sees x and y from -100 to 100 on
// the z = 0 plane.
inline CameraSnapshot Camera(bool behind) {
    CameraSnapshot c;
    c.width = c.height = kSize;
    c.compWidth = c.compHeight = float(kSize);
    c.aspect = 1, c.fieldOfView = 90, c.imagePlaneWidth = int16_t(kSize);
    c.normalizeX = c.normalizeY = c.normalizeZ = float(kSize);
    c.nearPlane = 1.0f / float(kSize), c.farPlane = 1000.0f / float(kSize);
    c.coordinateSystem = kRightHanded;
    if (behind) c.cameraMatrix.m[0] = -1, c.cameraMatrix.m[10] = -1;
    c.cameraMatrix.m[14] = behind ? 100 : -100;
    ComputeCameraMatrices(c);
    return c;
}

// What one engine draws: the alpha of the frame's centre pixel and the count of lit pixels.
struct Drawn {
    float centre = 0;
    int32_t lit = 0;
};

template <class Feed>
Drawn Draw(int32_t visibility, bool behind, Feed feed, bool perspectiveSizes = true) {
    std::vector<float> pixels(size_t(kSize) * kSize * 4, 0.0f);
    PF_EffectWorld out;
    out.width = out.height = kSize, out.rowbytes = kSize * 16;
    out.format = PF_PixelFormat_ARGB128;
    out.data = reinterpret_cast<uint8_t*>(pixels.data());
    TVGLEngine engine(nullptr, &out, 32, Globals());
    EXPECT_TRUE(engine.valid());
    const CameraSnapshot cam = Camera(behind);
    engine.allocateTargets(true, kSize, kSize);
    engine.setCullMode(visibility);
    engine.perspectiveSizes = perspectiveSizes;
    engine.zNear = cam.nearPlane, engine.zFar = cam.farPlane;
    engine.nearFade = cam.nearPlane, engine.farFade = cam.farPlane;
    engine.prepareSamples(cam, 16, 1);
    engine.setPassRange(cam, 16, 1, 0, 16);
    engine.clearDrawables();
    feed(engine);
    engine.renderPasses();
    engine.compositeFrame();
    engine.readBack(out);
    Drawn d;
    d.centre = pixels[(size_t(kSize / 2) * kSize + kSize / 2) * 4];
    for (size_t i = 0; i < pixels.size(); i += 4) d.lit += pixels[i] > 0.5f;
    return d;
}

}  // namespace tv::gltest
