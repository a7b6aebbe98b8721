#include "standalone/ImageOutput.h"

#include <png.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <stdexcept>

#include "standalone/ImageModule.h"
#include "standalone/OutputFormat.h"
#include "standalone/WholeFile.h"

namespace tv::standalone {

namespace {

// Straight RGBA integers from premultiplied floats: colour divided by alpha, each value rounded
// over the type's whole range.
template <typename T>
std::vector<T> ToStraight(const FloatImage& image) {
    std::vector<T> out(size_t(image.width) * size_t(image.height) * 4);
    constexpr float kFull = float(std::numeric_limits<T>::max());
    auto toInt = [](float v) {
        return static_cast<T>(std::lround(std::clamp(v, 0.0f, 1.0f) * kFull));
    };
    for (size_t i = 0; i < out.size() / 4; ++i) {
        const float* p = &image.rgba[i * 4];
        const float a = std::clamp(p[3], 0.0f, 1.0f);
        const float inv = a > 0 ? 1.0f / a : 0.0f;
        out[i * 4 + 0] = toInt(p[0] * inv);
        out[i * 4 + 1] = toInt(p[1] * inv);
        out[i * 4 + 2] = toInt(p[2] * inv);
        out[i * 4 + 3] = toInt(a);
    }
    return out;
}

}  // namespace

std::vector<uint8_t> ToStraight8(const FloatImage& image) {
    return ToStraight<uint8_t>(image);
}

std::vector<uint16_t> ToStraight16(const FloatImage& image) {
    return ToStraight<uint16_t>(image);
}

std::vector<uint8_t> Flattened8(const FloatImage& image, const float matte[3]) {
    std::vector<uint8_t> out(size_t(image.width) * size_t(image.height) * 3);
    for (size_t i = 0; i < out.size() / 3; ++i) {
        const float* p = &image.rgba[i * 4];
        const float keep = 1.0f - std::clamp(p[3], 0.0f, 1.0f);
        for (int c = 0; c < 3; ++c)
            out[i * 3 + size_t(c)] = static_cast<uint8_t>(
                std::lround(std::clamp(p[c] + matte[c] * keep, 0.0f, 1.0f) * 255.0f));
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

namespace {

// 8-bit RGBA of straight alpha as a PNG, through libpng's own writer: the common case needs no
// image module.
void WritePng8(const std::string& path, const std::string& temp, int32_t width, int32_t height,
               const std::vector<uint8_t>& rgba) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = png_uint_32(width);
    png.height = png_uint_32(height);
    png.format = PNG_FORMAT_RGBA;
    const bool ok = png_image_write_to_file(&png, temp.c_str(), 0, rgba.data(), 0, nullptr);
    const std::string why = png.message;
    png_image_free(&png);
    if (!ok) throw std::runtime_error("cannot write " + path + ": " + why);
}

}  // namespace

std::string FileColorSpace(const OutputFormat& format, const FrameColor& color) {
    if (!color.output.empty()) return ResolveColorSpace(color.output);
    const bool isFloat = format.sample == Sample::Half || format.sample == Sample::Float;
    if (isFloat) return ResolveColorSpace("scene_linear");
    return color.working.empty() ? kDefaultWorkingSpace : ResolveColorSpace(color.working);
}

void WriteImage(const std::string& path, const FloatImage& image, int32_t bitDepth,
                const float* matte, const FrameColor& color) {
    const OutputFormat format = ChooseOutputFormat(path, bitDepth);
    if (format.movie)
        throw OutputFormatError("\"" + path + "\" names a " + format.name +
                                " movie, which is encoded from a run of frames: write it with "
                                "tavrin render, or write a frame to .png, .exr, .tif or .jpg");
    WriteImage(path, image, format, matte, color);
}

void WriteImage(const std::string& path, const FloatImage& given, const OutputFormat& format,
                const float* matte, const FrameColor& color) {
    const float black[3] = {0, 0, 0};
    // The common case (8-bit PNG in the working space) needs no colour configuration.
    const bool plainPng = format.name == "PNG" && format.bitDepth == 8 && color.output.empty() &&
                          (color.working.empty() || color.working == kDefaultWorkingSpace);
    const std::string working = plainPng || color.working.empty()
                                    ? std::string(kDefaultWorkingSpace)
                                    : ResolveColorSpace(color.working);
    const std::string fileSpace = plainPng ? working : FileColorSpace(format, color);
    FloatImage converted;
    if (fileSpace != working) {
        converted = given;
        ConvertColorSpace(converted.rgba.data(), converted.width, converted.height, working,
                          fileSpace);
    }
    const FloatImage& image = fileSpace != working ? converted : given;
    WriteWholeFile(
        path,
        [&](const std::string& temp) {
            PixelsToWrite what;
            what.width = image.width;
            what.height = image.height;
            what.file = format.sample;
            what.colorSpace = fileSpace;
            if (!format.alpha) {
                const std::vector<uint8_t> rgb = Flattened8(image, matte ? matte : black);
                what.channels = 3;
                what.pixels = rgb.data();
                WritePixelsThroughModule(path, temp, what);
            } else if (format.premultiplied) {
                what.data = Sample::Float;
                what.unassociatedAlpha = 0;
                what.pixels = image.rgba.data();
                WritePixelsThroughModule(path, temp, what);
            } else if (format.bitDepth == 16) {
                const std::vector<uint16_t> straight = ToStraight16(image);
                what.data = Sample::UInt16;
                what.unassociatedAlpha = 1;
                what.pixels = straight.data();
                WritePixelsThroughModule(path, temp, what);
            } else if (format.name == "PNG") {
                WritePng8(path, temp, image.width, image.height, ToStraight8(image));
            } else {
                const std::vector<uint8_t> straight = ToStraight8(image);
                what.unassociatedAlpha = 1;
                what.pixels = straight.data();
                WritePixelsThroughModule(path, temp, what);
            }
        },
        "", "cannot move the finished frame to ");
}

}  // namespace tv::standalone
