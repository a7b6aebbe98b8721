// Images through the image module (imageio/OiioModule.cpp, OpenImageIO), loaded on first use:
// reading any image, writing any format but 8-bit PNG. Every failure is a std::runtime_error
// whose text names the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tv::standalone {

template <typename T>
struct ImagePixels {
    int32_t width = 0, height = 0, channels = 0;
    std::vector<T> values;  // row after row, `channels` values a pixel
    bool complete = true;   // false when the file opened but its pixels did not all read
};

// The size and channels an image's header gives, read without decoding its pixels; throws
// "cannot read the image PATH: ..." when the file is not an image the module knows.
struct ImageHeader {
    int32_t width = 0, height = 0, channels = 0;
};
ImageHeader ReadImageHeader(const std::string& path);

// The largest side of an image that is read, as of a comp.
inline constexpr int32_t kMaxImageSide = 30000;

// Throws when the header gives a size past kMaxImageSide (or none), naming the file and the
// sizes that are read. ReadImageFloat and ReadImageBytes check this before decoding.
void CheckImageSize(const std::string& path, const ImageHeader& header);

// Channels [0, channelEnd) of an image (all of them when channelEnd < 1), as floats (bytes read
// as value / 255) or as bytes. A file that does not open throws "cannot read the image PATH: ...".
ImagePixels<float> ReadImageFloat(const std::string& path, int32_t channelEnd = 0);
ImagePixels<uint8_t> ReadImageBytes(const std::string& path, int32_t channelEnd = 0);

// Writes RGBA pixels (floats, or bytes) to `temp` in the format `path`'s extension names.
// unassociatedAlpha: 1 bytes of straight alpha, 0 associated, -1 the format's default.
void WriteImageThroughModule(const std::string& path, const std::string& temp, int32_t width,
                             int32_t height, bool asFloat, int32_t unassociatedAlpha,
                             const void* pixels);

// Sample types of a file and of the pixels handed to the writer.
enum class Sample : int32_t { UInt8, UInt16, Half, Float };

// How pixels are laid out and how the file is to hold them.
struct PixelsToWrite {
    int32_t width = 0, height = 0;
    int32_t channels = 4;  // 3 (RGB) or 4 (RGBA)
    Sample file = Sample::UInt8;
    Sample data = Sample::UInt8;     // UInt8, UInt16 or Float
    int32_t unassociatedAlpha = -1;  // 1 straight, 0 associated, -1 the format's default
    std::string colorSpace;          // the samples' colour space, tagged in the file; "" none
    const void* pixels = nullptr;
};

// Writes the pixels to `temp` in the format `path`'s extension names.
void WritePixelsThroughModule(const std::string& path, const std::string& temp,
                              const PixelsToWrite& what);

// Colour management through OpenColorIO (inside the image module): the configuration the OCIO
// environment variable names, else the built-in one with "linear", "sRGB" and "Rec709".

// The colour space a name or a role ("scene_linear") stands for; throws naming the known ones.
std::string ResolveColorSpace(const std::string& name);

// Premultiplied RGBA floats converted in place between two resolved colour spaces (on their
// straight colours).
void ConvertColorSpace(float* rgba, int32_t width, int32_t height, const std::string& from,
                       const std::string& to);

}  // namespace tv::standalone
