// `tavrin render`: renders frames of a comp to image files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tv::cli {

struct RenderOptions {
    std::string document;  // empty: the bundled example
    std::string output;    // file pattern; #### is the frame number
    std::string comp;
    // "7", "1-100", "1-100:5", a comma list or "all" (the work area); empty: frame 0 (a shard:
    // the whole comp)
    std::string frames;
    int bitDepth = 0;        // bits per channel in the files: 8, 16, 32; 0: the format's own
    std::string background;  // "transparent", "opaque", "#rrggbb[aa]"; empty: the document's
    std::string colorSpace;  // the files' colour space; empty: scene-linear floats, else sRGB
    std::string scale;       // the preview resolution: "1/2", "0.5"; empty: full
    int threads = 0;         // 0: all cores
    bool verbose = false;    // the effects' diagnostic lines on standard error
    bool quiet = false;      // errors only
    std::string logFile;     // the effects' diagnostic lines to this file; empty: none
    std::string unified;     // "on" or "off" forces "Unified Rendering" for this run; empty: as set
    std::string shard;       // "I/N": shard I (from 0) of N; empty: no shard
    bool shardFromEnv = false;  // the shard from a Slurm array task or a Kubernetes Indexed Job
    std::optional<int64_t> shardCount;      // with --shard-from-env: the number of shards
    std::string shardMode = "interleaved";  // or "contiguous"
    bool skipExisting = false;              // frames whose files exist are not drawn again
    bool requireGl = false;   // a frame the GL path was asked for and could not draw fails
    bool json = false;        // one JSON document on standard output; human lines to standard error
    std::string memoryLimit;  // "8g", "512m", bytes; empty: three quarters of the machine's memory
};

int RunRenderCommand(const RenderOptions& options);

// The budget of one frame in bytes from --memory-limit's text; empty gives the machine's default.
// Throws std::runtime_error naming the option when the text is not a size.
double MemoryLimit(const std::string& text);

}  // namespace tv::cli
