#include <gtest/gtest.h>

#include <cstring>

#include "host/SequenceRecord.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

using standalone::EffectInstance;
using standalone::EmbeddedHost;

struct SequenceFixture : ::testing::Test {
    EmbeddedHost host;
    EffectInstance* instance = nullptr;
    void SetUp() override {
        auto& comp = host.addComp("c", 8, 8);
        auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
        instance = &host.applyEffectInstance(layer, "KDL TAVRSRC Primitives");
    }
    SequenceRecord record() {
        const auto bytes = host.handleBytes(instance->sequenceData);
        SequenceRecord r;
        std::memcpy(&r, bytes.data(), sizeof r);
        return r;
    }
    std::string text() {
        const auto bytes = host.handleBytes(instance->sequenceData);
        return std::string(reinterpret_cast<const char*>(bytes.data()) + 32);
    }
    PF_Err resetup(const std::vector<uint8_t>& old, uint32_t inFlags = 0) {
        host.disposeHandle(instance->sequenceData);
        instance->sequenceData = host.handleFromBytes(old);
        return host.callEffect(*instance, PF_Cmd_SEQUENCE_RESETUP, A_Time{0, 1}, nullptr, nullptr,
                               nullptr, nullptr, inFlags);
    }
};

TEST_F(SequenceFixture, SetupMakesA32ByteRecordWithAFreshId) {
    EXPECT_EQ(host.handleSize(instance->sequenceData), 32u);
    const SequenceRecord r = record();
    EXPECT_EQ(r.tag, ('T' << 8) | 'v');
    EXPECT_EQ(r.flags, 0);
    EXPECT_EQ(r.version, 0x189E02u);
    EXPECT_EQ(r.textLength, 0u);
    const uint8_t zero[16] = {};
    EXPECT_NE(std::memcmp(r.instanceId, zero, 16), 0);
}

TEST_F(SequenceFixture, FirstGenerationHandleIsTakenWhateverItsContents) {
    std::vector<uint8_t> v1(257, 0);
    std::memcpy(v1.data() + 1, "C:/path/model.obj", 17);
    ASSERT_EQ(resetup(v1), 0);
    const SequenceRecord r = record();
    EXPECT_EQ(r.flags, kSeqFlagFromV1);
    EXPECT_EQ(r.textLength, 18u);
    EXPECT_EQ(text(), "C:/path/model.obj");
    EXPECT_EQ(host.handleSize(instance->sequenceData), 32u + 18u);
    const auto lines = host.takeDiagnostics();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Converting V1 Sequence Data"), lines.end());
}

TEST_F(SequenceFixture, SecondGenerationConvertsWithMarkersAndFlags) {
    std::vector<uint8_t> v2(64, 0);
    const uint32_t magic = kSeqV2Magic, version = 0x128601;
    std::memcpy(v2.data(), &magic, 4);
    std::memcpy(v2.data() + 4, &version, 4);
    v2[8] = 0x80 | 4 | 2 | 8;
    std::memcpy(v2.data() + 32, "seq/frame", 9);
    ASSERT_EQ(resetup(v2), 0);
    const SequenceRecord r = record();
    EXPECT_EQ(r.flags, kSeqFlagFromV2 | kSeqFlagV2HighBit);
    EXPECT_EQ(text(), "seq/frame\n|SEQ|\n|REL|\n|ALP|");
    EXPECT_EQ(r.textLength, text().size() + 1);
}

TEST_F(SequenceFixture, SecondGenerationAtTheLimitVersionIsTreatedAsCurrent) {
    std::vector<uint8_t> v2(64, 0);
    const uint32_t magic = kSeqV2Magic, version = 0x128602;
    std::memcpy(v2.data(), &magic, 4);
    std::memcpy(v2.data() + 4, &version, 4);
    v2[8] = 4;
    ASSERT_EQ(resetup(v2), 0);
    EXPECT_EQ(host.handleSize(instance->sequenceData), 32u);
    EXPECT_EQ(record().version, 0x189E02u);
    // Only the first 32 bytes are kept, as they stand: the text is gone.
    EXPECT_EQ(std::memcmp(host.handleBytes(instance->sequenceData).data() + 8, v2.data() + 8, 8),
              0);
}

TEST_F(SequenceFixture, CurrentRecordGetsAFreshIdUnlessRenderOnly) {
    const auto saved = host.handleBytes(instance->sequenceData);
    ASSERT_EQ(resetup(saved), 0);
    EXPECT_NE(std::memcmp(record().instanceId, saved.data() + 16, 16), 0);
    ASSERT_EQ(resetup(saved, PF_InFlag_PROJECT_IS_RENDER_ONLY), 0);
    EXPECT_EQ(std::memcmp(record().instanceId, saved.data() + 16, 16), 0);
}

TEST_F(SequenceFixture, FlattenGivesTheSameBytesWithFlag4Cleared) {
    auto bytes = host.handleBytes(instance->sequenceData);
    bytes[2] |= 0x4 | 0x80;
    host.disposeHandle(instance->sequenceData);
    instance->sequenceData = host.handleFromBytes(bytes);
    ASSERT_EQ(host.callEffect(*instance, PF_Cmd_SEQUENCE_FLATTEN, A_Time{0, 1}, nullptr), 0);
    auto flat = host.handleBytes(instance->sequenceData);
    bytes[2] &= ~0x4;
    EXPECT_EQ(flat, bytes);
}

TEST_F(SequenceFixture, SetdownDisposesTheRecord) {
    const size_t before = host.liveHandleCount();
    ASSERT_EQ(host.callEffect(*instance, PF_Cmd_SEQUENCE_SETDOWN, A_Time{0, 1}, nullptr), 0);
    EXPECT_EQ(instance->sequenceData, 0u);
    EXPECT_EQ(host.liveHandleCount(), before - 1);
}

TEST(InstanceIdText, FormatsAsUuid) {
    const uint8_t id[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                            0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE};
    EXPECT_EQ(InstanceIdText(id), "01234567-89AB-CDEF-1032-547698BADCFE");
}

}  // namespace
}  // namespace tv
