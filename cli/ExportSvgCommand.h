// `tavrin export-svg`: a frame or an animated sequence of a comp as an SVG file.
#pragma once

#include <string>

namespace tv::cli {

struct ExportSvgOptions {
    std::string document;
    std::string output;
    std::string comp;
    int64_t frame = 0;
    bool sequence = false;
    std::string range = "comp";  // comp or work
    double fps = 0;
};

int RunExportSvgCommand(const ExportSvgOptions& options);

}  // namespace tv::cli
