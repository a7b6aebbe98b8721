// `tavrin geometry`: what one frame's gather produced for a layer, for other tools.
#pragma once

#include <string>

namespace tv::cli {

struct GeometryOptions {
    std::string document;
    std::string comp;
    std::string layer;
    int64_t frame = 0;
    std::string format = "json";
    std::string output;  // empty: standard output
};

int RunGeometryCommand(const GeometryOptions& options);

}  // namespace tv::cli
