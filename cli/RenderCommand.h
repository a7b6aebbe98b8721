// `tavrin render`: renders frames of a comp to image files.
#pragma once

#include <string>

namespace tv::cli {

struct RenderOptions {
    std::string document;  // empty: the bundled example
    std::string output;    // file pattern; #### is the frame number
    std::string comp;
    std::string frames;  // "0-47" or "0,10,20"; empty: frame 0
    int bitDepth = 8;
    int threads = 0;  // 0: all cores
    bool verbose = false;
    std::string unified;  // "on" or "off" forces "Unified Rendering" for this run; empty: as set
};

int RunRenderCommand(const RenderOptions& options);

}  // namespace tv::cli
