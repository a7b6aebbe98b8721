// Name filters given by documents are the filters the effects use: the first panel update does
// not replace them with their popup's word, and a popup with a Custom row turns to it.
#include <gtest/gtest.h>

#include <string>

#include "host/Gather.h"
#include "standalone/Document.h"
#include "standalone/DocumentText.h"

namespace tv {
namespace {

std::string Doc(const std::string& effect, const std::string& params) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 100, "height": 100, "layers": [
      {"name": "Alpha 1", "light": {"type": "point", "position": [10, 10, 0]}},
      {"name": "Alpha 2", "light": {"type": "point", "position": [20, 10, 0]}},
      {"name": "Beta 1", "light": {"type": "point", "position": [30, 10, 0]}},
      {"name": "L", "solid": {}, "effects": [{"effect": ")" +
           effect + R"(", "params": )" + params + "}]}]}]}";
}

struct Loaded {
    standalone::EmbeddedHost host;
    standalone::EffectInstance* fx = nullptr;
    explicit Loaded(const std::string& doc) {
        standalone::LoadDocumentText(doc, "doc.json", host);
        fx = host.project().comps[0]->layers[3]->effects[0].get();
    }
    std::string text(int32_t index) {
        const auto t =
            standalone::ReadTextRecord(host.handleBytes(fx->params[size_t(index)].value.u.arbData));
        return t ? *t : "<none>";
    }
    int32_t popup(int32_t index) { return fx->params[size_t(index)].value.u.popup; }
};

TEST(NameFilters, TheLayersSourceTakesOnlyTheLightsItsTextNames) {
    Loaded l(Doc("Tavrin Layers Object", R"({"Layer Name Begins with": "Alpha"})"));
    EXPECT_EQ(l.text(5), "Alpha");
    ObjectMessage m;
    InitObjectMessage(m);
    const auto& layer = *l.host.project().comps[0]->layers[3];
    ASSERT_EQ(Gather(l.host, layer.uid, l.host.project().comps[0]->frameTime(0), m), 0);
    EXPECT_EQ(m.geometry->positions.size(), 2u);  // Alpha 1 and Alpha 2, not Beta 1
    DisposeObjectMessage(m);
}

TEST(NameFilters, TheShadeEffectorKeepsTheDocumentsText) {
    Loaded l(Doc("Tavrin Shade Effector", R"({"Lights Name Begins with": "Beta"})"));
    EXPECT_EQ(l.text(2), "Beta");
    // Without a text in the document the popup's word stands, as in a new instance.
    Loaded plain(Doc("Tavrin Shade Effector", "{}"));
    EXPECT_EQ(plain.text(2), "Color");
}

TEST(NameFilters, NoiseAndSphericalFieldTurnTheirPopupToCustom) {
    Loaded noise(Doc("Tavrin Noise Effector", R"({"Light Name Begins with": "Alpha"})"));
    EXPECT_EQ(noise.text(25), "Alpha");
    EXPECT_EQ(noise.popup(24), 7);  // "Custom"
    Loaded field(Doc("Tavrin Spherical Field", R"({"Light Name Begins with": "Beta"})"));
    EXPECT_EQ(field.text(14), "Beta");
    EXPECT_EQ(field.popup(13), 6);  // "Custom"
    // A popup the document sets itself is left as the document says.
    Loaded both(Doc("Tavrin Noise Effector",
                    R"({"Noise Effector Name Begins": "Field", "Light Name Begins with": "x"})"));
    EXPECT_EQ(both.popup(24), 5);
}

}  // namespace
}  // namespace tv
