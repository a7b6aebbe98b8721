// The toolkit's menus: the text a match name shows, and adding an effect where its kind goes.
#pragma once

#include <string_view>

#include "host/HostServices.h"

namespace tv {

// "Layers", "Noise", ...; "Not Found" for a match name the menus do not know.
const char* ToolkitMenuName(std::string_view matchName);

// Applies the effect to the layer and moves it after the last effect of its kind (sources,
// effectors, renderers, then the toolkit).
PF_Err AddToStack(HostServices& host, AEGP_LayerH layer, AEGP_InstalledEffectKey key);

}  // namespace tv
