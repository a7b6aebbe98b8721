#include "standalone/DocumentText.h"

#include <cstring>
#include <utility>

#include "params/DistanceCurve.h"

namespace tv::standalone {

namespace {
constexpr uint32_t kMainTextTag = 0x41537472;      // "AStr"
constexpr uint32_t kEffectorTextTag = 0x41535072;  // the effectors' "Light Name Begins with"
constexpr uint32_t kCurveTag = 'rGvT';             // distance curves
}  // namespace

bool IsTextParam(const ParamSpec& spec) {
    return spec.type == PF_Param_ARBITRARY_DATA &&
           (spec.arbRefcon == kMainTextTag || spec.arbRefcon == kEffectorTextTag);
}

bool IsCurveParam(const ParamSpec& spec) {
    return spec.type == PF_Param_ARBITRARY_DATA && spec.arbRefcon == kCurveTag && spec.fillCurve;
}

bool IsGradientParam(const ParamSpec& spec) {
    return spec.type == PF_Param_ARBITRARY_DATA && spec.arbRefcon == kCurveTag && !spec.fillCurve;
}

std::optional<std::string> CurveName(const std::vector<uint8_t>& bytes) {
    const std::pair<const char*, DistanceCurve> named[] = {
        {"falling", DistanceCurve::DefaultOpacity()}, {"flat", DistanceCurve::DefaultThickness()}};
    for (const auto& [name, curve] : named)
        if (bytes.size() == sizeof curve && std::memcmp(bytes.data(), &curve, sizeof curve) == 0)
            return std::string(name);
    return std::nullopt;
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
