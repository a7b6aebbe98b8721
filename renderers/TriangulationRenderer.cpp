// "Tavrin Triangulation Renderer": Triangulation Renderer, Renders 3D Triangles.
// Its own logic is not built yet: it answers the host's commands, keeps its sequence record and
// adds nothing to a frame.
#include "host/EffectTemplate.h"
#include "resources/EntryPoints.h"

namespace tv {

namespace {
SubEffectHandlers MakeHandlers() {
    SubEffectHandlers h;
    // The about box deliberately reuses the lines renderer's name and description.
    h.aboutName = "Tavrin Lines Renderer";
    h.aboutDescription = "Lines Renderer, Renders 3D Lines.";
    return h;
}
const SubEffectHandlers kHandlers = MakeHandlers();
}  // namespace

ParamTable TriangleRenderParams() {
    return {};
}

PF_Err TriangleRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                    PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(EffectTable()[15], kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

}  // namespace tv
