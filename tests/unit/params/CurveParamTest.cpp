// Curve parameters: their default handle is made, zeroed and filled at params setup, and every
// instance starts from its own copy of it.
#include <gtest/gtest.h>

#include <cstring>

#include "params/CurveParam.h"
#include "standalone/Document.h"
#include "standalone/DocumentWriter.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

DistanceCurve CurveOf(standalone::EmbeddedHost& host, PF_Handle h) {
    const auto bytes = host.handleBytes(h);
    EXPECT_EQ(bytes.size(), sizeof(DistanceCurve));
    DistanceCurve c;
    if (bytes.size() == sizeof c) std::memcpy(&c, bytes.data(), sizeof c);
    return c;
}

TEST(CurveParam, TheLinesRendererAddsFilledDefaultsAndEachInstanceHasItsOwnCopy) {
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("C", 100, 100);
    auto& layer = host.addLayer(comp, "L", standalone::LayerKind::Solid);
    const auto key = host.findInstalledByDisplayName("Tavrin Lines Renderer")->key;
    auto& a = host.applyEffectInstance(layer, key);
    auto& b = host.applyEffectInstance(layer, key);
    const auto& specs = host.installedEffect(key)->params;
    for (int32_t index : {7, 9}) {
        const ParamSpec& spec = specs[size_t(index)];
        EXPECT_EQ(spec.type, PF_Param_ARBITRARY_DATA);
        EXPECT_EQ(spec.arbRefcon, kCurveArbRefcon);
        EXPECT_EQ(spec.uiWidth, 350);
        EXPECT_EQ(spec.uiHeight, 100);
        ASSERT_NE(spec.arbDefault, 0u) << index;
        const PF_Handle ha = a.params[size_t(index)].value.u.arbData;
        const PF_Handle hb = b.params[size_t(index)].value.u.arbData;
        ASSERT_NE(ha, 0u);
        EXPECT_NE(ha, spec.arbDefault);
        EXPECT_NE(ha, hb);
        const auto expected = index == 7 ? DistanceCurve::DefaultOpacity().samples
                                         : DistanceCurve::DefaultThickness().samples;
        EXPECT_EQ(CurveOf(host, spec.arbDefault).samples, expected) << index;
        EXPECT_EQ(CurveOf(host, ha).samples, expected) << index;
        EXPECT_EQ(CurveOf(host, hb).samples, expected) << index;
    }
}

// Hands out handles full of garbage, and may refuse to add parameters or to allocate.
class DirtyHost : public standalone::EmbeddedHost {
  public:
    bool refuseAdd = false;
    bool refuseAlloc = false;
    std::vector<ParamSpec> added;
    PF_Handle newHandle(uint64_t size) override {
        if (refuseAlloc) return 0;
        return handleFromBytes(std::vector<uint8_t>(size, 0xAB));
    }
    PF_Err addParam(PF_ProgPtr, const ParamSpec& spec) override {
        if (refuseAdd) return PF_Err_OUT_OF_MEMORY;
        added.push_back(spec);
        return PF_Err_NONE;
    }
};

void SetFirstSample(DistanceCurve& c) {
    c.samples[0] = 42.0f;
}

TEST(CurveParam, TheHandleIsZeroedBeforeTheEffectFillsIt) {
    DirtyHost host;
    PF_InData in;
    in.pica_basicP = &host;
    const ParamSpec spec = CurveParam(3, 5, "Curve", &SetFirstSample);
    ASSERT_EQ(AddCurveParam(&in, spec), PF_Err_NONE);
    ASSERT_EQ(host.added.size(), 1u);
    EXPECT_EQ(host.added[0].name, std::string("Curve"));
    const DistanceCurve c = CurveOf(host, host.added[0].arbDefault);
    EXPECT_EQ(c.samples[0], 42.0f);
    for (size_t i = 1; i < 200; ++i) ASSERT_EQ(c.samples[i], 0.0f) << i;
}

TEST(CurveParam, FailuresFreeTheHandle) {
    DirtyHost host;
    PF_InData in;
    in.pica_basicP = &host;
    const ParamSpec spec = CurveParam(3, 5, "Curve", &SetFirstSample);
    const size_t live = host.liveHandleCount();
    host.refuseAdd = true;
    EXPECT_EQ(AddCurveParam(&in, spec), PF_Err_OUT_OF_MEMORY);
    EXPECT_EQ(host.liveHandleCount(), live);
    host.refuseAdd = false;
    host.refuseAlloc = true;
    EXPECT_EQ(AddCurveParam(&in, spec), PF_Err_OUT_OF_MEMORY);
    EXPECT_TRUE(host.added.empty());
}

TEST(CurveParam, SavingWritesOnlyCurvesThatDifferFromTheirDefaults) {
    const char* doc =
        R"({"tavrin": 1, "comps": [{"layers": [{"solid": {}, "effects": [
        {"effect": "Tavrin Lines Renderer", "params": {"Thickness over Distance": [[0, 1], [1, 0.5]]}}]}]}]})";
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    const std::string saved = standalone::SaveDocumentText(host, "saved.json");
    EXPECT_EQ(saved.find("Opacity over Distance"), std::string::npos) << saved;
    EXPECT_NE(saved.find("Thickness over Distance"), std::string::npos) << saved;
}

}  // namespace
}  // namespace tv
