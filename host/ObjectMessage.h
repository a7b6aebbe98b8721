// The private record the effects of the family exchange through the host's generic effect call.
// It carries its own functions so that any effect reaches the lists without linking to the code
// that owns them.
#pragma once

#include <cstdint>
#include <vector>

#include "host/GeometryStore.h"
#include "host/HostTypes.h"
#include "host/RenderItem.h"

namespace tv {

inline constexpr uint32_t kTavrMagic = 'TAVR';

enum ObjectCommand : uint32_t {
    kObjContribute = 0,
    kObjGetGroup = 1,
    kObjGetTarget = 2,
    kObjSetGroup = 3,
    kObjGetInstanceId = 5,
    kObjMixHash = 6,
};

inline constexpr uint32_t kMsgNeedsLayers = 0x20;
inline constexpr uint32_t kMsgTargetsVertices = 0x40;
inline constexpr uint32_t kMsgTargetsFaces = 0x80;

#pragma pack(push, 4)
struct LayerRequest {
    uint32_t layerId = 0;
    A_Time time{0, 1};
};
#pragma pack(pop)
static_assert(sizeof(LayerRequest) == 12);

// Host callback that mixes bytes into the frame's cache key.
using GuidMixInPtr = PF_Err (*)(PF_ProgPtr effectRef, uint32_t size, const void* data);

struct HashDependency {
    uint64_t layer = 0;
    uint64_t time = 0;
};

struct HashSink {
    static constexpr uint32_t kGuard = 986534;
    std::vector<HashDependency> dependencies;
    uint32_t guard = kGuard;
    PF_ProgPtr effectRef = 0;
    GuidMixInPtr mixInCallback = nullptr;
};

struct ObjectMessage;

struct RenderList {
    std::vector<RenderItem> items;
    std::vector<ObjectMessage*> gathered;
    std::vector<LayerRequest> requests;
};

struct ObjectMessage {
    uint32_t magic = kTavrMagic;
    uint32_t command = 0;
    uint8_t payload[16] = {};
    uint32_t flags = 0;
    GeometryStore* geometry = nullptr;
    RenderList* renders = nullptr;
    HashSink* hash = nullptr;
    void (*addDependency)(HashSink*, uint64_t layer, uint64_t time) = nullptr;
    void (*mixIn)(HashSink*, const void* data, int32_t size) = nullptr;
    void (*pushRenderItem)(RenderList*, const RenderItem*) = nullptr;
    void (*requestLayer)(RenderList*, uint32_t layerId, uint64_t time) = nullptr;
    void (*gatheredCount)(RenderList*, uint32_t* count) = nullptr;
    void (*gatheredAt)(RenderList*, int32_t index, ObjectMessage** out) = nullptr;
    void (*renderItemCount)(RenderList*, uint32_t* count) = nullptr;
    void (*renderItemAt)(RenderList*, int32_t index, RenderItem** out) = nullptr;
    uint64_t svgContext = 0;

    int16_t payloadGroup() const;
    void setPayloadGroup(int16_t group);
    int32_t payloadInt() const;
    void setPayloadInt(int32_t value);
};
static_assert(sizeof(ObjectMessage) == 128);

// Fills in the magic and the functions, allocates the store, list and sink, zeroes svgContext.
PF_Err InitObjectMessage(ObjectMessage& message);
// Frees the gathered messages' records and the three owned records.
void DisposeObjectMessage(ObjectMessage& message);
ObjectMessage* NewObjectMessage();
void DeleteObjectMessage(ObjectMessage* message);

// An ObjectMessage made ready on construction and disposed when it goes out of scope, so that a
// throw between the two frees its records. `status()` is InitObjectMessage's answer; when it is
// an error the message holds no records and must not be sent.
class ScopedObjectMessage {
  public:
    ScopedObjectMessage() : status_(InitObjectMessage(message_)) {}
    ~ScopedObjectMessage() { DisposeObjectMessage(message_); }
    ScopedObjectMessage(const ScopedObjectMessage&) = delete;
    ScopedObjectMessage& operator=(const ScopedObjectMessage&) = delete;

    PF_Err status() const { return status_; }
    ObjectMessage& get() { return message_; }
    ObjectMessage& operator*() { return message_; }
    ObjectMessage* operator->() { return &message_; }

  private:
    ObjectMessage message_;
    PF_Err status_;
};

// A time packed into the u64 of requestLayer and addDependency: value in the low word, scale in
// the high word.
uint64_t PackTime(const A_Time& t);
A_Time UnpackTime(uint64_t packed);

}  // namespace tv
