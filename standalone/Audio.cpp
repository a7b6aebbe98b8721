#include "standalone/Audio.h"

#include <sndfile.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <mutex>
#include <utility>

namespace tv::standalone {

std::string CheckAudioFile(const std::string& path, AudioHeader* header) {
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (!f) {
        const std::string why = sf_strerror(nullptr);
        // libsndfile's words for a header whose rate or channel count is 0.
        if (why.find("SF_INFO") != std::string::npos)
            return "its header gives no sample rate or no channels";
        return why;
    }
    sf_close(f);
    if (info.channels < 1) return "the file has no audio channels";
    if (info.samplerate < kMinAudioRate || info.samplerate > kMaxAudioRate)
        return "its sample rate is " + std::to_string(info.samplerate) + " Hz; rates of " +
               std::to_string(kMinAudioRate) + " to " + std::to_string(kMaxAudioRate) +
               " Hz are read";
    if (header) *header = AudioHeader{int64_t(info.frames), info.channels, info.samplerate};
    return {};
}

std::vector<float> Resample(const std::vector<float>& in, double fromRate, double toRate) {
    if (in.empty() || fromRate <= 0 || toRate <= 0) return {};
    const auto n = size_t(std::floor(double(in.size()) * toRate / fromRate));
    std::vector<float> out(n);
    const double step = fromRate / toRate;
    for (size_t i = 0; i < n; ++i) {
        const double x = double(i) * step;
        const auto j = size_t(x);
        const double f = x - double(j);
        const float a = in[std::min(j, in.size() - 1)];
        const float b = in[std::min(j + 1, in.size() - 1)];
        out[i] = float(a + (b - a) * f);
    }
    return out;
}

std::shared_ptr<const std::vector<float>> MonoSamples(const std::string& path, int32_t rate,
                                                      std::string& error) {
    // A file rewritten in place (another size or write time) is read again: the layer's hash
    // follows the same two, so the frame it changes renders anew with the new samples.
    struct Entry {
        uint64_t size = 0;
        int64_t stamp = 0;
        std::shared_ptr<const std::vector<float>> samples;
    };
    static std::mutex mutex;
    static std::map<std::pair<std::string, int32_t>, Entry> cache;
    std::lock_guard lock(mutex);
    std::error_code ec;
    const uint64_t size = std::filesystem::file_size(path, ec);
    const int64_t stamp =
        ec ? 0 : std::filesystem::last_write_time(path, ec).time_since_epoch().count();
    const auto key = std::make_pair(path, rate);
    if (const auto it = cache.find(key);
        it != cache.end() && it->second.size == size && it->second.stamp == stamp)
        return it->second.samples;
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (!f) {
        error = std::string("cannot read audio file ") + path + ": " + sf_strerror(nullptr);
        return nullptr;
    }
    const auto channels = size_t(std::max(info.channels, 1));
    std::vector<float> interleaved(size_t(info.frames) * channels);
    const sf_count_t got = sf_readf_float(f, interleaved.data(), info.frames);
    sf_close(f);
    std::vector<float> mono(size_t(std::max<sf_count_t>(got, 0)));
    for (size_t i = 0; i < mono.size(); ++i) {
        double sum = 0;
        for (size_t c = 0; c < channels; ++c) sum += interleaved[i * channels + c];
        mono[i] = float(sum / double(channels));
    }
    auto samples = std::make_shared<const std::vector<float>>(
        info.samplerate == rate ? std::move(mono) : Resample(mono, info.samplerate, rate));
    cache[key] = Entry{size, stamp, samples};
    return samples;
}

}  // namespace tv::standalone
