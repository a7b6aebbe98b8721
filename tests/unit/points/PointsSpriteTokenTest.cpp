// The points renderer's hash with a sprite: it follows what the sprite layer shows, through the
// host's state token, over the times the sampling mode may draw from.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "host/Gather.h"
#include "renderers/PointsSamples.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

struct SpriteScene {
    standalone::EmbeddedHost host;
    standalone::Layer* sprite;
    standalone::Layer* other;
    standalone::Layer* layer;
    standalone::EffectInstance* points;
    SpriteScene() {
        auto& comp = host.addComp("c", 100, 100);
        sprite = &host.addLayer(comp, "sprite", standalone::LayerKind::Solid);
        sprite->solidColor[0] = 1;
        other = &host.addLayer(comp, "other", standalone::LayerKind::Solid);
        layer = &host.addLayer(comp, "l", standalone::LayerKind::Solid);
        host.applyEffectInstance(*layer, "KDL TAVRSRC Primitives");
        points = &host.applyEffectInstance(*layer, "KDL TAVRREN Points");
        points->params[12].value.u.layerId = int32_t(sprite->id);
    }
    // The points renderer's hash: the last value the stack mixes in.
    uint64_t hash(int32_t time = 0) {
        static std::vector<uint64_t> mixed;
        mixed.clear();
        auto mix = [](PF_ProgPtr, uint32_t size, const void* data) -> PF_Err {
            uint64_t v = 0;
            std::memcpy(&v, data, std::min<uint32_t>(size, 8));
            mixed.push_back(v);
            return 0;
        };
        EXPECT_EQ(MixStackHash(host, layer->uid, A_Time{time, 30000}, 0, mix, {}), 0);
        return mixed.empty() ? 0 : mixed.back();
    }
};

TEST(PointsSpriteToken, HashFollowsTheSpriteLayersContent) {
    SpriteScene s;
    const uint64_t base = s.hash();
    EXPECT_EQ(s.hash(), base);
    s.other->solidColor[1] = 1;  // not the sprite
    EXPECT_EQ(s.hash(), base);
    s.sprite->solidColor[2] = 0.5f;
    const uint64_t changed = s.hash();
    EXPECT_NE(changed, base);
    s.sprite->solidColor[2] = 0;
    EXPECT_EQ(s.hash(), base);
    s.sprite->width = 50;  // a new size is new content too
    EXPECT_NE(s.hash(), base);
}

TEST(PointsSpriteToken, SpanFollowsTheTimeSampling) {
    SpriteScene s;
    auto& sampling = s.points->params[14].value.u.popup;
    // Current Time: the sprite as it is now, so another frame is another key.
    sampling = kSampleCurrent;
    EXPECT_NE(s.hash(0), s.hash(1000));
    // Random Still: samples come from the whole duration, whatever the frame.
    sampling = kSampleRandomStill;
    EXPECT_EQ(s.hash(0), s.hash(1000));
    // Random Loop: from now to the end, so it moves with the frame.
    sampling = kSampleRandomLoop;
    EXPECT_NE(s.hash(0), s.hash(1000));
}

TEST(PointsSpriteToken, HostTokenWithoutALayerIgnoresTime) {
    SpriteScene s;
    s.points->params[12].value.u.layerId = 0;
    const uint64_t none = s.host.layerParamStateToken(s.points->uid, 12, A_Time{0, 30000}, 1000);
    EXPECT_EQ(s.host.layerParamStateToken(s.points->uid, 12, A_Time{5000, 30000}, 1000), none);
    s.points->params[12].value.u.layerId = int32_t(s.sprite->id);
    EXPECT_NE(s.host.layerParamStateToken(s.points->uid, 12, A_Time{0, 30000}, 1000), none);
    // Only layer parameters have a token.
    EXPECT_THROW(s.host.layerParamStateToken(s.points->uid, 1, A_Time{0, 30000}, 1000),
                 HostErrorCode);
    // A host without the service fails as a missing suite does.
    HostServices bare;
    try {
        bare.layerParamStateToken(1, 12, A_Time{0, 1}, 1);
        ADD_FAILURE() << "no throw";
    } catch (const HostErrorCode& e) {
        EXPECT_EQ(e.code, PF_Err_BAD_CALLBACK_PARAM);
    }
}

}  // namespace
}  // namespace tv
