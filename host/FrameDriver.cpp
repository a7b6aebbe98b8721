#include "host/FrameDriver.h"

#include <cstring>

#include "host/SuiteCache.h"

namespace tv {

// The frame driver is not built yet: the main effect's output is left transparent.
PF_Err MainPreRender(PF_InData* in_data, PF_OutData* /*out_data*/, PF_PreRenderExtra* extra) {
    if (!extra) return PF_Err_BAD_CALLBACK_PARAM;
    extra->result_rect = PF_LRect{0, 0, in_data->width, in_data->height};
    extra->max_result_rect = extra->result_rect;
    return PF_Err_NONE;
}

PF_Err MainSmartRender(PF_InData* in_data, PF_OutData* /*out_data*/,
                       PF_SmartRenderExtra* /*extra*/) {
    SuiteCache suites(in_data);
    PF_EffectWorld* output = nullptr;
    if (const PF_Err err = suites->checkoutOutput(in_data->effect_ref, &output)) return err;
    if (output && output->data)
        std::memset(output->data, 0, size_t(output->rowbytes) * size_t(output->height));
    suites->diagnostic("Tavrin: the frame renderer is not built yet; the output is transparent");
    return PF_Err_NONE;
}

}  // namespace tv
