// Writing finished frames in the format their name asks (standalone/OutputFormat.h): integer
// samples with straight alpha, float samples premultiplied, JPEG flattened on the comp's colour.
// A file is written whole (standalone/WholeFile.h: under a temporary name, then renamed), so a
// failed or interrupted render never leaves a half-written frame.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "standalone/FramePattern.h"
#include "standalone/UnsetAllocator.h"
#include "standalone/OutputFormat.h"
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

// Straight 8-bit RGBA, rounded, from a premultiplied float image.
std::vector<uint8_t> ToStraight8(const FloatImage& image);
// Straight 16-bit RGBA, rounded, from a premultiplied float image.
std::vector<uint16_t> ToStraight16(const FloatImage& image);
// Opaque 8-bit RGB: the premultiplied image laid over `matte`.
std::vector<uint8_t> Flattened8(const FloatImage& image, const float matte[3]);

// The colour spaces of a frame: the comp's working space its pixels are in, and the space the
// file is to hold (names or roles; empty: "sRGB" working, and for the file scene-linear in float
// formats, the working space in the others). The file holds its samples converted and is tagged
// with the space it holds.
struct FrameColor {
    std::string working;
    std::string output;
};

// "sRGB": the working space of a comp that names none, the host's 8-bit space.
inline const char* const kDefaultWorkingSpace = "sRGB";

// The colour space a file of `format` holds under `color`: the resolved output space.
std::string FileColorSpace(const OutputFormat& format, const FrameColor& color);

// Writes the frame in the format the path's extension names at `bitDepth` bits per channel (0:
// the format's own, see ChooseOutputFormat); a format without alpha gets the frame laid over
// `matte` (black when null). Throws OutputFormatError for a name or depth no format writes and
// std::runtime_error with the reason when writing fails, leaving no file behind.
void WriteImage(const std::string& path, const FloatImage& image, int32_t bitDepth,
                const float* matte = nullptr, const FrameColor& color = {});

// The same in a format already chosen (a movie's frames, whose names are not the movie's).
void WriteImage(const std::string& path, const FloatImage& image, const OutputFormat& format,
                const float* matte = nullptr, const FrameColor& color = {});

}  // namespace tv::standalone
