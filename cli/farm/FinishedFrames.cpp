#include "cli/farm/FinishedFrames.h"

#include <filesystem>

namespace tv::cli {

bool FrameIsFinished(const std::string& path) {
    std::error_code ec;
    const auto status = std::filesystem::status(path, ec);
    if (ec || !std::filesystem::is_regular_file(status)) return false;
    const auto size = std::filesystem::file_size(path, ec);
    return !ec && size > 0;
}

std::string FallbackMarkPath(const std::string& framePath) {
    return framePath + ".fallback";
}

bool DrawnByFallback(const std::string& framePath) {
    std::error_code ec;
    return std::filesystem::exists(FallbackMarkPath(framePath), ec);
}

}  // namespace tv::cli
