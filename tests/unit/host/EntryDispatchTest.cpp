// The 21 entry functions: about texts, flags, dynamic flags, command bounds, pass-through.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/EffectTemplate.h"
#include "resources/EffectTable.h"
#include "resources/EntryPoints.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

using standalone::EmbeddedHost;

TEST(EffectTable, HasTwentyOneRowsInResourceOrder) {
    const auto table = EffectTable();
    ASSERT_EQ(table.size(), 21u);
    for (size_t i = 0; i < table.size(); ++i) EXPECT_EQ(table[i].resId, int32_t(i + 1));
    EXPECT_STREQ(table[0].matchName, "KDL TAVRUS TWO");
    EXPECT_STREQ(table[18].matchName, "KDL TAVRUS");
    EXPECT_STREQ(table[20].matchName, "KDL TAVRSRC Tracer");
}

TEST(EntryDispatch, GlobalSetupFlagsEqualTheTableWords) {
    EmbeddedHost host;
    for (const EffectInfo& info : EffectTable()) {
        PF_InData in;
        in.pica_basicP = &host;
        PF_OutData out;
        ASSERT_EQ(info.entry(PF_Cmd_GLOBAL_SETUP, &in, &out, nullptr, nullptr, nullptr), 0)
            << info.displayName;
        EXPECT_EQ(out.my_version, 0x189E02u) << info.displayName;
        EXPECT_EQ(out.out_flags, info.outFlags) << info.displayName;
        EXPECT_EQ(out.out_flags2, info.outFlags2) << info.displayName;
        // Set down as the host does, so what global set-up made is freed.
        in.global_data = out.global_data;
        EXPECT_EQ(info.entry(PF_Cmd_GLOBAL_SETDOWN, &in, &out, nullptr, nullptr, nullptr), 0);
    }
}

TEST(EntryDispatch, OnlyTheMainEffectIsThreadSafe) {
    for (const EffectInfo& info : EffectTable())
        EXPECT_EQ((info.outFlags2 & PF_OutFlag2_AE13_5_THREADSAFE) != 0,
                  info.role == EffectRole::Main)
            << info.displayName;
}

TEST(EntryDispatch, AboutTexts) {
    EmbeddedHost host;
    auto about = [&](const char* match) {
        return host.aboutText(host.findInstalledByMatchName(match)->key);
    };
    EXPECT_EQ(about("KDL TAVRUS TWO"),
              "Tavrin 3.1.3\nNext Gen 3D Plugin to Create Organic Structures & Networks.");
    EXPECT_EQ(about("KDL TAVREFF Noise"),
              "Tavrin Noise Effector 3.1.3\nNoise Effector, applies noise to the "
              "Position/Scale/Color of Particles in a Tavrin.");
    EXPECT_EQ(about("KDL TAVREFF Transform"),
              "Tavrin Transform 3.1.3\nTransform Effector, translates and rotates the "
              "Tavrin.\n1.1 - Scale & Center of Transform");
    // The triangulation renderer deliberately reuses the lines renderer's about text.
    EXPECT_EQ(about("KDL TAVRREN Triangles"), about("KDL TAVRREN Lines"));
    EXPECT_EQ(about("KDL TAVRREN Lines"),
              "Tavrin Lines Renderer 3.1.3\nLines Renderer, Renders 3D Lines.");
    EXPECT_EQ(about("KDL TAVRSRC Primitives"),
              "Tavrin Primitives Object 3.1.3\nCreates Primitives like Cube/Sphere/Grid");
}

TEST(EntryDispatch, CommandsOf25AndAboveReturnZeroWithoutTouchingArguments) {
    for (const EffectInfo& info : EffectTable()) {
        // Null arguments would crash if they were touched.
        EXPECT_EQ(info.entry(static_cast<PF_Cmd>(25), nullptr, nullptr, nullptr, nullptr, nullptr),
                  0);
        EXPECT_EQ(
            info.entry(static_cast<PF_Cmd>(1000), nullptr, nullptr, nullptr, nullptr, nullptr), 0);
        PF_OutData out;
        std::memset(static_cast<void*>(&out), 0xAB, sizeof out);
        PF_OutData before = out;
        EXPECT_EQ(info.entry(static_cast<PF_Cmd>(30), nullptr, &out, nullptr, nullptr, nullptr), 0);
        EXPECT_EQ(std::memcmp(&out, &before, sizeof out), 0);
    }
}

TEST(EntryDispatch, ArbitraryCallbackActsOnlyOnTextRefcon) {
    EmbeddedHost host;
    PF_InData in;
    in.pica_basicP = &host;
    PF_OutData out;
    PF_ArbParamsExtra extra;
    extra.refconPV = reinterpret_cast<void*>(uintptr_t(0x12345678));
    EXPECT_EQ(EntryPointFunc(PF_Cmd_ARBITRARY_CALLBACK, &in, &out, nullptr, nullptr, &extra), 0);
    EXPECT_EQ(EntryPointFunc(PF_Cmd_ARBITRARY_CALLBACK, &in, &out, nullptr, nullptr, nullptr), 0);
}

TEST(EntryDispatch, QueryDynamicFlagsComparesMajorAndMinorIndependently) {
    auto query = [](const EffectInfo& info, int16_t major, int16_t minor, PF_OutData& out) {
        PF_InData in;
        in.version.major = major;
        in.version.minor = minor;
        out.out_flags = info.outFlags;
        out.out_flags2 = info.outFlags2;
        return info.entry(PF_Cmd_QUERY_DYNAMIC_FLAGS, &in, &out, nullptr, nullptr, nullptr);
    };
    const EffectInfo& main = EffectTable()[0];
    PF_OutData out;
    ASSERT_EQ(query(main, 13, 8, out), 0);
    EXPECT_EQ(out.out_flags, main.outFlags & ~0x4u);
    EXPECT_EQ(out.out_flags2, main.outFlags2 & ~0x4u);

    // A sub-effect whose flags follow the shared rule alone, with NON_PARAM_VARY set.
    const EffectInfo& sub = EffectTable()[3];
    ASSERT_EQ(query(sub, 13, 28, out), 0);
    EXPECT_EQ(out.out_flags, sub.outFlags & ~0x4u);
    EXPECT_EQ(out.out_flags2, sub.outFlags2 & ~0x6u);

    // API 14.0: the minor number fails the test, so nothing is cleared.
    ASSERT_EQ(query(sub, 14, 0, out), 0);
    EXPECT_EQ(out.out_flags, sub.outFlags);
    EXPECT_EQ(out.out_flags2, sub.outFlags2);
    ASSERT_EQ(query(main, 12, 9, out), 0);
    EXPECT_EQ(out.out_flags, main.outFlags);

    // Transform has no such case.
    const EffectInfo& transform = EffectTable()[4];
    PF_OutData tout;
    tout.out_flags = 0x4;
    tout.out_flags2 = 0x6;
    PF_InData in;
    in.version.major = 13;
    in.version.minor = 28;
    ASSERT_EQ(transform.entry(PF_Cmd_QUERY_DYNAMIC_FLAGS, &in, &tout, nullptr, nullptr, nullptr),
              0);
    EXPECT_EQ(tout.out_flags, 0x4u);
    EXPECT_EQ(tout.out_flags2, 0x6u);
}

TEST(EntryDispatch, MissingHostServicesReturnTheCodeThrownBySuiteCache) {
    PF_InData in;  // no services at all
    PF_OutData out;
    EXPECT_EQ(EntryPointFunc(PF_Cmd_GLOBAL_SETUP, &in, &out, nullptr, nullptr, nullptr), 516);
    EXPECT_EQ(EntryPointFunc(PF_Cmd_GLOBAL_SETDOWN, &in, &out, nullptr, nullptr, nullptr), 516);
    // A host that offers no services: every fetch throws 516, and the entry returns it.
    HostServices bare;
    in.pica_basicP = &bare;
    EXPECT_EQ(EntryPointFunc(PF_Cmd_GLOBAL_SETUP, &in, &out, nullptr, nullptr, nullptr), 516);
    EXPECT_EQ(NoiseEntryPointFunc(PF_Cmd_SEQUENCE_SETUP, &in, &out, nullptr, nullptr, nullptr),
              516);
}

// A sub-effect alone on a layer shows its input unchanged.
TEST(EntryDispatch, SubEffectWithoutMainPassesPixelsThrough) {
    EmbeddedHost host;
    auto& comp = host.addComp("c", 4, 3);
    auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
    auto& noise = host.applyEffectInstance(layer, "KDL TAVREFF Noise");
    std::vector<PF_Pixel8> inPixels(12), outPixels(12);
    for (size_t i = 0; i < inPixels.size(); ++i)
        inPixels[i] = PF_Pixel8{255, uint8_t(i * 10), uint8_t(i), 7};
    PF_EffectWorld input{
        4, 3, 16, PF_PixelFormat_ARGB32, reinterpret_cast<uint8_t*>(inPixels.data()), {}};
    PF_EffectWorld output{
        4, 3, 16, PF_PixelFormat_ARGB32, reinterpret_cast<uint8_t*>(outPixels.data()), {}};

    host.pushRenderWorlds({noise.uid, &input, &output});
    PF_SmartRenderExtra extra;
    EXPECT_EQ(host.callEffect(noise, PF_Cmd_SMART_RENDER, A_Time{0, 30000}, &extra), 0);
    host.popRenderWorlds();
    EXPECT_EQ(std::memcmp(inPixels.data(), outPixels.data(), 48), 0);
    const auto lines = host.takeDiagnostics();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "Tavrin Noise Effector Common render called");

    // The non-smart render copies params[0] to the output.
    std::fill(outPixels.begin(), outPixels.end(), PF_Pixel8{});
    PF_ParamDef layerParam;
    layerParam.u.ld = &input;
    PF_ParamDef* params[] = {&layerParam};
    EXPECT_EQ(
        host.callEffect(noise, PF_Cmd_RENDER, A_Time{0, 30000}, nullptr, nullptr, params, &output),
        0);
    EXPECT_EQ(std::memcmp(inPixels.data(), outPixels.data(), 48), 0);

    // Pre-render: empty result rectangles.
    PF_PreRenderExtra pre;
    pre.result_rect = PF_LRect{1, 2, 3, 4};
    pre.max_result_rect = PF_LRect{1, 2, 3, 4};
    EXPECT_EQ(host.callEffect(noise, PF_Cmd_SMART_PRE_RENDER, A_Time{0, 30000}, &pre), 0);
    EXPECT_EQ(pre.result_rect.right, 0);
    EXPECT_EQ(pre.max_result_rect.bottom, 0);
}

}  // namespace
}  // namespace tv
