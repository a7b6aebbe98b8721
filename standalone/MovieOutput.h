// Movies: frames drawn to PNG files in a private folder beside the movie, then encoded by the
// ffmpeg program, run as a separate process (never linked), into a file in the same folder that is
// renamed onto the movie's name only when ffmpeg finished it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tv::standalone {

// One kind of movie file, chosen by the name's extension.
struct MovieCodec {
    const char* extension;  // ".mp4"
    const char* container;  // "MP4"
    const char* codec;      // "H.264"
    bool alpha;    // the movie keeps the frame's alpha (else flattened on the comp's colour)
    bool depth16;  // holds more than 8 bits per channel: 16-bit frames are worth drawing
};

// The codec the extension of `path` names (any case), or null when it names no movie.
const MovieCodec* FindMovieCodec(const std::string& path);

// ".mp4, .mov, .webm or .gif", for messages.
const char* MovieExtensions();

// The ffmpeg program found on PATH (TAVRIN_FFMPEG, when set, names it instead); throws
// std::runtime_error naming the movie, the missing program and what to do when there is none.
std::string FindFfmpeg(const std::string& moviePath);

// The numbered frame files of a movie, in the order they play: "<folder>/frame_000000.png", ...
std::string MovieFramePath(const std::string& folder, size_t index);

// What ffmpeg is given to encode `frameCount` frames named by MovieFramePath in `folder`, at
// `fpsNum`/`fpsDen` frames a second, into `output` (without the program's own name).
std::vector<std::string> FfmpegArguments(const MovieCodec& codec, const std::string& folder,
                                         int32_t fpsNum, int32_t fpsDen, const std::string& output);

// Runs `program` with `arguments`, its output going to `logPath`, and waits for it; returns its
// exit status, 128 + N when signal N ended it. Throws std::runtime_error when it cannot start.
int RunProgram(const std::string& program, const std::vector<std::string>& arguments,
               const std::string& logPath);

// Encodes the frames of `folder` into `output` with ffmpeg; throws std::runtime_error with the
// end of ffmpeg's own log when it fails.
void EncodeMovie(const std::string& ffmpeg, const MovieCodec& codec, const std::string& folder,
                 int32_t fpsNum, int32_t fpsDen, const std::string& output);

}  // namespace tv::standalone
