#include "standalone/ImageModule.h"

#include <dlfcn.h>

#include <cstdlib>
#include <mutex>
#include <stdexcept>

namespace tv::standalone {

namespace {

using WriteFn = int (*)(const char*, const char*, int, int, int, int, int, int, const char*,
                        const void*, char*, size_t);
using ColorResolveFn = int (*)(const char*, char*, size_t, char*, size_t);
using ColorConvertFn = int (*)(float*, int, int, const char*, const char*, char*, size_t);
using ReadFn = int (*)(const char*, int, int, void**, int*, int*, int*, char*, size_t);
using FreeFn = void (*)(void*);
using ProbeFn = int (*)(const char*, int*, int*, int*, char*, size_t);

struct Module {
    WriteFn write = nullptr;
    ReadFn read = nullptr;
    FreeFn free = nullptr;
    ProbeFn probe = nullptr;
    ColorResolveFn colorResolve = nullptr;
    ColorConvertFn colorConvert = nullptr;
    std::string failure;  // why it did not load
};

// The module's file: TAVRIN_IMAGE_MODULE when set, else the one this build made.
std::string ModulePath() {
    if (const char* given = std::getenv("TAVRIN_IMAGE_MODULE"); given && *given) return given;
    return TAVRIN_IMAGE_MODULE_PATH;
}

Module Load() {
    Module m;
    const std::string path = ModulePath();
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* why = dlerror();
        m.failure = "cannot load the image module " + path + " (" + (why ? why : "unknown") +
                    "); set TAVRIN_IMAGE_MODULE to its file";
        return m;
    }
    // Kept loaded for the process: the library's caches live until exit.
    m.write = reinterpret_cast<WriteFn>(dlsym(handle, "tavrin_image_write"));
    m.read = reinterpret_cast<ReadFn>(dlsym(handle, "tavrin_image_read"));
    m.free = reinterpret_cast<FreeFn>(dlsym(handle, "tavrin_image_free"));
    m.probe = reinterpret_cast<ProbeFn>(dlsym(handle, "tavrin_image_probe"));
    m.colorResolve = reinterpret_cast<ColorResolveFn>(dlsym(handle, "tavrin_image_color_resolve"));
    m.colorConvert = reinterpret_cast<ColorConvertFn>(dlsym(handle, "tavrin_image_color_convert"));
    if (!m.write || !m.read || !m.free || !m.probe || !m.colorResolve || !m.colorConvert)
        m.failure = "the image module " + path + " lacks its functions; rebuild it";
    return m;
}

const Module& TheModule() {
    static std::once_flag once;
    static Module module;
    std::call_once(once, [] { module = Load(); });
    if (!module.failure.empty()) throw std::runtime_error(module.failure);
    return module;
}

template <typename T>
ImagePixels<T> Read(const std::string& path, int32_t channelEnd, bool asBytes) {
    const Module& m = TheModule();
    // The header first: a file that claims more pixels than any image here may have (a
    // decompression bomb) is refused before its pixels are allocated.
    CheckImageSize(path, ReadImageHeader(path));
    ImagePixels<T> image;
    void* pixels = nullptr;
    char error[1024] = "";
    const int code = m.read(path.c_str(), asBytes ? 1 : 0, channelEnd, &pixels, &image.width,
                            &image.height, &image.channels, error, sizeof error);
    if (code == 1) throw std::runtime_error("cannot read the image " + path + ": " + error);
    if (pixels) {
        const auto* values = static_cast<const T*>(pixels);
        image.values.assign(
            values, values + size_t(image.width) * size_t(image.height) * size_t(image.channels));
        m.free(pixels);
    } else {
        image.values.assign(size_t(image.width) * size_t(image.height) * size_t(image.channels),
                            T{});
    }
    image.complete = code == 0;
    return image;
}

}  // namespace

ImageHeader ReadImageHeader(const std::string& path) {
    const Module& m = TheModule();
    ImageHeader header;
    char error[1024] = "";
    if (m.probe(path.c_str(), &header.width, &header.height, &header.channels, error,
                sizeof error) != 0)
        throw std::runtime_error("cannot read the image " + path + ": " + error);
    return header;
}

void CheckImageSize(const std::string& path, const ImageHeader& header) {
    if (header.width < 1 || header.height < 1 || header.width > kMaxImageSide ||
        header.height > kMaxImageSide || header.channels < 1 || header.channels > 64)
        throw std::runtime_error(
            "the image " + path + " says it is " + std::to_string(header.width) + "x" +
            std::to_string(header.height) + " pixels of " + std::to_string(header.channels) +
            " channels; images of 1 to " + std::to_string(kMaxImageSide) +
            " pixels a side and 1 to 64 channels are read");
}

ImagePixels<float> ReadImageFloat(const std::string& path, int32_t channelEnd) {
    return Read<float>(path, channelEnd, false);
}

ImagePixels<uint8_t> ReadImageBytes(const std::string& path, int32_t channelEnd) {
    return Read<uint8_t>(path, channelEnd, true);
}

namespace {

int SampleCode(Sample s) {
    switch (s) {
        case Sample::UInt16:
            return 1;
        case Sample::Half:
            return 2;
        case Sample::Float:
            return 3;
        default:
            return 0;
    }
}

}  // namespace

void WritePixelsThroughModule(const std::string& path, const std::string& temp,
                              const PixelsToWrite& what) {
    const Module& m = TheModule();
    char error[1024] = "";
    const int code = m.write(path.c_str(), temp.c_str(), what.width, what.height, what.channels,
                             SampleCode(what.file), SampleCode(what.data), what.unassociatedAlpha,
                             what.colorSpace.c_str(), what.pixels, error, sizeof error);
    if (code == 1)
        throw std::runtime_error("cannot write " + path + ": no image format for its extension (" +
                                 error + "); use .png, .exr, .tif or .jpg");
    if (code != 0) throw std::runtime_error("cannot write " + path + ": " + error);
}

void WriteImageThroughModule(const std::string& path, const std::string& temp, int32_t width,
                             int32_t height, bool asFloat, int32_t unassociatedAlpha,
                             const void* pixels) {
    const Sample type = asFloat ? Sample::Float : Sample::UInt8;
    WritePixelsThroughModule(path, temp,
                             {width, height, 4, type, type, unassociatedAlpha, "", pixels});
}

std::string ResolveColorSpace(const std::string& name) {
    const Module& m = TheModule();
    char resolved[256] = "", error[1024] = "";
    if (m.colorResolve(name.c_str(), resolved, sizeof resolved, error, sizeof error) != 0)
        throw std::runtime_error("no colour space \"" + name + "\" in the colour configuration" +
                                 (std::getenv("OCIO") ? " the OCIO variable names" : "") +
                                 "; known: " + error);
    return resolved;
}

void ConvertColorSpace(float* rgba, int32_t width, int32_t height, const std::string& from,
                       const std::string& to) {
    if (from == to) return;
    const Module& m = TheModule();
    char error[1024] = "";
    if (m.colorConvert(rgba, width, height, from.c_str(), to.c_str(), error, sizeof error) != 0)
        throw std::runtime_error("cannot convert from \"" + from + "\" to \"" + to +
                                 "\": " + error);
}

}  // namespace tv::standalone
