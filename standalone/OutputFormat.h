// What a frame file holds, decided from its name and the asked depth before anything is drawn:
// PNG 8 or 16 bits of straight alpha, EXR half or float premultiplied, TIFF 8, 16 bits straight
// or float premultiplied, JPEG 8 bits flattened on the comp's colour (it has no alpha). A movie
// name (.mp4, .mov, .webm, .gif) is drawn as PNG frames that ffmpeg encodes.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "standalone/ImageModule.h"
#include "standalone/MovieOutput.h"

namespace tv::standalone {

// A name and depth that no format can write: the message names the option and what is valid.
struct OutputFormatError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct OutputFormat {
    std::string name;      // "PNG", "EXR", "TIFF", "JPEG"; a movie's container: "MP4", "MOV"...
    int32_t bitDepth = 8;  // bits per channel in the file: 8, 16 or 32
    Sample sample = Sample::UInt8;
    bool alpha = true;                  // false: flattened on the comp's colour, RGB only
    bool premultiplied = false;         // float files hold associated alpha, integer files straight
    const MovieCodec* movie = nullptr;  // set for a movie: the frames are PNG files first
    // The depth of the worlds the frame is drawn in: 8 bits when the file holds 8, else float.
    int32_t renderDepth() const { return bitDepth == 8 ? 8 : 32; }
};

// The format of `path` (by its extension, any case) at `bitDepth` (8, 16, 32; 0 takes the
// format's own: 8 for PNG, TIFF and JPEG, 32 for EXR). Throws OutputFormatError for a name
// without an extension, an extension no format has, or a depth the format cannot hold.
OutputFormat ChooseOutputFormat(const std::string& path, int32_t bitDepth);

// The PNG frames a movie of `movie` is encoded from: its depth, and its alpha or none.
OutputFormat MovieFrameFormat(const OutputFormat& movie);

// "8 bits", "16 bits", "16-bit half float", "32-bit float".
std::string DescribeDepth(const OutputFormat& format);

// "uint8", "uint16", "half", "float": the sample type as --json names it.
std::string SampleName(const OutputFormat& format);

}  // namespace tv::standalone
