// Audio files for audio layers: read through libsndfile (WAV, FLAC, OGG and the rest it knows),
// mixed to mono and resampled for the effects, once per file and rate (again when the file is
// rewritten).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tv::standalone {

// Sample rates an audio file may have: below or above these no real recording lies, and a rate
// of 1 Hz would make resampling multiply the samples thousands of times.
inline constexpr int32_t kMinAudioRate = 1000;
inline constexpr int32_t kMaxAudioRate = 768000;

// What an audio file's header says: its length in sample frames, channels and rate.
struct AudioHeader {
    int64_t frames = 0;
    int32_t channels = 0;
    int32_t rate = 0;
};

// Empty when libsndfile can read the file and its rate is in range (filling `header` when
// given); otherwise why not.
std::string CheckAudioFile(const std::string& path, AudioHeader* header = nullptr);

// The file's samples mixed to mono at `rate` Hz (linear interpolation between the file's
// samples), kept for the process while the file's size and write time hold; null with `error`
// set when it cannot be read.
std::shared_ptr<const std::vector<float>> MonoSamples(const std::string& path, int32_t rate,
                                                      std::string& error);

// Mono samples at the file's own rate, resampled to `rate` by linear interpolation.
std::vector<float> Resample(const std::vector<float>& in, double fromRate, double toRate);

}  // namespace tv::standalone
