// The own layer of an effect instance and the layer a layer parameter names, against the embedded
// host: the lookup stays in the comp of the instance's own layer.
#include <gtest/gtest.h>

#include <algorithm>

#include "host/LayerLookup.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

struct LayerLookup : ::testing::Test {
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("Own Comp", 100, 100);
    standalone::Comp& other = host.addComp("Other Comp", 100, 100);
    standalone::Layer& own = host.addLayer(comp, "Own", standalone::LayerKind::Solid);
    standalone::Layer& named = host.addLayer(comp, "Named", standalone::LayerKind::Solid);
    standalone::Layer& elsewhere = host.addLayer(other, "Elsewhere", standalone::LayerKind::Solid);
    standalone::EffectInstance& fx = host.applyEffectInstance(
        own, host.findInstalledByDisplayName("Tavrin Lines Renderer")->key);
};

TEST_F(LayerLookup, OwnLayerIsTheLayerTheInstanceSitsOn) {
    EXPECT_EQ(OwnLayer(host, fx.uid), own.uid);
    EXPECT_NE(OwnLayer(host, fx.uid), named.uid);
}

TEST_F(LayerLookup, FindsTheNamedLayerOfTheOwnComp) {
    EXPECT_EQ(LayerOfOwnComp(host, fx.uid, int32_t(named.id)), named.uid);
    EXPECT_EQ(LayerOfOwnComp(host, fx.uid, int32_t(own.id)), own.uid);
}

TEST_F(LayerLookup, AnIdNotInTheCompGivesNoLayer) {
    uint32_t unused = 1;
    for (const standalone::Comp* c : {&comp, &other})
        for (const auto& l : c->layers) unused = std::max(unused, l->id + 1);
    EXPECT_EQ(LayerOfOwnComp(host, fx.uid, int32_t(unused)), AEGP_LayerH(0));
    EXPECT_EQ(LayerOfOwnComp(host, fx.uid, 0), AEGP_LayerH(0));
}

TEST_F(LayerLookup, ALayerOfAnotherCompIsNotReturned) {
    // The id is a layer's, but in the other comp.
    ASSERT_EQ(host.layerFromLayerId(other.uid, elsewhere.id), elsewhere.uid);
    EXPECT_EQ(LayerOfOwnComp(host, fx.uid, int32_t(elsewhere.id)), AEGP_LayerH(0));
    // The same id in both comps: each instance gets the layer of its own comp.
    elsewhere.id = named.id;
    EXPECT_EQ(LayerOfOwnComp(host, fx.uid, int32_t(named.id)), named.uid);
    standalone::EffectInstance& there =
        host.applyEffectInstance(host.addLayer(other, "There", standalone::LayerKind::Solid),
                                 host.findInstalledByDisplayName("Tavrin Lines Renderer")->key);
    EXPECT_EQ(LayerOfOwnComp(host, there.uid, int32_t(named.id)), elsewhere.uid);
}

}  // namespace
}  // namespace tv
