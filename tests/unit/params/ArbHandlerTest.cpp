#include <gtest/gtest.h>

#include <cstring>

#include "params/ArbHandler.h"
#include "params/DistanceCurve.h"
#include "params/Gradient.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

struct ArbFixture : ::testing::Test {
    standalone::EmbeddedHost host;
    PF_InData in;
    void SetUp() override { in.pica_basicP = &host; }
    PF_Err Call(int32_t selector, PF_ArbCallbackArgs& args, uint32_t refcon = kCurveArbRefcon) {
        PF_ArbParamsExtra extra;
        extra.which_function = selector;
        extra.id = 15;
        extra.refconPV = reinterpret_cast<void*>(uintptr_t(refcon));
        extra.u = &args;
        return CurveArbCallback(&in, extra);
    }
};

TEST_F(ArbFixture, CurveNewCopyFlattenUnflatten) {
    PF_Handle h = 0;
    PF_ArbCallbackArgs args;
    args.dstPH = &h;
    ASSERT_EQ(Call(PF_Arbitrary_NEW_FUNC, args), 0);
    EXPECT_EQ(host.handleSize(h), 800u);  // zeroed, no default data
    EXPECT_EQ(host.takeDiagnostics().back(), "New Function Arb: 15");
    // Fill it, then flatten: exactly 800 bytes.
    const DistanceCurve curve = DistanceCurve::DefaultOpacity();
    std::memcpy(host.lockHandle(h), &curve, 800);
    host.unlockHandle(h);
    uint64_t flat = 0;
    PF_ArbCallbackArgs size;
    size.arbH = h;
    size.flatSizeP = &flat;
    ASSERT_EQ(Call(PF_Arbitrary_FLAT_SIZE_FUNC, size), 0);
    EXPECT_EQ(flat, 800u);
    std::vector<uint8_t> buffer(800);
    PF_ArbCallbackArgs out;
    out.arbH = h;
    out.bufSize = buffer.size();
    out.flatData = buffer.data();
    ASSERT_EQ(Call(PF_Arbitrary_FLATTEN_FUNC, out), 0);
    EXPECT_EQ(std::memcmp(buffer.data(), &curve, 800), 0);
    PF_Handle back = 0;
    PF_ArbCallbackArgs in2;
    in2.bufSize = buffer.size();
    in2.flatData = buffer.data();
    in2.dstPH = &back;
    ASSERT_EQ(Call(PF_Arbitrary_UNFLATTEN_FUNC, in2), 0);
    EXPECT_EQ(host.handleBytes(back), buffer);
    PF_Handle copy = 0;
    PF_ArbCallbackArgs c;
    c.srcH = back;
    c.dstPH = &copy;
    ASSERT_EQ(Call(PF_Arbitrary_COPY_FUNC, c), 0);
    EXPECT_EQ(host.handleBytes(copy), buffer);
    // Failures: unflatten without data 512, copy without destination 4.
    PF_ArbCallbackArgs none;
    EXPECT_EQ(Call(PF_Arbitrary_UNFLATTEN_FUNC, none), 512);
    PF_ArbCallbackArgs nodst;
    nodst.srcH = back;
    EXPECT_EQ(Call(PF_Arbitrary_COPY_FUNC, nodst), 4);
    // Other selectors and other tags do nothing.
    EXPECT_EQ(Call(PF_Arbitrary_COMPARE_FUNC, none), 0);
    EXPECT_EQ(Call(PF_Arbitrary_NEW_FUNC, args, 0x12345678), 0);
}

TEST_F(ArbFixture, DisposeFreesAndOtherSelectorsDoNothing) {
    PF_Handle h = 0;
    PF_ArbCallbackArgs args;
    args.dstPH = &h;
    ASSERT_EQ(Call(PF_Arbitrary_NEW_FUNC, args), 0);
    const auto before = host.handleBytes(h);
    for (int32_t selector : std::initializer_list<int32_t>{
             PF_Arbitrary_INTERP_FUNC, PF_Arbitrary_COMPARE_FUNC, PF_Arbitrary_PRINT_SIZE_FUNC,
             PF_Arbitrary_PRINT_FUNC, PF_Arbitrary_SCAN_FUNC, int32_t(42)}) {
        PF_ArbCallbackArgs other;
        other.arbH = h;
        other.dstPH = &h;
        EXPECT_EQ(Call(selector, other), 0) << selector;
        EXPECT_EQ(host.handleBytes(h), before) << selector;
    }
    const uint64_t handlesBefore = host.liveHandleCount();
    PF_ArbCallbackArgs dispose;
    dispose.arbH = h;
    ASSERT_EQ(Call(PF_Arbitrary_DISPOSE_FUNC, dispose), 0);
    EXPECT_EQ(host.liveHandleCount(), handlesBefore - 1);
}

TEST_F(ArbFixture, CopyFreesTheOldDestination) {
    PF_Handle src = 0, dst = 0;
    PF_ArbCallbackArgs n1, n2;
    n1.dstPH = &src;
    n2.dstPH = &dst;
    ASSERT_EQ(Call(PF_Arbitrary_NEW_FUNC, n1), 0);
    ASSERT_EQ(Call(PF_Arbitrary_NEW_FUNC, n2), 0);
    static_cast<float*>(host.lockHandle(src))[3] = 7.5f;
    host.unlockHandle(src);
    const uint64_t live = host.liveHandleCount();
    PF_ArbCallbackArgs c;
    c.srcH = src;
    c.dstPH = &dst;
    ASSERT_EQ(Call(PF_Arbitrary_COPY_FUNC, c), 0);
    EXPECT_EQ(host.liveHandleCount(), live);  // one freed, one made
    EXPECT_EQ(host.handleBytes(dst), host.handleBytes(src));
}

TEST_F(ArbFixture, FlattenStaysWithinTheGivenSize) {
    PF_Handle h = 0;
    PF_ArbCallbackArgs args;
    args.dstPH = &h;
    ASSERT_EQ(Call(PF_Arbitrary_NEW_FUNC, args), 0);
    std::memset(host.lockHandle(h), 0xAB, 800);
    host.unlockHandle(h);
    std::vector<uint8_t> buffer(900, 0);
    PF_ArbCallbackArgs out;
    out.arbH = h;
    out.bufSize = 100;
    out.flatData = buffer.data();
    ASSERT_EQ(Call(PF_Arbitrary_FLATTEN_FUNC, out), 0);
    EXPECT_EQ(buffer[99], 0xAB);
    EXPECT_EQ(buffer[100], 0);
}

// A host whose handle memory has run out.
struct NoMemoryHost : HostServices {
    int disposed = 0;
    PF_Handle newHandle(uint64_t) override { return 0; }
    void* lockHandle(PF_Handle) override { return nullptr; }
    void unlockHandle(PF_Handle) override {}
    void disposeHandle(PF_Handle) override { ++disposed; }
    uint64_t handleSize(PF_Handle) override { return 800; }
    void diagnostic(const std::string&) override {}
};

TEST(ArbHandler, AllocationFailureIsOutOfMemory) {
    NoMemoryHost host;
    PF_InData in;
    in.pica_basicP = &host;
    PF_ArbParamsExtra extra;
    extra.refconPV = reinterpret_cast<void*>(uintptr_t(kCurveArbRefcon));
    PF_Handle h = 0;
    uint8_t flat[800] = {};
    PF_ArbCallbackArgs args;
    args.dstPH = &h;
    args.srcH = PF_Handle(1);
    args.flatData = flat;
    args.bufSize = sizeof flat;
    extra.u = &args;
    for (int32_t selector : std::initializer_list<int32_t>{
             PF_Arbitrary_NEW_FUNC, PF_Arbitrary_COPY_FUNC, PF_Arbitrary_UNFLATTEN_FUNC}) {
        extra.which_function = selector;
        EXPECT_EQ(CurveArbCallback(&in, extra), PF_Err_OUT_OF_MEMORY) << selector;
        EXPECT_EQ(h, PF_Handle(0)) << selector;
    }
    Arb_Gradient_Handler gradient(&in, 100);
    EXPECT_EQ(gradient.create(&h, nullptr, 0), PF_Err_OUT_OF_MEMORY);
}

TEST_F(ArbFixture, GradientNewWritesAZeroLengthAndDefaultsFollowTheWord) {
    PF_ArbParamsExtra extra;
    extra.which_function = PF_Arbitrary_NEW_FUNC;
    extra.refconPV = reinterpret_cast<void*>(uintptr_t(kCurveArbRefcon));
    PF_Handle h = 0;
    PF_ArbCallbackArgs args;
    args.dstPH = &h;
    extra.u = &args;
    ASSERT_EQ(GradientArbCallback(&in, extra, 4 + 24 * 3), 0);
    const auto fresh = host.handleBytes(h);
    EXPECT_EQ(fresh.size(), 76u);
    EXPECT_TRUE(GetGradientStops(fresh.data(), fresh.size()).empty());
    // With defaults: the length word, then the stops at headerSize().
    GradientStop stops[2];
    stops[0].red = 1;
    stops[1].position = 1;
    stops[1].blue = 1;
    Arb_Gradient_Handler handler(&in, 4 + 24 * 2);
    EXPECT_EQ(handler.headerSize(), 4u);
    PF_Handle g = 0;
    ASSERT_EQ(handler.create(&g, stops, sizeof stops), 0);
    const auto bytes = host.handleBytes(g);
    uint32_t length = 0;
    std::memcpy(&length, bytes.data(), 4);
    EXPECT_EQ(length, 48u);
    const auto back = GetGradientStops(bytes.data(), bytes.size());
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[0].red, 1.0f);
    EXPECT_EQ(back[1].blue, 1.0f);
    // A gradient of n stops flattens to 4 + 24 n bytes.
    uint64_t flat = 0;
    PF_ArbCallbackArgs size;
    size.arbH = g;
    size.flatSizeP = &flat;
    extra.which_function = PF_Arbitrary_FLAT_SIZE_FUNC;
    extra.u = &size;
    ASSERT_EQ(GradientArbCallback(&in, extra, 4 + 24 * 2), 0);
    EXPECT_EQ(flat, 4u + 24u * 2u);
}

}  // namespace
}  // namespace tv
