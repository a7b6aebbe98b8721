// Sprites on the software engine: every record shows the first record's layer at its time unless
// it asks for its own, and a record's half sizes are its width and height (the old projection
// route alone takes the height from the frame's proportions).
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "engines/KDLRender.h"
#include "host/HostServices.h"

namespace tv {
namespace {

// A host whose layer frames are 4 x 4 pixels of one opaque colour per layer and time value:
// layer 1 at 0 red, layer 1 at 10 green, anything else blue. It counts the checkouts.
struct FrameHost : HostServices {
    std::vector<std::unique_ptr<std::vector<PF_Pixel8>>> frames;
    int32_t checkouts = 0, checkins = 0;
    PF_Err checkoutLayerFrame(AEGP_LayerH layer, const A_Time& t, int32_t,
                              PF_EffectWorld** out) override {
        PF_Pixel8 c{255, 0, 0, 255};
        if (layer == 1 && t.value == 0) c = {255, 255, 0, 0};
        if (layer == 1 && t.value == 10) c = {255, 0, 255, 0};
        frames.push_back(std::make_unique<std::vector<PF_Pixel8>>(16, c));
        auto* w = new PF_EffectWorld;
        w->width = w->height = 4, w->rowbytes = 16, w->format = PF_PixelFormat_ARGB32;
        w->data = reinterpret_cast<uint8_t*>(frames.back()->data());
        *out = w;
        ++checkouts;
        return PF_Err_NONE;
    }
    PF_Err checkinLayerFrame(PF_EffectWorld* w) override {
        delete w;
        ++checkins;
        return PF_Err_NONE;
    }
    PF_Err iterate(int32_t count, const std::function<PF_Err(int32_t)>& fn) override {
        for (int32_t i = 0; i < count; ++i)
            if (const PF_Err err = fn(i)) return err;
        return PF_Err_NONE;
    }
    void diagnostic(const std::string&) override {}
};

// A 40 x 20 8-bit target seen through identity matrices: clip x -1..1 spans the width.
struct Target {
    std::vector<PF_Pixel8> pixels = std::vector<PF_Pixel8>(40 * 20, PF_Pixel8{0, 0, 0, 0});
    PF_EffectWorld world;
    Target() {
        world.width = 40, world.height = 20, world.rowbytes = 40 * 4;
        world.format = PF_PixelFormat_ARGB32;
        world.data = reinterpret_cast<uint8_t*>(pixels.data());
    }
    const PF_Pixel8& at(int x, int y) const { return pixels[size_t(y) * 40 + size_t(x)]; }
};

void Flat(KDLRender& e, Target& t) {
    const double scale[3] = {1, 1, 1};
    const double viewport[4] = {0, 0, double(t.world.width), double(t.world.height)};
    const float id[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const double dir[3] = {0, 0, 1};
    e.setRenderParams(scale, viewport, id, id, dir);
    e.perspectiveSizes = false;
}

// A white sprite of layer 1 at clip x `x` (screen x 10 for -0.5, 30 for 0.5; y 10).
DrawSprite Sprite(double x, uint64_t time, uint32_t useLayer, float width = 3, float height = 3) {
    DrawSprite s;
    s.x = x;
    s.width = width, s.height = height;
    s.color[0] = s.color[1] = s.color[2] = s.color[3] = 1;
    s.layer = 1, s.time = time, s.useLayer = useLayer;
    return s;
}

std::vector<A_Time> Times() {
    return {A_Time{0, 30000}, A_Time{10, 30000}};
}

TEST(SoftwareSprites, EveryRecordShowsTheFirstRecordsFrame) {
    FrameHost host;
    Target t;
    KDLRender e(&host, &t.world, 8);
    Flat(e, t);
    std::vector<DrawSprite> sprites{Sprite(-0.5, 0, 0), Sprite(0.5, 10, 0)};
    ASSERT_EQ(e.prepareSprites(1, Times()), PF_Err_NONE);
    ASSERT_EQ(e.drawSprites(sprites), PF_Err_NONE);
    ASSERT_EQ(e.finishSprites(), PF_Err_NONE);
    EXPECT_EQ(t.at(10, 10).red, 255);
    EXPECT_EQ(t.at(30, 10).red, 255);  // the second record's own time is not rendered
    EXPECT_EQ(t.at(30, 10).green, 0);
    EXPECT_EQ(host.checkouts, 1);
    EXPECT_EQ(host.checkins, 1);
}

TEST(SoftwareSprites, ARecordWithItsOwnLayerShowsItsOwnFrame) {
    FrameHost host;
    Target t;
    KDLRender e(&host, &t.world, 8);
    Flat(e, t);
    std::vector<DrawSprite> sprites{Sprite(-0.5, 0, 0), Sprite(0.5, 10, 1)};
    ASSERT_EQ(e.prepareSprites(1, Times()), PF_Err_NONE);
    ASSERT_EQ(e.drawSprites(sprites), PF_Err_NONE);
    EXPECT_EQ(t.at(10, 10).red, 255);
    EXPECT_EQ(t.at(30, 10).green, 255);
    EXPECT_EQ(t.at(30, 10).red, 0);
    EXPECT_EQ(host.checkouts, 2);
    EXPECT_EQ(host.checkins, 2);
}

// A square frame drawn 8 pixels wide and 2 high (half sizes 4 and 1): the record's height, not
// the frame's proportions.
TEST(SoftwareSprites, TheRecordsHeightIsTheSpritesHalfHeight) {
    FrameHost host;
    Target t;
    KDLRender e(&host, &t.world, 8);
    Flat(e, t);
    std::vector<DrawSprite> sprites{Sprite(0, 0, 0, 4, 1)};
    ASSERT_EQ(e.drawSprites(sprites), PF_Err_NONE);
    EXPECT_EQ(t.at(20, 10).alpha, 255);
    EXPECT_EQ(t.at(23, 10).alpha, 255);
    EXPECT_EQ(t.at(20, 13).alpha, 0);
    EXPECT_EQ(t.at(20, 7).alpha, 0);
}

TEST(SoftwareSprites, TheOldProjectionTakesTheHeightFromTheFramesProportions) {
    FrameHost host;
    Target t;
    KDLRender e(&host, &t.world, 8);
    Flat(e, t);
    e.legacyProjection = true;
    std::vector<DrawSprite> sprites{Sprite(0, 0, 0, 4, 1)};
    ASSERT_EQ(e.drawSprites(sprites), PF_Err_NONE);
    EXPECT_EQ(t.at(20, 13).alpha, 255);
    EXPECT_EQ(t.at(20, 7).alpha, 255);
}

}  // namespace
}  // namespace tv
