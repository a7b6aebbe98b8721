// Writing finished frames: 8 bits to PNG with straight alpha, 32-bit float to EXR premultiplied.
// A file is written whole (standalone/WholeFile.h: under a temporary name, then renamed), so a
// failed or interrupted render never leaves a half-written frame.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "standalone/UnsetAllocator.h"
#include "standalone/WholeFile.h"

namespace tv::standalone {

// A name from a document made safe as one file name: separators, control characters, ".." and a
// dot at its start become "_", so it can never name or leave a folder; an empty name becomes "_".
std::string SafeFileName(const std::string& name);

// A comp frame: premultiplied R, G, B, A floats, top row first.
struct FloatImage {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<float, UnsetAllocator<float>> rgba;  // resize leaves new values unset
    float* pixel(int32_t x, int32_t y) {
        return &rgba[(size_t(y) * size_t(width) + size_t(x)) * 4];
    }
    const float* pixel(int32_t x, int32_t y) const {
        return &rgba[(size_t(y) * size_t(width) + size_t(x)) * 4];
    }
};

// Replaces a run of '#' in the pattern by the zero-padded frame number; a pattern without '#'
// gets "_####" before its extension when several frames are written.
std::string FramePath(const std::string& pattern, int64_t frame, bool severalFrames);

// Straight 8-bit RGBA, rounded, from a premultiplied float image.
std::vector<uint8_t> ToStraight8(const FloatImage& image);

// Writes PNG (8-bit) or EXR (32-bit float) by the path's extension; throws std::runtime_error
// with the reason on failure, leaving no file behind.
void WriteImage(const std::string& path, const FloatImage& image, int32_t bitDepth);

}  // namespace tv::standalone
