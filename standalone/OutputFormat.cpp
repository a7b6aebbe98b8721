#include "standalone/OutputFormat.h"

#include <cctype>
#include <filesystem>

namespace tv::standalone {

namespace {

constexpr const char* kExtensions =
    ".png, .exr, .tif, .tiff, .jpg or .jpeg for frames, .mp4, .mov, .webm or .gif for a movie";

struct FormatRow {
    const char* extension;
    const char* name;
    int32_t defaultDepth;
    bool depth8, depth16, depth32;
    const char* depths;  // what it holds, for messages
};

constexpr FormatRow kFormats[] = {
    {".png", "PNG", 8, true, true, false, "8 or 16 bits per channel"},
    {".exr", "EXR", 32, false, true, true, "16 (half float) or 32 (float) bits per channel"},
    {".tif", "TIFF", 8, true, true, true, "8, 16 or 32 bits per channel"},
    {".tiff", "TIFF", 8, true, true, true, "8, 16 or 32 bits per channel"},
    {".jpg", "JPEG", 8, true, false, false, "8 bits per channel"},
    {".jpeg", "JPEG", 8, true, false, false, "8 bits per channel"},
};

std::string LowerExtension(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

// Movies are encoded from 8-bit frames; ProRes 4444 keeps more, so a .mov may ask for 16.
OutputFormat ChooseMovieFormat(const MovieCodec& movie, int32_t bitDepth) {
    const int32_t depth = bitDepth ? bitDepth : 8;
    if (depth == 32 || (depth == 16 && !movie.depth16))
        throw OutputFormatError("--bit-depth " + std::to_string(depth) + ": " + movie.container +
                                " (" + movie.codec + ") holds 8 bits per channel" +
                                (depth == 16 ? "; write .mov (ProRes 4444) for 16"
                                             : "; write .mov for 16 bits or .exr frames for 32"));
    OutputFormat f;
    f.name = movie.container;
    f.bitDepth = depth;
    f.sample = depth == 16 ? Sample::UInt16 : Sample::UInt8;
    f.alpha = movie.alpha;
    f.movie = &movie;
    return f;
}

}  // namespace

OutputFormat MovieFrameFormat(const OutputFormat& movie) {
    OutputFormat f = movie;
    f.name = "PNG";
    f.movie = nullptr;
    return f;
}

OutputFormat ChooseOutputFormat(const std::string& path, int32_t bitDepth) {
    if (bitDepth != 0 && bitDepth != 8 && bitDepth != 16 && bitDepth != 32)
        throw OutputFormatError("--bit-depth " + std::to_string(bitDepth) +
                                ": give 8, 16 or 32 bits per channel");
    const std::string ext = LowerExtension(path);
    if (ext.empty() || ext == ".")
        throw OutputFormatError("-o \"" + path +
                                "\": the name has no extension to choose the format by; end it "
                                "with " +
                                kExtensions);
    if (const MovieCodec* movie = FindMovieCodec(path)) return ChooseMovieFormat(*movie, bitDepth);
    const FormatRow* row = nullptr;
    for (const FormatRow& r : kFormats)
        if (ext == r.extension) row = &r;
    if (!row)
        throw OutputFormatError("-o \"" + path + "\": no format writes \"" + ext +
                                "\"; end the name with " + kExtensions);
    const int32_t depth = bitDepth ? bitDepth : row->defaultDepth;
    const bool holds = depth == 8 ? row->depth8 : depth == 16 ? row->depth16 : row->depth32;
    if (!holds)
        throw OutputFormatError("--bit-depth " + std::to_string(depth) + ": " + row->name +
                                " holds " + row->depths + "; write " +
                                (depth == 8    ? ".png, .tif or .jpg"
                                 : depth == 16 ? ".png, .exr or .tif"
                                               : ".exr or .tif") +
                                " for " + std::to_string(depth));
    OutputFormat f;
    f.name = row->name;
    f.bitDepth = depth;
    const bool isFloat = depth == 32 || f.name == "EXR";
    f.sample = depth == 8 ? Sample::UInt8
               : isFloat  ? (depth == 16 ? Sample::Half : Sample::Float)
                          : Sample::UInt16;
    f.alpha = f.name != "JPEG";
    f.premultiplied = isFloat;
    return f;
}

std::string DescribeDepth(const OutputFormat& format) {
    switch (format.sample) {
        case Sample::Half:
            return "16-bit half float";
        case Sample::Float:
            return "32-bit float";
        default:
            return std::to_string(format.bitDepth) + " bits";
    }
}

std::string SampleName(const OutputFormat& format) {
    switch (format.sample) {
        case Sample::UInt16:
            return "uint16";
        case Sample::Half:
            return "half";
        case Sample::Float:
            return "float";
        default:
            return "uint8";
    }
}

}  // namespace tv::standalone
