// `tavrin export-svg`: a frame or an animated sequence of a comp as an SVG file.
#pragma once

#include <cstdint>
#include <string>

namespace tv::cli {

struct ExportSvgOptions {
    std::string document;
    std::string output;
    std::string comp;
    std::string layer;  // the layer whose "Tavrin" effect exports; empty: the first carrying it
    int64_t frame = 0;
    bool sequence = false;
    std::string range = "comp";  // comp or work
    int fps = 0;                 // 0: the comp's, rounded
};

int RunExportSvgCommand(const ExportSvgOptions& options);

}  // namespace tv::cli
