// The main effect's pre-render and render driven through the embedded host: the motion-blur
// sample times, the frame key with lights, the 16-bit output, the unified switch without GL,
// collapsed precomps, an empty stack and the loop guard message.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "engines/gl/GlGlobals.h"
#include "host/EffectTemplate.h"
#include "host/Gather.h"
#include "main/MainParams.h"
#include "host/ParamHash.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"

namespace tv {
namespace {

using standalone::EffectInstance;
using standalone::EmbeddedHost;
using standalone::Layer;

// A source that adds no vertices but notes what reaches it, and may ask for layers.
struct Probe {
    std::vector<A_Time> hashTimes;  // the times of the MixHash messages it answered
    int contributions = 0;
    std::vector<uint32_t> requests;  // layer ids to ask for
};
std::map<uint64_t, Probe> gProbes;

ParamTable NoParams() {
    return {};
}

PF_Err ProbeMessage(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    Probe& p = gProbes[in->effect_ref];
    if (m.command == kObjGetGroup) {
        m.setPayloadGroup(1);
        return 0;
    }
    if (m.command == kObjMixHash) {
        p.hashTimes.push_back(A_Time{in->current_time, in->time_scale});
        return 0;
    }
    if (m.command != kObjContribute) return 0;
    if (!p.requests.empty() && !(m.flags & kMsgNeedsLayers)) {
        m.flags |= kMsgNeedsLayers;
        for (uint32_t id : p.requests) m.requestLayer(m.renders, id, PackTime(A_Time{0, 1}));
        return 0;
    }
    ++p.contributions;
    GeometryStore& s = *m.geometry;
    s.vertexPending = 0;
    s.facePending = 0;
    ObjectRange r;
    r.group = 1;
    r.vertexStart = s.vertexBase;
    r.faceStart = s.faceBase;
    s.ranges.push_back(r);
    m.setPayloadGroup(1);
    return 0;
}

const EffectInfo kProbeInfo{
    0,    "Probe Source", "KDL TAVRSRC Probe", "", nullptr, 0, 1, EffectRole::Source, "",
    true, &NoParams};

PF_Err ProbeEntry(PF_Cmd cmd, PF_InData* in, PF_OutData* out, PF_ParamDef* params[],
                  PF_LayerDef* output, void* extra) {
    SubEffectHandlers h;
    h.message = &ProbeMessage;
    return SubEffectEntry(kProbeInfo, h, cmd, in, out, params, output, extra);
}

// Every value the effect mixes into the frame key at pre-render, in order.
std::vector<uint64_t> gMixed;
PF_Err RecordMix(PF_ProgPtr, uint32_t size, const void* data) {
    uint64_t v = 0;
    std::memcpy(&v, data, std::min<uint32_t>(size, 8));
    gMixed.push_back(v);
    return PF_Err_NONE;
}

// An output world of any of the three depths, filled with a pattern.
struct Output {
    std::vector<uint8_t> bytes;
    PF_EffectWorld world;
    Output(int32_t width, int32_t height, PF_PixelFormat format, uint8_t fill) {
        const int32_t pixelBytes = format == PF_PixelFormat_ARGB32   ? 4
                                   : format == PF_PixelFormat_ARGB64 ? 8
                                                                     : 16;
        bytes.assign(size_t(width) * size_t(height) * size_t(pixelBytes), fill);
        world.width = width;
        world.height = height;
        world.rowbytes = width * pixelBytes;
        world.format = format;
        world.data = bytes.data();
        world.extent_hint = PF_LRect{0, 0, width, height};
    }
    uint8_t alpha8(int32_t x, int32_t y) const { return bytes[(size_t(y) * world.width + x) * 4]; }
    bool allZero() const {
        for (uint8_t b : bytes)
            if (b) return false;
        return true;
    }
};

struct FrameFixture : ::testing::Test {
    EmbeddedHost host;
    void SetUp() override {
        gProbes.clear();
        gMixed.clear();
        host.registerEffect("Probe Source", "KDL TAVRSRC Probe", &ProbeEntry);
    }
    void load(const std::string& text) { standalone::LoadDocumentText(text, "doc.json", host); }
    standalone::Comp& comp(size_t i = 0) { return *host.project().comps[i]; }
    Layer& layer(size_t i = 0, size_t c = 0) { return *comp(c).layers[i]; }
    EffectInstance& main(Layer& l) { return *l.effects[0]; }
    Probe& probe(Layer& l) {
        EffectInstance& e = host.applyEffectInstance(l, "KDL TAVRSRC Probe");
        return gProbes[e.uid];
    }

    // One SMART_RENDER of the main effect into `out`, as the host runs it for a layer.
    PF_Err render(EffectInstance& instance, Output& out, PF_OutData& od, A_Time t = {0, 1}) {
        if (t.scale == 1) t = comp().frameTime(0);
        const int32_t depth = out.world.format == PF_PixelFormat_ARGB32   ? 8
                              : out.world.format == PF_PixelFormat_ARGB64 ? 16
                                                                          : 32;
        standalone::LayerWorld input(out.world.width, out.world.height, depth == 32 ? 32 : 8);
        host.pushRenderWorlds({instance.uid, &input.world, &out.world});
        PF_SmartRenderExtra extra;
        extra.bit_depth = depth;
        const PF_Err err = host.callEffect(instance, PF_Cmd_SMART_RENDER, t, &extra, &od);
        host.popRenderWorlds();
        return err;
    }
    PF_Err render(EffectInstance& instance, Output& out) {
        PF_OutData od;
        return render(instance, out, od);
    }
    // One SMART_PRE_RENDER; the mixed values land in gMixed.
    PF_Err preRender(EffectInstance& instance, const A_Time& t) {
        gMixed.clear();
        PF_PreRenderExtra pre;
        pre.guid_mix_in = &RecordMix;
        PF_OutData od;
        return host.callEffect(instance, PF_Cmd_SMART_PRE_RENDER, t, &pre, &od);
    }
};

// A 64 x 64 comp with one layer: the main effect, a 2 x 1 x 1 cube about (32, 32) and points.
std::string PointsDoc(const std::string& layerExtra = "", const std::string& mainParams = "{}") {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 64, "layers": [
        {"name": "Net", "solid": {})" +
           layerExtra + R"(, "effects": [
          {"effect": "Tavrin", "params": )" +
           mainParams + R"(},
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 2, "Y Points": 1,
           "Z Points": 1, "Cube Width": 20, "Center XY": [32, 32], "Opacity": 100}},
          {"effect": "Tavrin Points Renderer", "params": {"Points Size": 3}}]}]}]})";
}

TEST_F(FrameFixture, CompSettingsMotionBlurFollowsTheCompShutterAngle) {
    // The comp's shutter is 90 degrees from the frame on; the effect's own angle says 360.
    load(R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 64,
        "shutterAngle": 90, "shutterPhase": 0, "layers": [
        {"name": "Net", "solid": {}, "effects": [{"effect": "Tavrin", "params": {
          "Render Motion Blur": "Comp Settings", "Motion Blur Samples": 2,
          "Shutter Angle": 360, "Shutter Phase": 0}}]}]}]})");
    Layer& l = layer();
    ASSERT_FALSE(l.motionBlur);  // the layer's own switch is off
    ASSERT_FALSE(comp().motionBlur);
    Probe& p = probe(l);
    const A_Time frame = comp().frameTime(3);
    const int32_t tpf = comp().ticksPerFrame();
    ASSERT_EQ(preRender(main(l), frame), 0);
    // Two samples over a quarter of a frame: the second an eighth of a frame later.
    ASSERT_EQ(p.hashTimes.size(), 2u);
    EXPECT_EQ(p.hashTimes[0].value, frame.value);
    EXPECT_EQ(p.hashTimes[1].value, frame.value + int32_t(std::lround(0.25 * tpf / 2)));
    EXPECT_EQ(p.hashTimes[1].scale, frame.scale);

    // A comp shutter of 0 gives the frame time alone.
    comp().shutterAngle = 0;
    p.hashTimes.clear();
    ASSERT_EQ(preRender(main(l), frame), 0);
    ASSERT_EQ(p.hashTimes.size(), 1u);
    EXPECT_EQ(p.hashTimes[0].value, frame.value);

    // "Custom" takes the effect's own 360 degrees instead.
    main(l).params[kMainMotionBlur].value.u.popup = 3;
    p.hashTimes.clear();
    ASSERT_EQ(preRender(main(l), frame), 0);
    ASSERT_EQ(p.hashTimes.size(), 2u);
    EXPECT_EQ(p.hashTimes[1].value, frame.value + int32_t(std::lround(1.0 * tpf / 2)));
}

TEST_F(FrameFixture, SixteenBitOutputIsLeftAsItIs) {
    load(PointsDoc());
    Output out16(64, 64, PF_PixelFormat_ARGB64, 0x5A);
    const std::vector<uint8_t> before = out16.bytes;
    ASSERT_EQ(render(main(layer()), out16), 0);
    EXPECT_EQ(out16.bytes, before);

    // The same stack at 8 bits clears the pattern and draws.
    Output out8(64, 64, PF_PixelFormat_ARGB32, 0x5A);
    ASSERT_EQ(render(main(layer()), out8), 0);
    EXPECT_EQ(out8.alpha8(0, 0), 0);
    EXPECT_EQ(out8.alpha8(22, 32), 255);
}

TEST_F(FrameFixture, UnifiedWithoutGLRendersTheSoftwarePathOnce) {
    gl::SetGpuAllowed(false);  // a machine without GL; the context is made at the first request
    struct Restore {
        ~Restore() { gl::SetGpuAllowed(true); }
    } restore;
    load(PointsDoc("", R"({"Render Quality": "8x", "Render Motion Blur": "Custom",
                           "Motion Blur Samples": 16})"));
    Layer& l = layer();
    Probe& p = probe(l);
    EffectInstance& m = main(l);
    PF_InData in;
    in.pica_basicP = &host;
    in.effect_ref = m.uid;
    in.global_data = host.installedEffect(m.key)->globalData;
    ASSERT_FALSE(MainHasGLFramework(&in));
    Output off(64, 64, PF_PixelFormat_ARGB32, 0);
    ASSERT_EQ(render(m, off), 0);
    EXPECT_EQ(p.contributions, 1);
    m.params[kMainUnified].value.u.checkbox = 1;
    Output on(64, 64, PF_PixelFormat_ARGB32, 0);
    ASSERT_EQ(render(m, on), 0);
    EXPECT_EQ(p.contributions, 2);  // one gather for the frame, not one per sample
    EXPECT_EQ(on.bytes, off.bytes);
    EXPECT_FALSE(on.allZero());
    // Float output alike.
    Output onF(64, 64, PF_PixelFormat_ARGB128, 0);
    ASSERT_EQ(render(m, onF), 0);
    m.params[kMainUnified].value.u.checkbox = 0;
    Output offF(64, 64, PF_PixelFormat_ARGB128, 0);
    ASSERT_EQ(render(m, offF), 0);
    EXPECT_EQ(onF.bytes, offF.bytes);
    EXPECT_EQ(p.contributions, 4);
}

// An outer comp whose one layer shows "Inner"; the inner comp's layer draws a cube of points.
std::string CollapsedDoc(bool collapse, bool innerEnabled) {
    const std::string effects = R"([{"effect": "Tavrin Primitives Object", "params": {
        "X Points": 2, "Y Points": 1, "Z Points": 1, "Cube Width": 20, "Center XY": [32, 32],
        "Opacity": 100}}, {"effect": "Tavrin Points Renderer", "params": {"Points Size": 3}}])";
    return R"({"tavrin": 1, "comps": [
      {"name": "Outer", "width": 64, "height": 64, "layers": [
        {"name": "Pre", "precomp": {"comp": "Inner"}, "collapse": )" +
           std::string(collapse ? "true" : "false") + R"(, "effects": [{"effect": "Tavrin"},)" +
           effects.substr(1) + R"(}]},
      {"name": "Inner", "width": 64, "height": 64, "layers": [
        {"name": "Cube", "enabled": )" +
           std::string(innerEnabled ? "true" : "false") + R"(, "solid": {}, "effects": )" +
           effects + "}]}]}";
}

TEST_F(FrameFixture, CollapsedPrecompWithNoActiveLayerDrawsNothing) {
    load(CollapsedDoc(true, false));
    Layer& pre = layer();
    ASSERT_TRUE(pre.collapse);
    ASSERT_EQ(pre.kind, standalone::LayerKind::Precomp);
    Output out(64, 64, PF_PixelFormat_ARGB32, 0x5A);
    PF_OutData od;
    ASSERT_EQ(render(main(pre), out, od), 0);
    EXPECT_TRUE(out.allZero());  // cleared, and nothing drawn though the layer has a stack
    EXPECT_STREQ(od.return_msg, "");
}

TEST_F(FrameFixture, CollapsedPrecompDrawsItsActiveLayersAndAPlainLayerItsOwnStack) {
    {
        EmbeddedHost other;
        standalone::LoadDocumentText(CollapsedDoc(true, true), "doc.json", other);
        Layer& pre = *other.project().comps[0]->layers[0];
        Output out(64, 64, PF_PixelFormat_ARGB32, 0);
        standalone::LayerWorld input(64, 64, 8);
        other.pushRenderWorlds({pre.effects[0]->uid, &input.world, &out.world});
        PF_SmartRenderExtra extra;
        ASSERT_EQ(other.callEffect(*pre.effects[0], PF_Cmd_SMART_RENDER,
                                   other.project().comps[0]->frameTime(0), &extra),
                  0);
        other.popRenderWorlds();
        EXPECT_EQ(out.alpha8(22, 32), 255);
    }
    load(CollapsedDoc(false, false));
    Output out(64, 64, PF_PixelFormat_ARGB32, 0);
    ASSERT_EQ(render(main(layer()), out), 0);
    EXPECT_EQ(out.alpha8(22, 32), 255);  // the precomp layer's own stack
}

TEST_F(FrameFixture, FrameKeyFollowsOnlyTheLightsTheNameSelects) {
    load(R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 64, "layers": [
        {"name": "Key Light", "light": {"type": "point", "position": [10, 20, -100]}},
        {"name": "Fill Light", "light": {"type": "point", "position": [50, 20, -100]}},
        {"name": "Net", "solid": {}, "effects": [{"effect": "Tavrin", "params": {
          "Use Lights for Shading": true, "Light(s) Name Begins with": "Key",
          "Render Motion Blur": "Off"}}]}]}]})");
    Layer& key = layer(0);
    Layer& fill = layer(1);
    EffectInstance& m = main(layer(2));
    const A_Time t = comp().frameTime(0);
    auto frameKey = [&] {
        EXPECT_EQ(preRender(m, t), 0);
        EXPECT_FALSE(gMixed.empty());
        return gMixed;
    };
    const std::vector<uint64_t> base = frameKey();
    EXPECT_EQ(frameKey(), base);
    // The light the prefix leaves out moves: the key stays.
    fill.light.position.value = {55, 25, -150, 0};
    EXPECT_EQ(frameKey(), base);
    // The selected light moves: the key changes.
    key.light.position.value = {15, 20, -100, 0};
    const std::vector<uint64_t> moved = frameKey();
    ASSERT_FALSE(moved.empty());
    EXPECT_NE(moved.front(), base.front());
    // Its colour counts too.
    key.light.color.value = {1, 0, 0, 0};
    EXPECT_NE(frameKey().front(), moved.front());
}

TEST_F(FrameFixture, TheMainEffectAnswersMixHashWithItsFrameHash) {
    // The stack walk reaches the main effect too, which mixes the same value that pre-render
    // mixed first as the frame's own key.
    load(R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 64, "layers": [
        {"name": "Key Light", "light": {"type": "point", "position": [10, 20, -100]}},
        {"name": "Net", "solid": {}, "effects": [{"effect": "Tavrin", "params": {
          "Use Lights for Shading": true, "Render Motion Blur": "Off"}}]}]}]})");
    ASSERT_EQ(preRender(main(layer(1)), comp().frameTime(0)), 0);
    ASSERT_EQ(gMixed.size(), 2u);
    EXPECT_EQ(gMixed[1], gMixed[0]);
}

TEST(FrameKey, NameTextEntersTheKeyWhenNoLightMatches) {
    // Two prefixes that select no light: the text alone tells the keys apart.
    auto firstMix = [](const std::string& prefix) {
        EmbeddedHost host;
        standalone::LoadDocumentText(
            R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 64, "layers": [
              {"name": "Key Light", "light": {"type": "point"}},
              {"name": "Net", "solid": {}, "effects": [{"effect": "Tavrin", "params": {
                "Use Lights for Shading": true, "Render Motion Blur": "Off",
                "Light(s) Name Begins with": ")" +
                prefix + R"("}}]}]}]})",
            "doc.json", host);
        gMixed.clear();
        PF_PreRenderExtra pre;
        pre.guid_mix_in = &RecordMix;
        auto& comp = *host.project().comps[0];
        EXPECT_EQ(host.callEffect(*comp.layers[1]->effects[0], PF_Cmd_SMART_PRE_RENDER,
                                  comp.frameTime(0), &pre),
                  0);
        EXPECT_FALSE(gMixed.empty());
        return gMixed.empty() ? 0 : gMixed.front();
    };
    EXPECT_EQ(firstMix("Zz"), firstMix("Zz"));
    EXPECT_NE(firstMix("Zz"), firstMix("Zy"));
}

TEST_F(FrameFixture, MainEffectWithoutASourceLeavesTheOutputTransparent) {
    load(R"({"tavrin": 1, "comps": [{"name": "C", "width": 32, "height": 32, "layers": [
        {"name": "Net", "solid": {"color": "#ff0000"}, "effects": [{"effect": "Tavrin"},
          {"effect": "Tavrin Points Renderer", "params": {"Points Size": 5}},
          {"effect": "Tavrin Lines Renderer"}]}]}]})");
    Output out(32, 32, PF_PixelFormat_ARGB32, 0x7F);
    PF_OutData od;
    ASSERT_EQ(render(main(layer()), out, od), 0);
    EXPECT_TRUE(out.allZero());
    EXPECT_STREQ(od.return_msg, "");
    Output outF(32, 32, PF_PixelFormat_ARGB128, 0x7F);
    ASSERT_EQ(render(main(layer()), outF), 0);
    EXPECT_TRUE(outF.allZero());

    // Through the comp renderer the layer shows nothing over a transparent frame.
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    const standalone::FloatImage image =
        renderer.renderAtTime(comp(), comp().frameTime(0), 8, messages, 1);
    for (float v : image.rgba) ASSERT_EQ(v, 0.0f);
}

TEST_F(FrameFixture, LayerAskingForItselfAppendsTheLoopMessage) {
    load(PointsDoc());
    Layer& l = layer();
    Probe& p = probe(l);
    PF_OutData od;
    Output plain(64, 64, PF_PixelFormat_ARGB32, 0);
    ASSERT_EQ(render(main(l), plain, od), 0);
    EXPECT_STREQ(od.return_msg, "");

    p.requests = {l.id};
    PF_OutData looped;
    std::strcpy(looped.return_msg, "Before. ");
    Output out(64, 64, PF_PixelFormat_ARGB32, 0);
    ASSERT_EQ(render(main(l), out, looped), 0);
    EXPECT_EQ(std::string(looped.return_msg), std::string("Before. ") + kInfiniteLoopMessage);
    // The rest of the stack still ran and drew.
    EXPECT_EQ(p.contributions, 2);
    EXPECT_EQ(out.bytes, plain.bytes);

    // The comp renderer passes the message on.
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    renderer.renderFrame(comp(), 0, 8, messages);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0], kInfiniteLoopMessage);
}

}  // namespace
}  // namespace tv
