// The main effect's frame: pre-render (result rectangle and the frame's cache key) and render
// (gather, draw, unpremultiply).
#pragma once

#include <string>

#include "host/HostTypes.h"

namespace tv {

PF_Err MainPreRender(PF_InData* in_data, PF_OutData* out_data, PF_PreRenderExtra* extra);
PF_Err MainSmartRender(PF_InData* in_data, PF_OutData* out_data, PF_SmartRenderExtra* extra);

// The main effect's own part of the frame key (camera, and lights when they shade), as it
// answers MixHash; `ok` is false when its parameters could not be checked out.
uint64_t MainFrameHash(PF_InData* in_data, bool& ok);

// The size of the output the main effect draws into: the layer's size at the host's downsample.
struct OutputSize {
    int32_t width = 0, height = 0;
};
OutputSize DownsampledOutputSize(const PF_InData* in_data);

// What an ObjectMessage's svgContext points at in an export pass: the frame's shapes, one SVG
// element a line, appended by the main effect.
struct SvgPass {
    std::string shapes;
};
// The export pass of one frame: the stack gathered as for a render and drawn by an SVG engine of
// the output's size.
PF_Err MainSvgPass(PF_InData* in_data, PF_OutData* out_data, SvgPass& pass);

}  // namespace tv
