// Audio files for audio layers: read through libsndfile (WAV, FLAC, OGG and the rest it knows),
// mixed to mono and resampled for the effects, once per file and rate (again when the file is
// rewritten).
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace tv::standalone {

// Empty when libsndfile can read the file; otherwise why not.
std::string CheckAudioFile(const std::string& path);

// The file's samples mixed to mono at `rate` Hz (linear interpolation between the file's
// samples), kept for the process while the file's size and write time hold; null with `error`
// set when it cannot be read.
std::shared_ptr<const std::vector<float>> MonoSamples(const std::string& path, int32_t rate,
                                                      std::string& error);

// Mono samples at the file's own rate, resampled to `rate` by linear interpolation.
std::vector<float> Resample(const std::vector<float>& in, double fromRate, double toRate);

}  // namespace tv::standalone
