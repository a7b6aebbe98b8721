#include "standalone/DocumentText.h"

#include <cstring>

namespace tv::standalone {

namespace {
constexpr uint32_t kMainTextTag = 0x41537472;      // "AStr"
constexpr uint32_t kEffectorTextTag = 0x41535072;  // the effectors' "Light Name Begins with"
}  // namespace

bool IsTextParam(const ParamSpec& spec) {
    return spec.type == PF_Param_ARBITRARY_DATA &&
           (spec.arbRefcon == kMainTextTag || spec.arbRefcon == kEffectorTextTag);
}

std::vector<uint8_t> MakeTextRecord(const std::string& text) {
    const auto n = uint32_t(text.size());
    std::vector<uint8_t> bytes(4 + text.size());
    std::memcpy(bytes.data(), &n, 4);
    std::memcpy(bytes.data() + 4, text.data(), text.size());
    return bytes;
}

std::optional<std::string> ReadTextRecord(const std::vector<uint8_t>& bytes) {
    if (bytes.size() < 4) return std::nullopt;
    uint32_t n;
    std::memcpy(&n, bytes.data(), 4);
    if (n > bytes.size() - 4) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(bytes.data() + 4), n);
}

}  // namespace tv::standalone
