#include "studio/PngEncode.h"

#include <png.h>

#include <stdexcept>
#include <vector>

namespace tv::studio {

namespace {

void Append(png_structp png, png_bytep data, png_size_t length) {
    auto* out = static_cast<std::string*>(png_get_io_ptr(png));
    out->append(reinterpret_cast<const char*>(data), length);
}

void Flush(png_structp) {}

}  // namespace

std::string EncodePng(const standalone::FloatImage& image) {
    const std::vector<uint8_t> rgba = standalone::ToStraight8(image);
    std::string out;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        throw std::runtime_error("cannot start a PNG");
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        throw std::runtime_error("cannot encode the frame as PNG");
    }
    png_set_write_fn(png, &out, Append, Flush);
    png_set_IHDR(png, info, png_uint_32(image.width), png_uint_32(image.height), 8,
                 PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    // Fast: level 1 and the "sub" filter alone, which costs little and compresses flat areas.
    png_set_compression_level(png, 1);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_write_info(png, info);
    const size_t stride = size_t(image.width) * 4;
    for (int32_t y = 0; y < image.height; ++y)
        png_write_row(png, const_cast<png_bytep>(rgba.data() + stride * size_t(y)));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return out;
}

}  // namespace tv::studio
