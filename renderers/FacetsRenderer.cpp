// "Tavrin Facets Renderer": Facets Renderer, Renders 3D Facets from the Geometry Objects.
// Its own logic is not built yet: it answers the host's commands, keeps its sequence record and
// adds nothing to a frame.
#include "host/EffectTemplate.h"
#include "resources/EntryPoints.h"

namespace tv {

namespace {
SubEffectHandlers MakeHandlers() {
    SubEffectHandlers h;

    return h;
}
const SubEffectHandlers kHandlers = MakeHandlers();
}  // namespace

ParamTable FacetsRenderParams() {
    return {};
}

PF_Err FacetsRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(EffectTable()[14], kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

}  // namespace tv
