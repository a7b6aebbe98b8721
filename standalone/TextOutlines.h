// Text layers' glyphs: the string shaped with HarfBuzz in the layer's font (a file, or an
// installed family found through fontconfig), each glyph contour as a closed path in layer
// pixels, and the coverage of the filled text for the layer's own pixels.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/BezierPath.h"

namespace tv::standalone {

struct TextStyle {
    std::string text;
    std::string fontFile;    // a font file, or empty
    std::string fontFamily;  // an installed family when no file is given; empty: "DejaVu Sans"
    double size = 72;        // pixels per em
};

// The font file a style uses, or an empty string and `error` saying why none was found.
std::string ResolveFontFile(const TextStyle& style, std::string& error);

// Empty when FreeType reads `file` as a font; otherwise why not, naming the file.
std::string CheckFontFile(const std::string& file);

// The glyph contours of the text laid out in a layer of the given size: each line centred
// across, the block of lines centred down, lines a font's line height apart. Quadratic pieces
// become cubic segments. Throws std::runtime_error naming the font when it cannot be read.
std::vector<BezierPath> TextOutlines(const TextStyle& style, int32_t width, int32_t height);

// Anti-aliased coverage (0..1, width * height, rows from the top) of the paths filled with the
// non-zero rule, as glyphs are drawn.
std::vector<float> FillCoverage(const std::vector<BezierPath>& paths, int32_t width,
                                int32_t height);

}  // namespace tv::standalone
