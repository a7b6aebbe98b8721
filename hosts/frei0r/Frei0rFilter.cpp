// The frei0r filter "tavrin": a comp of a composition document drawn over the host's frame at
// the host's time.
// frei0r.h declares its calls without C linkage.
extern "C" {
#include <frei0r.h>
}

#include "hosts/frei0r/Frei0rInstance.h"
#include "hosts/frei0r/HostTime.h"

extern "C" {

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
    *info = {"tavrin",
             "Tavrin",
             F0R_PLUGIN_TYPE_FILTER,
             F0R_COLOR_MODEL_RGBA8888,
             FREI0R_MAJOR_VERSION,
             3,
             1,
             tv::frei0r::kParamCount,
             "Draws a comp of a Tavrin composition document over the frame"};
}

void f0r_update(f0r_instance_t handle, double time, const uint32_t* in, uint32_t* out) {
    if (!handle || !out) return;
    auto& instance = *static_cast<tv::frei0r::Frei0rInstance*>(handle);
    // A host that gives no input frame gets the comp alone.
    tv::frei0r::UpdateFrame(instance, tv::frei0r::HostSeconds(time, __builtin_return_address(0)),
                            in, out);
}

}  // extern "C"
