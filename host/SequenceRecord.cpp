#include "host/SequenceRecord.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/IdleSuiteAccess.h"
#include "host/SuiteCache.h"
#include "host/TextParam.h"

namespace tv {

namespace {

constexpr const char* kNoSeqData = "Error! Sequence Setup Error.No Seq Data Allocated";
constexpr const char* kSeqLockFailed = "Error! Sequence Setup Error.Seq Data failed to Lock!";

void SetReturnMessage(PF_OutData* out_data, const char* text) {
    std::snprintf(out_data->return_msg, sizeof(out_data->return_msg), "%s", text);
}

// A fresh id with its first three fields (u32, u16, u16) stored big-endian.
void FreshInstanceId(HostServices& host, uint8_t id[16]) {
    uint8_t guid[16];
    host.newGuid(guid);
    const uint8_t order[8] = {3, 2, 1, 0, 5, 4, 7, 6};
    for (int i = 0; i < 8; ++i) id[i] = guid[order[i]];
    std::memcpy(id + 8, guid + 8, 8);
}

void InitRecord(HostServices& host, SequenceRecord& record) {
    record = SequenceRecord{};
    FreshInstanceId(host, record.instanceId);
    host.diagnostic(InstanceIdText(record.instanceId));
}

// Allocates a record of 32 + text bytes with a fresh id and the given flags and text.
PF_Err MakeRecord(HostServices& host, PF_OutData* out_data, uint16_t flags,
                  const std::string* text) {
    const uint64_t textBytes = text ? text->size() + 1 : 0;
    const PF_Handle handle = host.newHandle(sizeof(SequenceRecord) + textBytes);
    if (!handle) {
        SetReturnMessage(out_data, kNoSeqData);
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    auto* bytes = static_cast<uint8_t*>(host.lockHandle(handle));
    if (!bytes) {
        SetReturnMessage(out_data, kSeqLockFailed);
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    SequenceRecord record;
    InitRecord(host, record);
    record.flags = flags;
    record.textLength = textBytes;
    std::memcpy(bytes, &record, sizeof record);
    if (text) std::memcpy(bytes + sizeof record, text->c_str(), textBytes);
    host.unlockHandle(handle);
    out_data->sequence_data = handle;
    return PF_Err_NONE;
}

// The NUL-terminated string at `offset`, bounded by the block's size.
std::string StringAt(const uint8_t* bytes, uint64_t size, uint64_t offset) {
    std::string s;
    for (uint64_t i = offset; i < size && bytes[i]; ++i) s.push_back(static_cast<char>(bytes[i]));
    return s;
}

}  // namespace

std::string InstanceIdText(const uint8_t id[16]) {
    char text[37];
    std::snprintf(text, sizeof text,
                  "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", id[0],
                  id[1], id[2], id[3], id[4], id[5], id[6], id[7], id[8], id[9], id[10], id[11],
                  id[12], id[13], id[14], id[15]);
    return text;
}

PF_Err SetupSequence(PF_InData* in_data, PF_OutData* out_data) {
    SuiteCache suites(in_data);
    if (in_data->sequence_data) suites->disposeHandle(in_data->sequence_data);
    return MakeRecord(suites.host(), out_data, 0, nullptr);
}

PF_Err ResetupSequence(PF_InData* in_data, PF_OutData* out_data) {
    if (!in_data->sequence_data) return SetupSequence(in_data, out_data);
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    const PF_Handle old = in_data->sequence_data;
    const uint64_t size = host.handleSize(old);
    auto* bytes = static_cast<const uint8_t*>(host.lockHandle(old));
    if (!bytes) {
        SetReturnMessage(out_data, kSeqLockFailed);
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    PF_Err err = PF_Err_NONE;
    uint32_t magic = 0, version = 0;
    if (size >= 8) {
        std::memcpy(&magic, bytes, 4);
        std::memcpy(&version, bytes + 4, 4);
    }
    if (size == kSeqV1HandleSize) {
        // First generation: one skipped byte, then a string.
        host.diagnostic("Converting V1 Sequence Data");
        const std::string text = StringAt(bytes, size, 1);
        err = MakeRecord(host, out_data, kSeqFlagFromV1, &text);
    } else if (size > 8 && magic == kSeqV2Magic && version < kSeqV2VersionLimit) {
        host.diagnostic("Converting V2 Sequence Data");
        const uint8_t flagByte = bytes[8];
        std::string text = StringAt(bytes, size, 32);
        if (flagByte & 4) text += "\n|SEQ|";
        if (flagByte & 2) text += "\n|REL|";
        if (flagByte & 8) text += "\n|ALP|";
        const uint16_t flags = kSeqFlagFromV2 | ((flagByte & 0x80) ? kSeqFlagV2HighBit : 0);
        err = MakeRecord(host, out_data, flags, &text);
    } else {
        // Current format: keep the header, stamp this version, and give copies their own id.
        const PF_Handle handle = host.newHandle(sizeof(SequenceRecord));
        auto* fresh = handle ? static_cast<uint8_t*>(host.lockHandle(handle)) : nullptr;
        if (!handle) {
            SetReturnMessage(out_data, kNoSeqData);
            err = PF_Err_INTERNAL_STRUCT_DAMAGED;
        } else if (!fresh) {
            SetReturnMessage(out_data, kSeqLockFailed);
            err = PF_Err_INTERNAL_STRUCT_DAMAGED;
        } else {
            SequenceRecord record;
            std::memcpy(&record, bytes, std::min<uint64_t>(size, sizeof record));
            record.version = kEffectVersion;
            if (!(in_data->in_flags & PF_InFlag_PROJECT_IS_RENDER_ONLY)) {
                FreshInstanceId(host, record.instanceId);
                if (IdleSuite* idle = host.acquireIdleSuite()) {
                    idle->instanceIdChanged();
                    ReleaseIdleSuite(host, idle);
                }
            }
            std::memcpy(fresh, &record, sizeof record);
            host.unlockHandle(handle);
            out_data->sequence_data = handle;
        }
    }
    host.unlockHandle(old);
    return err;
}

PF_Err FlattenSequence(PF_InData* in_data, PF_OutData* out_data) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    const PF_Handle old = in_data->sequence_data;
    auto* bytes = static_cast<const uint8_t*>(host.lockHandle(old));
    if (!bytes) return PF_Err_INTERNAL_STRUCT_DAMAGED;
    const uint64_t size = host.handleSize(old);
    const PF_Handle copy = host.newHandle(size);
    auto* target = copy ? static_cast<uint8_t*>(host.lockHandle(copy)) : nullptr;
    if (!target) {
        host.unlockHandle(old);
        if (copy) host.disposeHandle(copy);
        return PF_Err_INTERNAL_STRUCT_DAMAGED;  // the old data stays in place
    }
    std::memset(target, 0, size);
    std::memcpy(target, bytes, size);
    if (size >= sizeof(SequenceRecord)) {
        SequenceRecord record;
        std::memcpy(&record, target, sizeof record);
        record.flags &= ~kSeqFlagVisibilityCurrent;
        std::memcpy(target, &record, sizeof record);
    }
    host.unlockHandle(old);
    out_data->sequence_data = copy;
    host.unlockHandle(copy);
    return PF_Err_NONE;
}

PF_Err SetdownSequence(PF_InData* in_data, PF_OutData* out_data) {
    SuiteCache suites(in_data);
    if (in_data->sequence_data) {
        suites->lockHandle(in_data->sequence_data);
        suites->unlockHandle(in_data->sequence_data);
        suites->disposeHandle(in_data->sequence_data);
    }
    in_data->sequence_data = 0;
    out_data->sequence_data = 0;
    return PF_Err_NONE;
}

bool ReadInstanceId(PF_InData* in_data, std::array<uint8_t, 16>& out) {
    SuiteCache suites(in_data);
    if (!in_data->sequence_data) return false;
    auto* record = static_cast<const SequenceRecord*>(suites->lockHandle(in_data->sequence_data));
    if (!record) return false;
    std::memcpy(out.data(), record->instanceId, 16);
    suites->unlockHandle(in_data->sequence_data);
    return true;
}

bool MarkOnce(PF_InData* in_data, uint16_t flag) {
    SuiteCache suites(in_data);
    auto* record = static_cast<SequenceRecord*>(suites->lockHandle(in_data->sequence_data));
    if (!record) return false;
    const bool first = !(record->flags & flag);
    record->flags |= flag;
    suites->unlockHandle(in_data->sequence_data);
    return first;
}

PF_Err MigrateLegacyText(PF_InData* in_data, int32_t paramIndex, const std::string& text) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    auto* record = static_cast<SequenceRecord*>(host.lockHandle(in_data->sequence_data));
    if (!record) return PF_Err_INTERNAL_STRUCT_DAMAGED;
    PF_Err err = PF_Err_NONE;
    if (record->version < 0x100601 && !(record->flags & kSeqFlagTextMigrated)) {
        err = WriteTextParam(host, in_data->effect_ref, paramIndex, text);
        record->flags |= kSeqFlagTextMigrated;
    }
    host.unlockHandle(in_data->sequence_data);
    return err;
}

std::string ReadRecordText(PF_InData* in_data) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    if (!in_data->sequence_data) return {};
    const uint64_t size = host.handleSize(in_data->sequence_data);
    auto* bytes = static_cast<const uint8_t*>(host.lockHandle(in_data->sequence_data));
    if (!bytes) return {};
    std::string text;
    if (size >= sizeof(SequenceRecord)) {
        SequenceRecord record;
        std::memcpy(&record, bytes, sizeof record);
        const uint64_t n = std::min<uint64_t>(record.textLength, size - sizeof record);
        text.assign(reinterpret_cast<const char*>(bytes + sizeof record), size_t(n));
        // Stored zero-terminated: the terminator is not part of the text.
        if (const size_t end = text.find('\0'); end != std::string::npos) text.resize(end);
    }
    host.unlockHandle(in_data->sequence_data);
    return text;
}

PF_Err WriteRecordText(PF_InData* in_data, PF_OutData* out_data, const std::string& text) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    SequenceRecord record;
    if (in_data->sequence_data) {
        const uint64_t size = host.handleSize(in_data->sequence_data);
        auto* bytes = static_cast<const uint8_t*>(host.lockHandle(in_data->sequence_data));
        if (!bytes) return PF_Err_OUT_OF_MEMORY;
        std::memcpy(&record, bytes, std::min<uint64_t>(size, sizeof record));
        host.unlockHandle(in_data->sequence_data);
    }
    record.textLength = text.size() + 1;
    const PF_Handle handle = host.newHandle(sizeof record + text.size() + 1);
    auto* bytes = static_cast<uint8_t*>(host.lockHandle(handle));
    if (!bytes) return PF_Err_OUT_OF_MEMORY;
    std::memcpy(bytes, &record, sizeof record);
    std::memcpy(bytes + sizeof record, text.data(), text.size());
    bytes[sizeof record + text.size()] = 0;
    host.unlockHandle(handle);
    // The host owns the old record and lets it go when it takes the new one.
    in_data->sequence_data = handle;
    out_data->sequence_data = handle;
    return PF_Err_NONE;
}

}  // namespace tv
