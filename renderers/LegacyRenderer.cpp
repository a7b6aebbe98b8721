// "Tavrin Legacy Renderer": Legacy Renderer, preserves compatibility with older versions.
// Its own logic is not built yet: it answers the host's commands, keeps its sequence record and
// adds nothing to a frame.
#include "host/EffectTemplate.h"
#include "resources/EntryPoints.h"

namespace tv {

namespace {
SubEffectHandlers MakeHandlers() {
    SubEffectHandlers h;
    h.queryDynamicFlags = false;
    return h;
}
const SubEffectHandlers kHandlers = MakeHandlers();
}  // namespace

ParamTable LegacyRenderParams() {
    return {};
}

PF_Err LegacyRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(EffectTable()[18], kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

}  // namespace tv
