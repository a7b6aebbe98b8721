// The embedded host's memory handles: blocks of bytes by number, locked and unlocked.
#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

PF_Handle EmbeddedHost::newHandle(uint64_t size) {
    std::lock_guard lock(handlesMutex_);
    const PF_Handle h = nextHandle_++;
    handles_[h].bytes.assign(size, 0);
    return h;
}

void* EmbeddedHost::lockHandle(PF_Handle h) {
    std::lock_guard lock(handlesMutex_);
    const auto it = handles_.find(h);
    if (it == handles_.end()) return nullptr;
    ++it->second.locks;
    // An empty block still locks to a valid address.
    return it->second.bytes.empty() ? static_cast<void*>(&it->second.locks)
                                    : it->second.bytes.data();
}

void EmbeddedHost::unlockHandle(PF_Handle h) {
    std::lock_guard lock(handlesMutex_);
    const auto it = handles_.find(h);
    if (it != handles_.end() && it->second.locks > 0) --it->second.locks;
}

void EmbeddedHost::disposeHandle(PF_Handle h) {
    std::lock_guard lock(handlesMutex_);
    handles_.erase(h);
}

uint64_t EmbeddedHost::handleSize(PF_Handle h) {
    std::lock_guard lock(handlesMutex_);
    const auto it = handles_.find(h);
    return it == handles_.end() ? 0 : it->second.bytes.size();
}

PF_Handle EmbeddedHost::handleFromBytes(const std::vector<uint8_t>& bytes) {
    std::lock_guard lock(handlesMutex_);
    const PF_Handle h = nextHandle_++;
    handles_[h].bytes = bytes;
    return h;
}

std::vector<uint8_t> EmbeddedHost::handleBytes(PF_Handle h) {
    std::lock_guard lock(handlesMutex_);
    const auto it = handles_.find(h);
    return it == handles_.end() ? std::vector<uint8_t>{} : it->second.bytes;
}

size_t EmbeddedHost::liveHandleCount() const {
    std::lock_guard lock(handlesMutex_);
    return handles_.size();
}

}  // namespace tv::standalone
