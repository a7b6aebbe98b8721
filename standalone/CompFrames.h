// Choosing a comp and a layer of a loaded document and the time and scale a frame of it is drawn
// at: what a program that shows a comp inside itself (the frei0r plug-in, the Python module)
// asks of the embedded host before CompRenderer draws.
#pragma once

#include <cstdint>
#include <string>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

// The comp named `name` (empty: the first). Throws std::runtime_error naming the nearest comps.
Comp& PickComp(EmbeddedHost& host, const std::string& name);
// The layer of the comp named `name`. Throws std::runtime_error naming the nearest layers.
Layer& PickLayer(const Comp& comp, const std::string& name);

// The comp time nearest to `seconds` on the comp's fine scale, so that a frame's own time gives
// exactly that frame.
A_Time CompTimeAt(const Comp& comp, double seconds);

// The downsample that fits the comp into a width x height frame: full resolution when it fits,
// else the largest scale at which both sides fit.
PF_RationalScale FitDownsample(const Comp& comp, int32_t width, int32_t height);

}  // namespace tv::standalone
