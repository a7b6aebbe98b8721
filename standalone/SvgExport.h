// SVG export: the main effects of a comp run an export pass per frame, and their shapes become
// one SVG file, a single frame or an animated sequence.
#pragma once

#include <cstdint>
#include <string>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

struct SvgExportOptions {
    int64_t frame = 0;      // one frame: its number
    bool sequence = false;  // every frame of the range, animated
    bool workArea = false;  // the range: the work area instead of the whole comp
    double fps = 0;         // frames per second of the sequence; 0: the comp's
};

// The file's text. Throws std::runtime_error naming what is wrong (no main effect in the comp, a
// frame outside it).
std::string ExportSvg(EmbeddedHost& host, const Comp& comp, const SvgExportOptions& options);

// Writes text under a temporary name in the same folder and renames it: a file is whole or absent.
void WriteFileWhole(const std::string& path, const std::string& text);

}  // namespace tv::standalone
