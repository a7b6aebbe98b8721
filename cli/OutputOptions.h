// The render options that shape the frames a compositor receives: the background under the
// layers (--background) and the preview resolution (--scale).
#pragma once

#include <string>

#include "host/HostTypes.h"
#include "standalone/Composition.h"

namespace tv::cli {

// Applies --background to the comp: "transparent" (alpha 0, the comp's colour kept for formats
// without alpha), "opaque" (the comp's colour, alpha 1), "#rrggbb" (that colour, opaque) or
// "#rrggbbaa". Empty leaves the document's. Throws std::runtime_error naming the option.
void ApplyBackground(const std::string& text, standalone::Comp& comp);

// --scale as the host's downsample: "1/2", "1/3", "1/4" (any 1/N or M/N at most 1) or a number
// above 0 and at most 1. Empty is full resolution. Throws std::runtime_error naming the option.
PF_RationalScale ParseScale(const std::string& text);

}  // namespace tv::cli
