// The frei0r source "tavrin_src": a comp of a composition document drawn alone, transparent
// where nothing is drawn, at the host's time.
// frei0r.h declares its calls without C linkage.
extern "C" {
#include <frei0r.h>
}

#include "hosts/frei0r/Frei0rInstance.h"
#include "hosts/frei0r/HostTime.h"

extern "C" {

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
    *info = {"tavrin_src",
             "Tavrin",
             F0R_PLUGIN_TYPE_SOURCE,
             F0R_COLOR_MODEL_RGBA8888,
             FREI0R_MAJOR_VERSION,
             3,
             1,
             tv::frei0r::kParamCount,
             "Draws a comp of a Tavrin composition document"};
}

void f0r_update(f0r_instance_t handle, double time, const uint32_t*, uint32_t* out) {
    if (!handle || !out) return;
    tv::frei0r::UpdateFrame(*static_cast<tv::frei0r::Frei0rInstance*>(handle),
                            tv::frei0r::HostSeconds(time, __builtin_return_address(0)), nullptr,
                            out);
}

}  // extern "C"
