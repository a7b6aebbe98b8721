// The record the effects exchange: its initialisation, the eight functions it carries, the packed
// times and the release of render items by kind.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "host/ObjectMessage.h"

namespace tv {
namespace {

struct MixCall {
    PF_ProgPtr effectRef;
    uint32_t size;
    std::vector<uint8_t> bytes;
};
std::vector<MixCall> gMixCalls;

PF_Err RecordMix(PF_ProgPtr effectRef, uint32_t size, const void* data) {
    const auto* p = static_cast<const uint8_t*>(data);
    gMixCalls.push_back(MixCall{effectRef, size, std::vector<uint8_t>(p, p + size)});
    return PF_Err_NONE;
}

TEST(ObjectMessage, InitialisationFillsMagicListsGuardAndFunctions) {
    ObjectMessage m;
    m.magic = 0;
    m.svgContext = 99;
    m.flags = 7;
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    EXPECT_EQ(m.magic, uint32_t('T') << 24 | uint32_t('A') << 16 | uint32_t('V') << 8 | 'R');
    EXPECT_EQ(m.svgContext, 0u);
    EXPECT_EQ(m.flags, 0u);
    ASSERT_NE(m.geometry, nullptr);
    ASSERT_NE(m.renders, nullptr);
    ASSERT_NE(m.hash, nullptr);
    EXPECT_EQ(m.hash->guard, 986534u);
    EXPECT_EQ(m.hash->effectRef, 0u);
    EXPECT_EQ(m.hash->mixInCallback, nullptr);
    EXPECT_NE(m.addDependency, nullptr);
    EXPECT_NE(m.mixIn, nullptr);
    EXPECT_NE(m.pushRenderItem, nullptr);
    EXPECT_NE(m.requestLayer, nullptr);
    EXPECT_NE(m.gatheredCount, nullptr);
    EXPECT_NE(m.gatheredAt, nullptr);
    EXPECT_NE(m.renderItemCount, nullptr);
    EXPECT_NE(m.renderItemAt, nullptr);
    DisposeObjectMessage(m);
    EXPECT_EQ(m.geometry, nullptr);
    EXPECT_EQ(m.renders, nullptr);
    EXPECT_EQ(m.hash, nullptr);
}

TEST(ObjectMessage, RecordLayoutIsFixed) {
    EXPECT_EQ(offsetof(ObjectMessage, command), 4u);
    EXPECT_EQ(offsetof(ObjectMessage, payload), 8u);
    EXPECT_EQ(offsetof(ObjectMessage, flags), 24u);
    EXPECT_EQ(offsetof(ObjectMessage, geometry), 32u);
    EXPECT_EQ(offsetof(ObjectMessage, svgContext), 120u);
    EXPECT_EQ(sizeof(LayerRequest), 12u);
}

TEST(ObjectMessage, AddDependencyAppendsPairsInOrder) {
    ObjectMessage m;
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    m.addDependency(m.hash, 11, 22);
    m.addDependency(m.hash, 33, 44);
    ASSERT_EQ(m.hash->dependencies.size(), 2u);
    EXPECT_EQ(m.hash->dependencies[0].layer, 11u);
    EXPECT_EQ(m.hash->dependencies[0].time, 22u);
    EXPECT_EQ(m.hash->dependencies[1].layer, 33u);
    EXPECT_EQ(m.hash->dependencies[1].time, 44u);
    DisposeObjectMessage(m);
}

TEST(ObjectMessage, MixInCallsTheHostCallbackWithRefSizeAndData) {
    gMixCalls.clear();
    ObjectMessage m;
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    const uint64_t value = 0x0102030405060708ull;
    m.mixIn(m.hash, &value, 8);  // no callback outside pre-render: nothing happens
    EXPECT_TRUE(gMixCalls.empty());
    m.hash->effectRef = 1234;
    m.hash->mixInCallback = &RecordMix;
    m.mixIn(m.hash, &value, 8);
    ASSERT_EQ(gMixCalls.size(), 1u);
    EXPECT_EQ(gMixCalls[0].effectRef, 1234u);
    EXPECT_EQ(gMixCalls[0].size, 8u);
    uint64_t seen = 0;
    std::memcpy(&seen, gMixCalls[0].bytes.data(), 8);
    EXPECT_EQ(seen, value);
    DisposeObjectMessage(m);
}

TEST(ObjectMessage, PushedItemsAreCopiesReachableByIndex) {
    ObjectMessage m;
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    RenderItem item;
    item.kind = 7;  // a kind with no releaser
    item.data[0] = 42;
    m.pushRenderItem(m.renders, &item);
    item.data[0] = 43;
    m.pushRenderItem(m.renders, &item);
    item.data[0] = 0;  // the list holds copies
    uint32_t count = 0;
    m.renderItemCount(m.renders, &count);
    EXPECT_EQ(count, 2u);
    RenderItem* at = nullptr;
    m.renderItemAt(m.renders, 1, &at);
    ASSERT_NE(at, nullptr);
    EXPECT_EQ(at, &m.renders->items[1]);  // a pointer into the list
    EXPECT_EQ(at->data[0], 43);
    EXPECT_EQ(at->kind, 7u);
    DisposeObjectMessage(m);
}

TEST(ObjectMessage, RequestLayerKeepsIdAndTime) {
    ObjectMessage m;
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    m.requestLayer(m.renders, 17, PackTime(A_Time{-300, 30000}));
    m.requestLayer(m.renders, 4, PackTime(A_Time{5, 1}));
    ASSERT_EQ(m.renders->requests.size(), 2u);
    EXPECT_EQ(m.renders->requests[0].layerId, 17u);
    EXPECT_EQ(m.renders->requests[0].time.value, -300);
    EXPECT_EQ(m.renders->requests[0].time.scale, 30000u);
    EXPECT_EQ(m.renders->requests[1].layerId, 4u);
    EXPECT_EQ(m.renders->requests[1].time.value, 5);
    DisposeObjectMessage(m);
}

TEST(ObjectMessage, LayerRequestDefaultsToTimeZeroOverOne) {
    const LayerRequest r;
    EXPECT_EQ(r.time.value, 0);
    EXPECT_EQ(r.time.scale, 1u);
}

TEST(ObjectMessage, GatheredAtLeavesOutUntouchedOutsideTheList) {
    ObjectMessage m;
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    ObjectMessage* gathered = NewObjectMessage();
    ASSERT_NE(gathered, nullptr);
    m.renders->gathered.push_back(gathered);
    uint32_t count = 0;
    m.gatheredCount(m.renders, &count);
    EXPECT_EQ(count, 1u);

    ObjectMessage sentinel;
    ObjectMessage* out = &sentinel;
    m.gatheredAt(m.renders, 1, &out);
    EXPECT_EQ(out, &sentinel);
    m.gatheredAt(m.renders, -1, &out);
    EXPECT_EQ(out, &sentinel);
    m.gatheredAt(m.renders, 0, &out);
    EXPECT_EQ(out, gathered);
    DisposeObjectMessage(m);  // frees the gathered message with the list
}

TEST(ObjectMessage, PackTimeRoundTripsNegativeValues) {
    const A_Time t{-7, 2997};
    const uint64_t packed = PackTime(t);
    EXPECT_EQ(packed & 0xFFFFFFFFu, 0xFFFFFFF9u);
    EXPECT_EQ(packed >> 32, 2997u);
    const A_Time back = UnpackTime(packed);
    EXPECT_EQ(back.value, -7);
    EXPECT_EQ(back.scale, 2997u);
}

TEST(ObjectMessage, PayloadGroupIsTheFirstTwoBytes) {
    ObjectMessage m;
    m.setPayloadInt(-1);
    EXPECT_EQ(m.payloadGroup(), -1);
    m.setPayloadGroup(3);
    EXPECT_EQ(m.payload[0], 3);
    EXPECT_EQ(m.payload[1], 0);
    EXPECT_EQ(m.payload[2], 0xFF);  // the rest of the preset stays
    EXPECT_EQ(m.payloadGroup(), 3);
    m.setPayloadInt(0x00020001);
    EXPECT_EQ(m.payloadGroup(), 1);
    EXPECT_EQ(m.payloadInt(), 0x00020001);
}

// Releases by kind: counts calls and what the item pointed to.
int gReleased = 0;
void CountingReleaser(RenderItem& item) {
    ++gReleased;
    EXPECT_EQ(item.data[0], 5);
}

TEST(RenderItems, RegisteredReleaserRunsOncePerItemAndTheDataIsCleared) {
    constexpr uint32_t kTestKind = 6;
    RegisterRenderItemReleaser(kTestKind, &CountingReleaser);
    gReleased = 0;
    RenderItem item;
    item.kind = kTestKind;
    item.data[0] = 5;
    FreeRenderItem(item);
    EXPECT_EQ(gReleased, 1);
    EXPECT_EQ(item.data[0], 0);

    ObjectMessage m;
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    item.data[0] = 5;
    m.pushRenderItem(m.renders, &item);
    m.pushRenderItem(m.renders, &item);
    DisposeObjectMessage(m);  // items still in the list are released with it
    EXPECT_EQ(gReleased, 3);
    RegisterRenderItemReleaser(kTestKind, nullptr);
}

TEST(RenderItems, KindWithoutReleaserIsOnlyCleared) {
    RenderItem item;
    item.kind = 100;
    item.data[79] = 1;
    FreeRenderItem(item);
    EXPECT_EQ(item.data[79], 0);
}

}  // namespace
}  // namespace tv
