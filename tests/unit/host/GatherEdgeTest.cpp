// The gather of a store with vertices and no faces, through the primitives source and face
// effectors loaded from a document.
#include <gtest/gtest.h>

#include <string>

#include "host/Gather.h"
#include "standalone/Document.h"

namespace tv {
namespace {

// A 4 x 3 x 1 cube with the given face mode, and noise on the faces' positions and colours.
std::string FacesDoc(const std::string& faces) {
    return R"json({"tavrin": 1, "comps": [{"name": "C", "width": 100, "height": 100, "layers": [
        {"name": "Net", "solid": {}, "effects": [
          {"effect": "Tavrin"},
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 4, "Y Points": 3,
           "Z Points": 1, "Generate Faces": ")json" +
           faces + R"json("}},
          {"effect": "Tavrin Noise Effector", "params": {"Effector effects": "Faces",
           "Apply Noise To (Faces)": "Position", "Noise Amplitude": 50}},
          {"effect": "Tavrin Noise Effector", "params": {"Effector effects": "Faces",
           "Apply Noise To (Faces)": "Color", "Noise Amplitude": 50}},
          {"effect": "Tavrin Noise Effector", "params": {"Effector effects": "Faces",
           "Apply Noise To (Faces)": "Rotation", "Noise Amplitude": 50}}]}]}]})json";
}

struct Gathered {
    standalone::EmbeddedHost host;
    ObjectMessage message;
    PF_Err status = PF_Err_NONE;
    explicit Gathered(const std::string& doc) {
        standalone::LoadDocumentText(doc, "doc.json", host);
        const auto& layer = *host.project().comps[0]->layers[0];
        InitObjectMessage(message);
        status = Gather(host, layer.uid, A_Time{0, 30000}, message);
    }
    ~Gathered() { DisposeObjectMessage(message); }
    const GeometryStore& store() const { return *message.geometry; }
};

TEST(GatherEdges, VerticesWithoutFacesLeaveEveryPerFaceArrayEmpty) {
    Gathered g(FacesDoc("None"));
    ASSERT_EQ(g.status, 0);
    const GeometryStore& s = g.store();
    EXPECT_EQ(s.positions.size(), 12u);
    EXPECT_TRUE(s.faces.empty());
    EXPECT_TRUE(s.faceCentroids.empty());
    EXPECT_TRUE(s.faceColorsA.empty());
    EXPECT_TRUE(s.faceColorsB.empty());
    EXPECT_TRUE(s.faceColorsC.empty());
    EXPECT_TRUE(s.faceRotations.empty());
}

TEST(GatherEdges, TheSameStackWithFacesFillsThem) {
    Gathered g(FacesDoc("XY"));
    ASSERT_EQ(g.status, 0);
    const GeometryStore& s = g.store();
    // 3 x 2 quads, two triangles each.
    ASSERT_EQ(s.faces.size(), 12u);
    EXPECT_EQ(s.faceCentroids.size(), 12u);
    EXPECT_EQ(s.faceColorsA.size(), 12u);
    EXPECT_EQ(s.faceColorsB.size(), 12u);
    EXPECT_EQ(s.faceColorsC.size(), 12u);
    EXPECT_EQ(s.faceRotations.size(), 12u);
    // The rotation effector reached them: not all still zero.
    bool turned = false;
    for (const Vec3f& r : s.faceRotations) turned |= r.x != 0 || r.y != 0 || r.z != 0;
    EXPECT_TRUE(turned);
}

}  // namespace
}  // namespace tv
