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

TEST_F(ArbFixture, GradientStoresItsLengthAndFlattensTo4Plus24N) {
    Arb_Gradient_Handler handler(&in, 4 + 24 * 2);
    GradientStop stops[2];
    stops[1].position = 1;
    PF_Handle h = 0;
    ASSERT_EQ(handler.create(&h, stops, sizeof stops), 0);
    const auto bytes = host.handleBytes(h);
    EXPECT_EQ(bytes.size(), 52u);
    EXPECT_EQ(GetGradientStops(bytes.data(), bytes.size()).size(), 2u);
}

}  // namespace
}  // namespace tv
