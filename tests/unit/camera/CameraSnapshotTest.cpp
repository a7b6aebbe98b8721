#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "host/CameraSnapshot.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

struct CameraFixture : ::testing::Test {
    standalone::EmbeddedHost host;
    standalone::EffectInstance* main = nullptr;
    PF_InData in;
    void SetUp() override {
        auto& comp = host.addComp("c", 200, 100);
        auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
        main = &host.applyEffectInstance(layer, "KDL TAVRUS TWO", true);
        in.pica_basicP = &host;
        in.effect_ref = main->uid;
        in.width = 200;
        in.height = 100;
        in.time_scale = 30000;
    }
};

TEST_F(CameraFixture, DefaultViewMapsTheCompPlaneOntoPixels) {
    const CameraSnapshot c = MakeCameraSnapshot(&in, 10, 30000, kLeftHanded);
    EXPECT_EQ(c.cameraType, -1);
    EXPECT_FALSE(c.depthOfField);
    EXPECT_EQ(c.normalizeX, 200.0f);
    // The default zoom is 50 mm over 36 mm of film across the comp's width.
    EXPECT_NEAR(c.imagePlaneDistance, 200 * 50.0 / 36.0, 1e-9);
    // Field of view from the comp's height: 2 atan(50 / zoom).
    EXPECT_NEAR(c.fieldOfView, 2 * std::atan(50 / (200 * 50.0 / 36.0)) * 180 / M_PI, 1e-4);
    // Points on the z = 0 plane land on their own pixel coordinates.
    for (const Vec3f p :
         {Vec3f{100, 50, 0}, Vec3f{0, 0, 0}, Vec3f{200, 100, 0}, Vec3f{30, 70, 0}}) {
        const ProjectedPoint q = c.projectPoint(p);
        EXPECT_NEAR(q.x, p.x, 1e-3) << p.x << "," << p.y;
        EXPECT_NEAR(q.y, p.y, 1e-3) << p.x << "," << p.y;
    }
    // Further away is smaller about the centre, and deeper.
    const ProjectedPoint far = c.projectPoint({200, 100, 1000});
    const ProjectedPoint nearP = c.projectPoint({200, 100, 0});
    EXPECT_LT(far.x, nearP.x);
    EXPECT_GT(far.z, nearP.z);
    // The eye sits at the comp's middle, one zoom in front of it.
    EXPECT_NEAR(c.position[0] * c.normalizeX, 100, 1e-3);
    EXPECT_NEAR(c.position[2] * c.normalizeX, -200 * 50.0 / 36.0, 1e-3);
    EXPECT_NEAR(c.forward[2], 1.0, 1e-12);
}

TEST_F(CameraFixture, NoCameraMeansNoBlursAndNoPixelAspect) {
    in.pixel_aspect_ratio = PF_RationalScale{2, 1};
    const CameraSnapshot c = MakeCameraSnapshot(&in, 10, 30000, kLeftHanded);
    EXPECT_NEAR(c.projection.at(0, 0) * c.aspect, c.projection.at(1, 1), 1e-12);
    std::vector<Vec3f> positions = {{1, 2, 3}};
    std::vector<float> blurs = {0};
    c.fillBlurs(1.0, positions, blurs);
    EXPECT_EQ(blurs[0], 0.0f);
}

TEST(CameraMatrices, RotatedCameraWorkedByHand) {
    // A camera turned 90 degrees about Y, at (0, 0, 0): its view axis is world +X.
    CameraSnapshot c;
    c.width = 100;
    c.height = 100;
    c.aspect = 1;
    c.compWidth = c.compHeight = 100;
    c.fieldOfView = 90;
    c.nearPlane = 0.1f;
    c.farPlane = 100;
    Mat4 m;  // rows are the camera's axes in world space: x' = -Z, z' = +X
    m.at(0, 0) = 0, m.at(0, 2) = -1;
    m.at(2, 0) = 1, m.at(2, 2) = 0;
    c.cameraMatrix = m;
    ComputeCameraMatrices(c);
    // A point straight ahead on world +X projects to the centre.
    const ProjectedPoint q = c.projectPoint({10, 0, 0});
    EXPECT_NEAR(q.x, 50, 1e-9);
    EXPECT_NEAR(q.y, 50, 1e-9);
    // With a 90 degree field, a point 10 ahead and 10 along the camera's x edge is at the edge:
    // camera x is world -Z.
    const ProjectedPoint edge = c.projectPoint({10, 0, -10});
    EXPECT_NEAR(edge.x, 100, 1e-9);
    EXPECT_NEAR(c.forward[0], 1.0, 1e-12);
}

TEST(CameraMatrices, OrthographicUsesCompWidthOverImagePlaneWidth) {
    CameraSnapshot c;
    c.cameraType = 1;
    c.width = 200;
    c.height = 100;
    c.aspect = 2;
    c.compWidth = 200;
    c.compHeight = 100;
    c.imagePlaneWidth = 200;
    c.normalizeX = c.normalizeY = c.normalizeZ = 200;
    c.nearPlane = 0.01f;
    c.farPlane = 10;
    Mat4 m;
    m.at(3, 0) = 100, m.at(3, 1) = 50, m.at(3, 2) = -500;
    c.cameraMatrix = m;
    ComputeCameraMatrices(c);
    EXPECT_NEAR(c.projection.at(0, 0), 2.0, 1e-12);  // box width 200/200 = 1
    // Depth does not shrink anything.
    const ProjectedPoint a = c.projectPoint({150, 50, 0});
    const ProjectedPoint b = c.projectPoint({150, 50, 1000});
    EXPECT_NEAR(a.x, b.x, 1e-9);
    EXPECT_NEAR(a.x, 150, 1e-9);  // 50 px right of the centre, one pixel per pixel
}

TEST(CameraMatrices, DumpPrintsTheStatedLines) {
    CameraSnapshot c;
    std::ostringstream out;
    c.dump(out);
    const std::string text = out.str();
    EXPECT_NE(text.find("Camera Type: Perspective Camera"), std::string::npos);
    EXPECT_NE(text.find("Co-ordinate System: Left Handed (DIRECTX) System"), std::string::npos);
    EXPECT_NE(text.find("Model View Projection Matrix:"), std::string::npos);
}

}  // namespace
}  // namespace tv
