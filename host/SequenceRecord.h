// The persistent record of each effect instance: identity, the version that wrote it and a few
// once-only flags. Stored little-endian at the start of a host handle and saved with projects.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "host/HostTypes.h"

namespace tv {

inline constexpr uint32_t kEffectVersion = 0x189E02;  // 3.1.3, stage 3, build 2

inline constexpr uint16_t kSeqFlagFromV1 = 0x1;
inline constexpr uint16_t kSeqFlagFromV2 = 0x2;
inline constexpr uint16_t kSeqFlagVisibilityCurrent = 0x4;
inline constexpr uint16_t kSeqFlagV2HighBit = 0x8;
inline constexpr uint16_t kSeqFlagTextMigrated = 0x80;

#pragma pack(push, 1)
struct SequenceRecord {
    uint16_t tag = ('T' << 8) | 'v';
    uint16_t flags = 0;
    uint32_t version = kEffectVersion;
    uint64_t textLength = 0;
    uint8_t instanceId[16] = {};
    // followed by textLength bytes of legacy text
};
#pragma pack(pop)
static_assert(sizeof(SequenceRecord) == 32);

// The second generation's layout, read when converting.
inline constexpr uint32_t kSeqV2Magic = 'TAvR';
inline constexpr uint32_t kSeqV2VersionLimit = 0x128602;
inline constexpr uint64_t kSeqV1HandleSize = 257;

PF_Err SetupSequence(PF_InData* in_data, PF_OutData* out_data);
PF_Err ResetupSequence(PF_InData* in_data, PF_OutData* out_data);
PF_Err FlattenSequence(PF_InData* in_data, PF_OutData* out_data);
PF_Err SetdownSequence(PF_InData* in_data, PF_OutData* out_data);

// Sets `flag` in the calling instance's record; true when it was clear until now, so that a
// step runs once per instance (false too when the record cannot be locked).
bool MarkOnce(PF_InData* in_data, uint16_t flag);

// Moves legacy text into the text parameter `paramIndex` once (records older than 1.0.6).
PF_Err MigrateLegacyText(PF_InData* in_data, int32_t paramIndex, const std::string& text);

// The text kept after the record (a converted record's legacy text, or what an effect stores
// there, such as the OBJ source's imported path); empty when there is none.
std::string ReadRecordText(PF_InData* in_data);
// Replaces that text: a new record handle goes to out_data (and in_data, for later calls).
PF_Err WriteRecordText(PF_InData* in_data, PF_OutData* out_data, const std::string& text);

// The 16 bytes of the instance id; false when the record cannot be locked.
bool ReadInstanceId(PF_InData* in_data, std::array<uint8_t, 16>& out);
// "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", upper-case hex, fields as stored.
std::string InstanceIdText(const uint8_t id[16]);

}  // namespace tv
