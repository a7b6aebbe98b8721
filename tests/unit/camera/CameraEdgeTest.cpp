// Depth-of-field values of the camera snapshot with and without a camera layer, from documents.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/CameraSnapshot.h"
#include "standalone/Document.h"

namespace tv {
namespace {

// A 200 x 100 comp: the given layers above a layer carrying the main effect.
struct Scene {
    standalone::EmbeddedHost host;
    PF_InData in;
    explicit Scene(const std::string& layers) {
        standalone::LoadDocumentText(
            R"({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 100, "layers": [)" +
                layers + R"({"name": "Fx", "solid": {}, "effects": [{"effect": "Tavrin"}]}]}]})",
            "doc.json", host);
        auto& comp = *host.project().comps[0];
        in.pica_basicP = &host;
        in.effect_ref = comp.layers.back()->effects[0]->uid;
        in.width = 200;
        in.height = 100;
        in.time_scale = comp.timeScale();
    }
    CameraSnapshot snapshot() const { return MakeCameraSnapshot(&in, 10, 30000, kLeftHanded); }
};

std::string Camera(const std::string& extra) {
    return R"({"name": "Cam", "camera": {"depthOfField": true, "aperture": 40,
               "blurLevel": 100)" +
           extra + "}},";
}

TEST(CameraEdges, WithoutACameraFillBlursLeavesTheArrayAlone) {
    Scene s("");
    CameraSnapshot c = s.snapshot();
    ASSERT_EQ(c.cameraLayer, 0u);
    EXPECT_FALSE(c.depthOfField);
    // Even with blur values standing in the record, nothing is written.
    c.blurLevel = 100;
    c.aperture = 25;
    const std::vector<Vec3f> positions = {{0, 0, 0}, {100, 50, 500}, {-40, 7, -900}};
    std::vector<float> blurs(positions.size(), -7.25f);
    c.fillBlurs(3.0, positions, blurs);
    EXPECT_EQ(blurs, std::vector<float>(positions.size(), -7.25f));

    // A camera with depth of field writes them over.
    Scene cam(Camera(R"(, "focusDistance": 300)"));
    const CameraSnapshot d = cam.snapshot();
    ASSERT_TRUE(d.depthOfField);
    std::vector<float> written(positions.size(), -7.25f);
    d.fillBlurs(3.0, positions, written);
    for (float b : written) EXPECT_GE(b, 0.0f);
}

TEST(CameraEdges, FocusDistanceComesFromTheCameraLayer) {
    {
        Scene s("");
        EXPECT_EQ(s.snapshot().focusDistance, 1.0);  // the default, without a camera only
    }
    {
        Scene s(Camera(R"(, "focusDistance": 1234.5)"));
        const CameraSnapshot c = s.snapshot();
        ASSERT_NE(c.cameraLayer, 0u);
        EXPECT_EQ(c.focusDistance, 1234.5);
        // Blur grows with the distance from the focus: |d - 1234.5| * (100 / 100 * 40) / 1234.5.
        const double eye[3] = {c.position[0] * double(c.normalizeX),
                               c.position[1] * double(c.normalizeX),
                               c.position[2] * double(c.normalizeX)};
        const std::vector<Vec3f> positions = {{float(eye[0]), float(eye[1]), float(eye[2] + 2000)}};
        std::vector<float> blurs = {0};
        c.fillBlurs(1.0, positions, blurs);
        EXPECT_NEAR(blurs[0], std::fabs(2000 - 1234.5) * 40 / 1234.5, 1e-2);
    }
    {
        Scene s(Camera(R"(, "focusDistance": 0)"));
        const CameraSnapshot c = s.snapshot();
        ASSERT_NE(c.cameraLayer, 0u);
        EXPECT_EQ(c.focusDistance, 0.0);  // not replaced by the default
        const std::vector<Vec3f> positions = {{100, 50, 0}};
        std::vector<float> blurs = {0};
        c.fillBlurs(1.0, positions, blurs);
        EXPECT_TRUE(std::isinf(blurs[0]));
    }
    {
        // A camera that gives no focus distance has the document's default (a 50 mm lens's zoom
        // on 36 mm of film across the comp), not the snapshot's 1.0.
        Scene s(Camera(""));
        const CameraSnapshot c = s.snapshot();
        ASSERT_NE(c.cameraLayer, 0u);
        EXPECT_NEAR(c.focusDistance, 200 * 50.0 / 36.0, 1e-9);
    }
    {
        // With a zoom of its own, the camera focuses at that zoom and stands that far back.
        Scene s(Camera(R"(, "zoom": 640)"));
        const CameraSnapshot c = s.snapshot();
        EXPECT_EQ(c.focusDistance, 640.0);
        const auto& cam = s.host.project().comps[0]->layers[0]->camera;
        EXPECT_EQ(cam.position.value[2], -640.0);
    }
}

// A host whose camera aperture stream cannot be read.
class NoApertureHost : public standalone::EmbeddedHost {
  public:
    void layerStreamValue(AEGP_LayerH layer, int32_t stream, const A_Time& t,
                          double out[4]) override {
        if (stream == 14) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
        EmbeddedHost::layerStreamValue(layer, stream, t, out);
    }
};

TEST(CameraEdges, AFailedHostCallLeavesItsDefaultAndTheLastCodeIsKept) {
    NoApertureHost host;
    standalone::LoadDocumentText(
        R"({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 100, "layers": [)" +
            Camera(R"(, "focusDistance": 777)") +
            R"({"name": "Fx", "solid": {}, "effects": [{"effect": "Tavrin"}]}]}]})",
        "doc.json", host);
    auto& comp = *host.project().comps[0];
    PF_InData in;
    in.pica_basicP = &host;
    in.effect_ref = comp.layers.back()->effects[0]->uid;
    in.width = 200;
    in.height = 100;
    in.time_scale = comp.timeScale();
    const CameraSnapshot c = MakeCameraSnapshot(&in, 10, 30000, kLeftHanded);
    EXPECT_EQ(c.status, PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(c.aperture, CameraSnapshot{}.aperture);  // left at its default
    EXPECT_DOUBLE_EQ(c.focusDistance, 777);            // the calls after it still ran
    EXPECT_TRUE(c.depthOfField);
    EXPECT_NE(c.cameraLayer, 0u);
    // Without the failure the code stays clear.
    Scene plain(Camera(""));
    EXPECT_EQ(plain.snapshot().status, PF_Err_NONE);
}

}  // namespace
}  // namespace tv
