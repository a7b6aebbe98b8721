#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "host/Gather.h"
#include "host/SequenceRecord.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

using standalone::EffectInstance;
using standalone::EmbeddedHost;
using standalone::Layer;

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

TEST_F(SequenceFixture, FirstGenerationWinsEvenOverASecondGenerationMagic) {
    std::vector<uint8_t> v1(257, 0);
    const uint32_t magic = kSeqV2Magic, version = 0x100000;
    std::memcpy(v1.data(), &magic, 4);
    std::memcpy(v1.data() + 4, &version, 4);
    std::memcpy(v1.data() + 32, "v2 text", 7);
    ASSERT_EQ(resetup(v1), 0);
    const SequenceRecord r = record();
    EXPECT_EQ(r.flags, kSeqFlagFromV1);
    EXPECT_EQ(r.version, 0x189E02u);
    // The string from offset 1: the magic's last three bytes, then the version's low byte 0.
    EXPECT_EQ(text(), "vAT");
    EXPECT_EQ(r.textLength, 4u);
    EXPECT_EQ(host.handleSize(instance->sequenceData), 36u);
    const auto bytes = host.handleBytes(instance->sequenceData);
    EXPECT_EQ(bytes[35], 0);  // the terminator is copied
}

TEST_F(SequenceFixture, SecondGenerationTakesOnlyTheMarkersOfItsBits) {
    std::vector<uint8_t> v2(40, 0);
    const uint32_t magic = kSeqV2Magic, version = 0x0F0000;
    std::memcpy(v2.data(), &magic, 4);
    std::memcpy(v2.data() + 4, &version, 4);
    v2[8] = 2;
    std::memcpy(v2.data() + 32, "a.obj", 5);
    ASSERT_EQ(resetup(v2), 0);
    const SequenceRecord r = record();
    EXPECT_EQ(r.flags, kSeqFlagFromV2);
    EXPECT_EQ(text(), "a.obj\n|REL|");
    EXPECT_EQ(r.textLength, 12u);
    EXPECT_EQ(host.handleSize(instance->sequenceData), 32u + 12u);
    const uint8_t zero[16] = {};
    EXPECT_NE(std::memcmp(r.instanceId, zero, 16), 0);
    const auto lines = host.takeDiagnostics();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Converting V2 Sequence Data"), lines.end());
}

TEST_F(SequenceFixture, SavedIdNoLongerFindsTheInstanceAfterReopening) {
    Layer& layer = *host.layerOfInstance(instance->uid);
    std::vector<std::string> before;
    ASSERT_EQ(QueryInstanceIds(host, layer.uid, A_Time{0, 1}, {0}, before), 0);
    ASSERT_EQ(resetup(host.handleBytes(instance->sequenceData)), 0);
    std::vector<std::string> after;
    ASSERT_EQ(QueryInstanceIds(host, layer.uid, A_Time{0, 1}, {0}, after), 0);
    EXPECT_NE(before[0], after[0]);
}

TEST_F(SequenceFixture, ResetupWithoutDataActsAsSetup) {
    host.disposeHandle(instance->sequenceData);
    instance->sequenceData = 0;
    ASSERT_EQ(host.callEffect(*instance, PF_Cmd_SEQUENCE_RESETUP, A_Time{0, 1}, nullptr), 0);
    EXPECT_EQ(host.handleSize(instance->sequenceData), 32u);
    EXPECT_EQ(record().flags, 0);
}

TEST_F(SequenceFixture, GetInstanceIdWithoutARecordSaysSo) {
    host.disposeHandle(instance->sequenceData);
    instance->sequenceData = 0;
    host.takeDiagnostics();
    ObjectMessage m;
    ASSERT_EQ(InitObjectMessage(m), 0);
    m.command = kObjGetInstanceId;
    EXPECT_EQ(host.callEffect(*instance, PF_Cmd_COMPLETELY_GENERAL, A_Time{0, 1}, &m), 512);
    const auto lines = host.takeDiagnostics();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "No Sequence Data Detected"), lines.end());
    DisposeObjectMessage(m);
}

// A host whose handle allocation or locking fails on demand, which counts the idle suite's
// id notices and records parameter writes.
struct FaultyHost : EmbeddedHost {
    bool failNew = false;
    bool failLock = false;
    bool fixedGuid = false;
    int idChanges = 0;
    std::vector<std::pair<int32_t, std::vector<uint8_t>>> writes;

    struct CountingIdle : IdleSuite {
        FaultyHost* host = nullptr;
        void queueTask(std::function<void()>) override {}
        void panelNotify() override {}
        void instanceIdChanged() override { ++host->idChanges; }
    } idle;

    FaultyHost() { idle.host = this; }
    PF_Handle newHandle(uint64_t n) override { return failNew ? 0 : EmbeddedHost::newHandle(n); }
    void* lockHandle(PF_Handle h) override {
        return failLock ? nullptr : EmbeddedHost::lockHandle(h);
    }
    void newGuid(uint8_t guid[16]) override {
        if (!fixedGuid) return EmbeddedHost::newGuid(guid);
        for (int i = 0; i < 16; ++i) guid[i] = uint8_t(i);
    }
    IdleSuite* acquireIdleSuite() override { return &idle; }
    void releaseIdleSuite(IdleSuite*) override {}
    PF_Err setParamValue(PF_ProgPtr, int32_t index, const PF_ParamDef& value) override {
        writes.emplace_back(index, handleBytes(value.u.arbData));
        return PF_Err_NONE;
    }
};

struct DirectSequence : ::testing::Test {
    FaultyHost host;
    PF_InData in;
    PF_OutData out;
    void SetUp() override { in.pica_basicP = &host; }
    std::vector<uint8_t> CurrentRecord(uint32_t version, uint16_t flags) {
        SequenceRecord r;
        r.version = version;
        r.flags = flags;
        std::vector<uint8_t> bytes(sizeof r);
        std::memcpy(bytes.data(), &r, sizeof r);
        return bytes;
    }
};

TEST_F(DirectSequence, SetupWithoutAHandleSaysSo) {
    host.failNew = true;
    EXPECT_EQ(SetupSequence(&in, &out), 512);
    EXPECT_STREQ(out.return_msg, "Error! Sequence Setup Error.No Seq Data Allocated");
}

TEST_F(DirectSequence, SetupThatCannotLockSaysSo) {
    host.failLock = true;
    EXPECT_EQ(SetupSequence(&in, &out), 512);
    EXPECT_STREQ(out.return_msg, "Error! Sequence Setup Error.Seq Data failed to Lock!");
}

TEST_F(DirectSequence, SetupReplacesOldDataAndPrintsTheNewId) {
    in.sequence_data = host.handleFromBytes(std::vector<uint8_t>(32, 1));
    const size_t live = host.liveHandleCount();
    ASSERT_EQ(SetupSequence(&in, &out), 0);
    EXPECT_EQ(host.liveHandleCount(), live);  // the old one went, the new one came
    const auto bytes = host.handleBytes(out.sequence_data);
    ASSERT_EQ(bytes.size(), 32u);
    const auto lines = host.takeDiagnostics();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), InstanceIdText(bytes.data() + 16));
}

TEST_F(DirectSequence, IdsKeepTheirFirstThreeFieldsBigEndian) {
    host.fixedGuid = true;  // bytes 0x00..0x0F in the field order of the system call
    ASSERT_EQ(SetupSequence(&in, &out), 0);
    const auto bytes = host.handleBytes(out.sequence_data);
    const std::vector<uint8_t> id(bytes.begin() + 16, bytes.end());
    EXPECT_EQ(id, (std::vector<uint8_t>{3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15}));
    EXPECT_EQ(InstanceIdText(id.data()), "03020100-0504-0706-0809-0A0B0C0D0E0F");
}

TEST_F(DirectSequence, CurrentRecordNotifiesTheIdleSuiteOfItsNewId) {
    in.sequence_data = host.handleFromBytes(CurrentRecord(0x180000, 0x4));
    ASSERT_EQ(ResetupSequence(&in, &out), 0);
    EXPECT_EQ(host.idChanges, 1);
    SequenceRecord r;
    std::memcpy(&r, host.handleBytes(out.sequence_data).data(), sizeof r);
    EXPECT_EQ(r.version, kEffectVersion);
    EXPECT_EQ(r.flags, 0x4);  // flags kept as they stand
    in.in_flags = PF_InFlag_PROJECT_IS_RENDER_ONLY;
    ASSERT_EQ(ResetupSequence(&in, &out), 0);
    EXPECT_EQ(host.idChanges, 1);
}

TEST_F(DirectSequence, FlattenThatCannotAllocateLeavesTheOldData) {
    in.sequence_data = host.handleFromBytes(CurrentRecord(kEffectVersion, 0x4));
    out.sequence_data = in.sequence_data;
    host.failNew = true;
    EXPECT_EQ(FlattenSequence(&in, &out), 512);
    EXPECT_EQ(out.sequence_data, in.sequence_data);
    EXPECT_EQ(host.handleBytes(in.sequence_data)[2], 0x4);
}

TEST_F(DirectSequence, LegacyTextMovesOnceIntoItsParameter) {
    in.sequence_data = host.handleFromBytes(CurrentRecord(0x100600, 0));
    ASSERT_EQ(MigrateLegacyText(&in, 14, "C:/m\xC3\xA9sh.obj"), 0);
    ASSERT_EQ(host.writes.size(), 1u);
    EXPECT_EQ(host.writes[0].first, 14);
    // A u32 byte length, then the UTF-8 bytes.
    const std::vector<uint8_t> expected = {12,   0,    0,   0,   'C', ':', '/', 'm',
                                           0xC3, 0xA9, 's', 'h', '.', 'o', 'b', 'j'};
    EXPECT_EQ(host.writes[0].second, expected);
    SequenceRecord r;
    std::memcpy(&r, host.handleBytes(in.sequence_data).data(), sizeof r);
    EXPECT_EQ(r.flags, kSeqFlagTextMigrated);
    // Once only.
    ASSERT_EQ(MigrateLegacyText(&in, 14, "again"), 0);
    EXPECT_EQ(host.writes.size(), 1u);
}

TEST_F(DirectSequence, LegacyTextOfANewerRecordIsLeftAlone) {
    in.sequence_data = host.handleFromBytes(CurrentRecord(0x100601, 0));
    ASSERT_EQ(MigrateLegacyText(&in, 2, "name"), 0);
    EXPECT_TRUE(host.writes.empty());
    SequenceRecord r;
    std::memcpy(&r, host.handleBytes(in.sequence_data).data(), sizeof r);
    EXPECT_EQ(r.flags, 0);
}

TEST(InstanceIdText, FormatsAsUuid) {
    const uint8_t id[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                            0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE};
    EXPECT_EQ(InstanceIdText(id), "01234567-89AB-CDEF-1032-547698BADCFE");
}

}  // namespace
}  // namespace tv
