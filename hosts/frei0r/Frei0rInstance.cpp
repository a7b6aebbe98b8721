#include "hosts/frei0r/Frei0rInstance.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <system_error>
#include <vector>

#include "hosts/frei0r/HostTime.h"
#include "standalone/CompFrames.h"
#include "standalone/Document.h"
#include "standalone/ImageOutput.h"

namespace tv::frei0r {

namespace {

// Writes a line to the host's log once per instance: a host calls for every frame, and one
// broken document should not fill the log.
void LogOnce(Frei0rInstance& instance, const std::string& line) {
    if (!instance.logged.insert(line).second) return;
    std::fprintf(stderr, "[tavrin frei0r] %s\n", line.c_str());
    std::fflush(stderr);
}

std::filesystem::file_time_type FileStamp(const std::string& path) {
    std::error_code error;
    const auto stamp = std::filesystem::last_write_time(path, error);
    return error ? std::filesystem::file_time_type{} : stamp;
}

// Loads the document into a fresh host; on failure keeps no host and says why.
void Load(Frei0rInstance& instance) {
    instance.loadTried = true;
    instance.loadedSettings = instance.settings;
    instance.loadedStamp = FileStamp(instance.settings.document);
    instance.renderer.reset();
    instance.host.reset();
    instance.comp = nullptr;
    instance.failure.clear();
    const Frei0rSettings& s = instance.settings;
    try {
        if (s.document.empty())
            throw std::runtime_error(
                "no document: set the first parameter to a composition document's path");
        auto host = std::make_unique<standalone::EmbeddedHost>();
        standalone::LoadDocumentFile(s.document, *host);
        standalone::Comp& comp = standalone::PickComp(*host, s.comp);
        auto renderer = std::make_unique<standalone::CompRenderer>(*host);
        if (!s.layer.empty()) renderer->setSoloLayer(&standalone::PickLayer(comp, s.layer));
        host->setDownsample(standalone::FitDownsample(comp, instance.width, instance.height));
        instance.comp = &comp;
        instance.host = std::move(host);
        instance.renderer = std::move(renderer);
    } catch (const std::exception& e) {
        instance.failure = e.what();
    } catch (const HostErrorCode& e) {
        instance.failure = "the host failed with code " + std::to_string(e.code);
    }
}

// Loads again when the settings or the document's file changed since the last load.
void EnsureLoaded(Frei0rInstance& instance) {
    if (instance.loadTried && instance.loadedSettings == instance.settings &&
        instance.loadedStamp == FileStamp(instance.settings.document))
        return;
    Load(instance);
}

void PassThrough(const Frei0rInstance& instance, const uint32_t* in, uint32_t* out) {
    const size_t count = size_t(instance.width) * size_t(instance.height);
    if (in)
        std::memcpy(out, in, count * 4);
    else
        std::memset(out, 0, count * 4);
}

// Straight 8-bit RGBA `top` "over" straight 8-bit RGBA `under`, rounded.
void Over(const uint8_t* top, const uint8_t* under, uint8_t* out) {
    const float ta = top[3] / 255.0f, ua = under[3] / 255.0f;
    const float a = ta + ua * (1 - ta);
    for (int c = 0; c < 3; ++c) {
        const float premultiplied = top[c] / 255.0f * ta + under[c] / 255.0f * ua * (1 - ta);
        const float v = a > 0 ? premultiplied / a : 0.0f;
        out[c] = uint8_t(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f));
    }
    out[3] = uint8_t(std::lround(std::clamp(a, 0.0f, 1.0f) * 255.0f));
}

// Lays the frame (straight 8-bit, as `tavrin render` writes a PNG) centred on the host's frame,
// over the input where there is one.
void Place(const Frei0rInstance& instance, const standalone::FloatImage& frame, const uint32_t* in,
           uint32_t* out) {
    PassThrough(instance, in, out);
    const std::vector<uint8_t> straight = standalone::ToStraight8(frame);
    const int32_t left = (instance.width - frame.width) / 2;
    const int32_t top = (instance.height - frame.height) / 2;
    const uint8_t transparent[4] = {0, 0, 0, 0};
    for (int32_t y = std::max(0, -top); y < frame.height && y + top < instance.height; ++y)
        for (int32_t x = std::max(0, -left); x < frame.width && x + left < instance.width; ++x) {
            const size_t at = size_t(y + top) * size_t(instance.width) + size_t(x + left);
            const uint8_t* pixel = &straight[(size_t(y) * size_t(frame.width) + size_t(x)) * 4];
            const uint8_t* under = in ? reinterpret_cast<const uint8_t*>(in + at)
                                      : static_cast<const uint8_t*>(transparent);
            Over(pixel, under, reinterpret_cast<uint8_t*>(out + at));
        }
}

}  // namespace

void UpdateFrame(Frei0rInstance& instance, double seconds, const uint32_t* in, uint32_t* out) {
    try {
        EnsureLoaded(instance);
        if (!instance.host) {
            LogOnce(instance, instance.failure + "; frames pass through unchanged");
            PassThrough(instance, in, out);
            return;
        }
        standalone::Comp& comp = *instance.comp;
        std::vector<std::string> messages;
        const double fps = double(comp.fpsNum) / std::max(comp.fpsDen, 1);
        const A_Time time = standalone::CompTimeAt(
            comp, SnapToFrame(seconds + instance.loadedSettings.timeOffset, fps));
        // 8-bit worlds, as `tavrin render` draws an 8-bit PNG.
        const standalone::FloatImage frame =
            instance.renderer->renderAtTime(comp, time, 8, messages);
        for (const std::string& m : messages) LogOnce(instance, m);
        Place(instance, frame, in, out);
    } catch (const std::exception& e) {
        LogOnce(instance, std::string(e.what()) + "; the frame passes through unchanged");
        PassThrough(instance, in, out);
    } catch (const HostErrorCode& e) {
        LogOnce(instance, "the host failed with code " + std::to_string(e.code) +
                              "; the frame passes through unchanged");
        PassThrough(instance, in, out);
    } catch (...) {
        LogOnce(instance, "an unknown failure; the frame passes through unchanged");
        PassThrough(instance, in, out);
    }
}

}  // namespace tv::frei0r
