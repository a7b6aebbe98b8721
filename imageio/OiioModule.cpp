// The image module: every use of OpenImageIO, built as a shared module that the embedded host
// loads the first time it reads an image or writes a frame in a format other than 8-bit PNG.
// OpenImageIO brings some 260 shared libraries whose loading costs most of a second at every
// start; commands that never touch such images no longer pay it. A plain C interface keeps the
// module apart from the rest of the program (it links nothing else of ours).
#include <OpenImageIO/color.h>
#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imageio.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void Say(const std::string& text, char* error, size_t errorSize) {
    if (!error || errorSize == 0) return;
    const size_t n = std::min(text.size(), errorSize - 1);
    std::memcpy(error, text.data(), n);
    error[n] = '\0';
}

// Sample types of the interface, for the file and for the pixels handed in: 0 bytes, 1 16-bit
// integers, 2 half floats, 3 floats.
OIIO::TypeDesc SampleType(int code) {
    switch (code) {
        case 1:
            return OIIO::TypeDesc::UINT16;
        case 2:
            return OIIO::TypeDesc::HALF;
        case 3:
            return OIIO::TypeDesc::FLOAT;
        default:
            return OIIO::TypeDesc::UINT8;
    }
}

// The colour configuration: the one the OCIO environment variable names, else OpenImageIO's
// built-in one (linear, sRGB, Rec709). Made once; its queries and processors are thread-safe.
OIIO::ColorConfig& Colors() {
    static OIIO::ColorConfig config;
    return config;
}

// A colour space's own name for a name or role ("scene_linear"), or empty.
std::string Resolve(const std::string& name) {
    OIIO::ColorConfig& config = Colors();
    if (const char* byRole = config.getColorSpaceNameByRole(name)) return byRole;
    for (int i = 0; i < config.getNumColorSpaces(); ++i)
        if (const char* known = config.getColorSpaceNameByIndex(i); known && name == known)
            return known;
    return {};
}

}  // namespace

extern "C" {

// Resolves a colour space name or role into `resolved`. 0: known; 1: unknown, with the names
// the configuration knows in `error`.
__attribute__((visibility("default"))) int tavrin_image_color_resolve(
    const char* name, char* resolved, size_t resolvedSize, char* error, size_t errorSize) {
    const std::string found = Resolve(name);
    if (!found.empty()) {
        Say(found, resolved, resolvedSize);
        return 0;
    }
    std::string known;
    OIIO::ColorConfig& config = Colors();
    for (int i = 0; i < config.getNumColorSpaces(); ++i)
        if (const char* n = config.getColorSpaceNameByIndex(i))
            known += (known.empty() ? "\"" : ", \"") + std::string(n) + "\"";
    Say(known + (known.empty() ? "" : ", or the role \"scene_linear\""), error, errorSize);
    return 1;
}

// Converts width x height premultiplied RGBA floats in place from one colour space to another
// (on their straight colours; alpha stays). 0: converted; 1: the conversion failed.
__attribute__((visibility("default"))) int tavrin_image_color_convert(float* rgba, int width,
                                                                      int height, const char* from,
                                                                      const char* to, char* error,
                                                                      size_t errorSize) {
    OIIO::ImageSpec spec(width, height, 4, OIIO::TypeDesc::FLOAT);
    spec.alpha_channel = 3;
    OIIO::ImageBuf pixels(spec, rgba);
    if (!OIIO::ImageBufAlgo::colorconvert(pixels, pixels, from, to, true, "", "", &Colors())) {
        Say(pixels.geterror(), error, errorSize);
        return 1;
    }
    return 0;
}

// Writes width x height pixels of `channels` channels (R, G, B and, with 4, alpha), handed in
// as `dataType`, to `temp` as `fileType` samples in the format `path`'s extension names.
// unassociatedAlpha: 1 straight alpha, 0 associated, -1 the format's default; colorSpace, when
// not empty, tags the file. 0: written; 1: no
// format for the extension; 2: the writer failed. The error text is OpenImageIO's.
__attribute__((visibility("default"))) int tavrin_image_write(
    const char* path, const char* temp, int width, int height, int channels, int fileType,
    int dataType, int unassociatedAlpha, const char* colorSpace, const void* pixels, char* error,
    size_t errorSize) {
    auto out = OIIO::ImageOutput::create(path);
    if (!out) {
        Say(OIIO::geterror(), error, errorSize);
        return 1;
    }
    OIIO::ImageSpec spec(width, height, channels, SampleType(fileType));
    if (channels == 4) spec.alpha_channel = 3;
    if (unassociatedAlpha >= 0) spec.attribute("oiio:UnassociatedAlpha", unassociatedAlpha);
    // The colour space the samples really are in: OpenImageIO's own name for it (which its PNG
    // writer turns into the sRGB chunk) and, for headers that keep named attributes (EXR), a
    // plain "colorSpace" string that any reader sees.
    if (colorSpace && *colorSpace) {
        spec.attribute("oiio:ColorSpace", colorSpace);
        spec.attribute("colorSpace", colorSpace);
    }
    bool ok = out->open(temp, spec);
    if (ok) {
        ok = out->write_image(SampleType(dataType), pixels);
        ok = out->close() && ok;
    }
    if (!ok) {
        Say(out->geterror(), error, errorSize);
        return 2;
    }
    return 0;
}

// Reads channels [0, channelEnd) (all when channelEnd < 1) of an image's first subimage as floats
// or bytes into a buffer the caller frees with tavrin_image_free. 0: read; 1: the file did not
// open (no buffer); 2: it opened but reading failed (the buffer holds zeros).
__attribute__((visibility("default"))) int tavrin_image_read(const char* path, int asBytes,
                                                             int channelEnd, void** pixels,
                                                             int* width, int* height, int* channels,
                                                             char* error, size_t errorSize) {
    *pixels = nullptr;
    auto in = OIIO::ImageInput::open(path);
    if (!in) {
        Say(OIIO::geterror(), error, errorSize);
        return 1;
    }
    const OIIO::ImageSpec& spec = in->spec();
    *width = spec.width;
    *height = spec.height;
    *channels = channelEnd >= 1 ? channelEnd : spec.nchannels;
    const size_t count = size_t(spec.width) * size_t(spec.height) * size_t(*channels);
    *pixels = std::calloc(count ? count : 1, asBytes ? 1 : sizeof(float));
    if (!*pixels) {
        Say("out of memory", error, errorSize);
        return 2;
    }
    const bool ok = in->read_image(
        0, 0, 0, *channels, asBytes ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::FLOAT, *pixels);
    if (!ok) {
        Say(in->geterror(), error, errorSize);
        return 2;
    }
    return 0;
}

// Reads an image's header only: the size and channel count of its first subimage, without
// decoding a pixel. 0: read; 1: the file did not open as an image.
__attribute__((visibility("default"))) int tavrin_image_probe(const char* path, int* width,
                                                              int* height, int* channels,
                                                              char* error, size_t errorSize) {
    auto in = OIIO::ImageInput::open(path);
    if (!in) {
        Say(OIIO::geterror(), error, errorSize);
        return 1;
    }
    const OIIO::ImageSpec& spec = in->spec();
    *width = spec.width;
    *height = spec.height;
    *channels = spec.nchannels;
    return 0;
}

__attribute__((visibility("default"))) void tavrin_image_free(void* pixels) {
    std::free(pixels);
}
}
