// frei0r's calls that the filter and the source answer alike: parameters, instances and
// update2. Each plug-in file adds its own f0r_get_plugin_info and f0r_update.
// frei0r.h declares its calls without C linkage.
extern "C" {
#include <frei0r.h>
}

#include <cstring>
#include <new>

#include "hosts/frei0r/Frei0rInstance.h"

using tv::frei0r::Frei0rInstance;

extern "C" {

int f0r_init() {
    return 1;
}

void f0r_deinit() {}

void f0r_get_param_info(f0r_param_info_t* info, int index) {
    switch (index) {
        case tv::frei0r::kDocument:
            *info = {"document", F0R_PARAM_STRING, "the composition document (JSON) to draw"};
            break;
        case tv::frei0r::kComp:
            *info = {"comp", F0R_PARAM_STRING, "the comp to draw; empty: the document's first"};
            break;
        case tv::frei0r::kLayer:
            *info = {"layer", F0R_PARAM_STRING,
                     "draw only this layer of the comp; empty: every layer"};
            break;
        case tv::frei0r::kTimeOffset:
            *info = {"time offset", F0R_PARAM_DOUBLE,
                     "seconds added to the host's time before the comp is drawn"};
            break;
        default:
            break;
    }
}

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
    auto* instance = new (std::nothrow) Frei0rInstance;
    if (!instance) return nullptr;
    instance->width = int32_t(width);
    instance->height = int32_t(height);
    return instance;
}

void f0r_destruct(f0r_instance_t instance) {
    try {
        delete static_cast<Frei0rInstance*>(instance);
    } catch (...) {
    }
}

void f0r_set_param_value(f0r_instance_t handle, f0r_param_t param, int index) {
    if (!handle || !param) return;
    auto& s = static_cast<Frei0rInstance*>(handle)->settings;
    try {
        if (index == tv::frei0r::kTimeOffset) {
            s.timeOffset = *static_cast<const f0r_param_double*>(param);
            return;
        }
        const char* text = *static_cast<const f0r_param_string*>(param);
        std::string value = text ? text : "";
        if (index == tv::frei0r::kDocument) s.document = std::move(value);
        if (index == tv::frei0r::kComp) s.comp = std::move(value);
        if (index == tv::frei0r::kLayer) s.layer = std::move(value);
    } catch (...) {
    }
}

void f0r_get_param_value(f0r_instance_t handle, f0r_param_t param, int index) {
    if (!handle || !param) return;
    const auto& s = static_cast<Frei0rInstance*>(handle)->settings;
    // Strings stay owned by the instance, as frei0r asks.
    const std::string* text = index == tv::frei0r::kDocument ? &s.document
                              : index == tv::frei0r::kComp   ? &s.comp
                              : index == tv::frei0r::kLayer  ? &s.layer
                                                             : nullptr;
    if (text)
        *static_cast<f0r_param_string*>(param) = const_cast<char*>(text->c_str());
    else if (index == tv::frei0r::kTimeOffset)
        *static_cast<f0r_param_double*>(param) = s.timeOffset;
}

void f0r_update2(f0r_instance_t handle, double time, const uint32_t* in1, const uint32_t*,
                 const uint32_t*, uint32_t* out) {
    f0r_update(handle, time, in1, out);
}

}  // extern "C"
