// "Loop Evolution" through the noise effector's own parameters.
#include <gtest/gtest.h>

#include <vector>

#include "host/Gather.h"
#include "standalone/Document.h"

namespace tv {
namespace {

struct NoisyCube {
    standalone::EmbeddedHost host;
    standalone::Layer* layer = nullptr;
    standalone::EffectInstance* noise = nullptr;
    NoisyCube() {
        standalone::LoadDocumentText(
            R"({"tavrin": 1, "comps": [{"name": "C", "width": 100, "height": 100, "layers": [
              {"name": "Net", "solid": {}, "effects": [
                {"effect": "Tavrin"},
                {"effect": "Tavrin Primitives Object", "params": {"X Points": 4, "Y Points": 3,
                 "Z Points": 2, "Cube Width": 100, "Cube Height": 100, "Cube Depth": 100}},
                {"effect": "Tavrin Noise Effector", "params": {"Noise Amplitude": 40,
                 "Loop Evolution": true, "No. of Cycles to Loop": 1}}]}]}]})",
            "doc.json", host);
        layer = host.project().comps[0]->layers[0].get();
        noise = layer->effects[2].get();
    }
    void evolution(double degrees) {
        noise->params[13].value.u.fixed = int32_t(degrees * 65536);  // "Noise Evolution"
    }
    std::vector<Vec3f> positions() {
        ObjectMessage m;
        InitObjectMessage(m);
        EXPECT_EQ(Gather(host, layer->uid, A_Time{0, 30000}, m), 0);
        std::vector<Vec3f> p = m.geometry->positions;
        DisposeObjectMessage(m);
        return p;
    }
};

TEST(NoiseEdges, LoopEvolutionWithOneCycleRepeatsAfterOneTurn) {
    NoisyCube s;
    ASSERT_EQ(s.noise->params[15].value.u.checkbox, 1);  // "Loop Evolution"
    ASSERT_EQ(s.noise->params[16].value.u.slider, 1);    // "No. of Cycles to Loop"
    s.noise->active = false;
    const std::vector<Vec3f> plain = s.positions();
    s.noise->active = true;
    s.evolution(0);
    const std::vector<Vec3f> start = s.positions();
    ASSERT_EQ(start.size(), 24u);
    EXPECT_NE(start, plain);  // the noise moves the vertices
    s.evolution(360);
    EXPECT_EQ(s.positions(), start);
    // A quarter turn is elsewhere in the loop. (With one cycle, half a turn weighs the two
    // corners of the one cell alike and lands back on the start.)
    s.evolution(90);
    EXPECT_NE(s.positions(), start);

    // Without the loop a full turn moves on.
    s.noise->params[15].value.u.checkbox = 0;
    s.evolution(0);
    const std::vector<Vec3f> open = s.positions();
    s.evolution(360);
    EXPECT_NE(s.positions(), open);
}

TEST(NoiseEdges, TwoCyclesRepeatAfterTwoTurns) {
    NoisyCube s;
    s.noise->params[16].value.u.slider = 2;
    s.evolution(0);
    const std::vector<Vec3f> start = s.positions();
    s.evolution(360);
    EXPECT_NE(s.positions(), start);
    s.evolution(720);
    EXPECT_EQ(s.positions(), start);
}

}  // namespace
}  // namespace tv
