// Setups that load but draw nothing, or less than they ask for: each warning names the document,
// the JSON path of what to change and why, so that a black frame never passes as a good one.
#pragma once

#include <string>
#include <vector>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

// "file: $.comps[i].layers[j]...: message" for each such setup in the host's project, layer by
// layer: a layer of Tavrin effects without the main effect (unless another effect reads its
// stack through a layer parameter); a renderer whose group no source on its layer joins; a Facets
// Renderer whose sources make no faces; a Noise or Sound Effector of amplitude 0; settings only
// the GL path draws while "Unified Rendering" is off. Animated values are not judged.
std::vector<std::string> DrawNothingWarnings(EmbeddedHost& host, const std::string& file);

}  // namespace tv::standalone
