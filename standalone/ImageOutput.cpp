#include "standalone/ImageOutput.h"

#include <OpenImageIO/imageio.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace tv::standalone {

std::string FramePath(const std::string& pattern, int64_t frame, bool severalFrames) {
    const auto first = pattern.find('#');
    if (first == std::string::npos) {
        if (!severalFrames) return pattern;
        const auto dot = pattern.find_last_of('.');
        const auto slash = pattern.find_last_of('/');
        const bool hasExt = dot != std::string::npos && (slash == std::string::npos || dot > slash);
        return FramePath(
            hasExt ? pattern.substr(0, dot) + "_####" + pattern.substr(dot) : pattern + "_####",
            frame, true);
    }
    auto last = first;
    while (last + 1 < pattern.size() && pattern[last + 1] == '#') ++last;
    const int width = int(last - first + 1);
    char digits[32];
    std::snprintf(digits, sizeof digits, "%0*lld", width, static_cast<long long>(frame));
    return pattern.substr(0, first) + digits + pattern.substr(last + 1);
}

std::vector<uint8_t> ToStraight8(const FloatImage& image) {
    std::vector<uint8_t> out(size_t(image.width) * size_t(image.height) * 4);
    auto to8 = [](float v) {
        return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f));
    };
    for (size_t i = 0; i < out.size() / 4; ++i) {
        const float* p = &image.rgba[i * 4];
        const float a = std::clamp(p[3], 0.0f, 1.0f);
        const float inv = a > 0 ? 1.0f / a : 0.0f;
        out[i * 4 + 0] = to8(p[0] * inv);
        out[i * 4 + 1] = to8(p[1] * inv);
        out[i * 4 + 2] = to8(p[2] * inv);
        out[i * 4 + 3] = to8(a);
    }
    return out;
}

std::string SafeFileName(const std::string& name) {
    std::string out = name;
    for (char& c : out)
        if (c == '/' || c == '\\' || static_cast<unsigned char>(c) < 32 || c == 127 || c == ':')
            c = '_';
    // No ".." anywhere, and no dot first: "." and ".." (and hidden names) are not names here.
    for (size_t at = out.find(".."); at != std::string::npos; at = out.find("..", at))
        out.replace(at, 2, "__");
    if (!out.empty() && out[0] == '.') out[0] = '_';
    return out.empty() ? "_" : out;
}

std::string TemporaryFrameName(const std::string& fileName, long pid, int serial) {
    std::string name(".");
    name.append(fileName)
        .append(".tmp")
        .append(std::to_string(pid))
        .append("_")
        .append(std::to_string(serial));
    return name;
}

size_t RemoveStaleTemporaries(const std::string& framePath) {
    namespace fs = std::filesystem;
    const fs::path target(framePath);
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    // Built by appends: GCC 12 warns falsely about "." + name + ".tmp" (-Wrestrict).
    std::string prefix(".");
    prefix.append(target.filename().string()).append(".tmp");
    std::error_code ec;
    fs::directory_iterator it(folder, ec), end;
    size_t removed = 0;
    for (; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (name.rfind(prefix, 0) != 0) continue;
        // "<pid>_<n>" after the prefix, digits only; anything else is not ours.
        const std::string rest = name.substr(prefix.size());
        const size_t bar = rest.find('_');
        if (bar == 0 || bar == std::string::npos || bar > 9 || bar + 1 == rest.size() ||
            rest.find_first_not_of("0123456789_") != std::string::npos ||
            rest.find('_', bar + 1) != std::string::npos)
            continue;
        const long pid = std::stol(rest.substr(0, bar));
        // A process of that number still running may be writing it (on this machine).
        if (pid == long(getpid()) || (kill(pid_t(pid), 0) == 0 || errno == EPERM)) continue;
        std::error_code rmError;
        if (fs::remove(it->path(), rmError)) ++removed;
    }
    return removed;
}

void WriteImage(const std::string& path, const FloatImage& image, int32_t bitDepth) {
    namespace fs = std::filesystem;
    const fs::path target(path);
    if (target.has_parent_path()) {
        std::error_code ec;
        fs::create_directories(target.parent_path(), ec);
        if (ec)
            throw std::runtime_error("cannot create the folder " + target.parent_path().string() +
                                     ": " + ec.message());
    }
    static std::atomic<int> counter{0};
    // A hidden name beside the target, unique per process and write.
    const fs::path temp =
        target.parent_path() / TemporaryFrameName(target.filename().string(), getpid(), counter++);
    auto out = OIIO::ImageOutput::create(path);
    if (!out)
        throw std::runtime_error("cannot write " + path + ": no image format for its extension (" +
                                 OIIO::geterror() + "); use .png or .exr");
    const bool asFloat = bitDepth == 32;
    OIIO::ImageSpec spec(image.width, image.height, 4,
                         asFloat ? OIIO::TypeDesc::FLOAT : OIIO::TypeDesc::UINT8);
    spec.attribute("oiio:UnassociatedAlpha", asFloat ? 0 : 1);
    bool ok = out->open(temp.string(), spec);
    if (ok) {
        if (asFloat) {
            ok = out->write_image(OIIO::TypeDesc::FLOAT, image.rgba.data());
        } else {
            const std::vector<uint8_t> bytes = ToStraight8(image);
            ok = out->write_image(OIIO::TypeDesc::UINT8, bytes.data());
        }
        ok = out->close() && ok;
    }
    if (!ok) {
        const std::string reason = out->geterror();
        std::error_code ec;
        fs::remove(temp, ec);
        throw std::runtime_error("cannot write " + path + ": " + reason);
    }
    std::error_code ec;
    fs::rename(temp, target, ec);
    if (ec) {
        fs::remove(temp, ec);
        throw std::runtime_error("cannot move the finished frame to " + path + ": " + ec.message());
    }
}

}  // namespace tv::standalone
