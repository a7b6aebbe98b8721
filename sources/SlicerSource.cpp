// "Tavrin Slicer Object": projects one layer's geometry onto another layer's mesh.
// Its own logic is not built yet: it answers the host's commands, keeps its sequence record and
// adds nothing to a frame.
#include "host/EffectTemplate.h"
#include "resources/EntryPoints.h"

namespace tv {

namespace {
SubEffectHandlers MakeHandlers() {
    SubEffectHandlers h;
    // The slicer's about box reuses the instances source's name and description.
    h.aboutName = "Tavrin Instances Object";
    h.aboutDescription = "Creates Instances from Existing Tavrin Objects";

    return h;
}
const SubEffectHandlers kHandlers = MakeHandlers();
}  // namespace

ParamTable TracerSourceParams() {
    return {};
}

PF_Err TracerSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(EffectTable()[20], kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

}  // namespace tv
