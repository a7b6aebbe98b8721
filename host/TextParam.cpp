#include "host/TextParam.h"

#include <algorithm>
#include <cstring>

namespace tv {

std::string ReadTextParam(HostServices& host, PF_Handle handle) {
    if (!handle) return {};
    const uint64_t size = host.handleSize(handle);
    const auto* bytes = static_cast<const uint8_t*>(host.lockHandle(handle));
    std::string text;
    if (bytes && size >= 4) {
        uint32_t n;
        std::memcpy(&n, bytes, 4);
        text.assign(reinterpret_cast<const char*>(bytes + 4), std::min<uint64_t>(n, size - 4));
    }
    if (bytes) host.unlockHandle(handle);
    return text;
}

}  // namespace tv
