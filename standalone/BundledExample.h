// The example `tavrin render` draws when no document is given: a camera-less comp with a dark
// solid carrying the main effect, a sphere of vertices, points and lines between neighbours.
#pragma once

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

inline constexpr const char* kBundledCompName = "Network";

// Builds the example into the host's project and returns its comp.
Comp& BuildBundledExample(EmbeddedHost& host, int32_t width = 1280, int32_t height = 720);

}  // namespace tv::standalone
