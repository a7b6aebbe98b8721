// SVG export as a user makes it: the "Export SVG" button of a layer's "Tavrin" effect is pressed
// at the frame's time and its save dialog answered with the path, or with the path, the range
// and the frames per second of an animated sequence; the effect writes the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

struct SvgExportOptions {
    std::string layer;      // the layer whose "Tavrin" effect exports; empty: the first carrying it
    int64_t frame = 0;      // one frame: its number
    bool sequence = false;  // every frame of the range, animated
    bool workArea = false;  // the range: the work area instead of the whole comp
    int32_t fps = 0;        // frames per second of the sequence; 0: the comp's, rounded
};

// What the export did: the layer that exported, and other layers that carry the effect too.
struct SvgExportReport {
    std::string layer;
    std::vector<std::string> otherLayers;
};

// Whether a layer of the comp carries the "Tavrin" effect, whose button exports; and the names
// of the comps that have one, in document order.
bool CompCarriesExport(EmbeddedHost& host, const Comp& comp);
std::vector<std::string> CompsCarryingExport(EmbeddedHost& host);

// The most frames one animated SVG holds.
inline constexpr int64_t kMaxSvgSequenceFrames = 100000;

// Presses the button with the answer ready and writes `path` whole (under a temporary name in
// its folder, then renamed). Throws std::runtime_error naming what is wrong: no layer carries
// the effect, a frame outside the comp, a file the effect could not write.
SvgExportReport ExportSvgFile(EmbeddedHost& host, const Comp& comp, const SvgExportOptions& options,
                              const std::string& path);

// The same export's text, through a file in a private temporary folder.
std::string ExportSvg(EmbeddedHost& host, const Comp& comp, const SvgExportOptions& options);

}  // namespace tv::standalone
