// "Tavrin Toolkit": adds objects and effectors to a layer from a menu. Its menu logic is not
// built yet: it answers the host's commands and adds nothing.
#include "host/EffectTemplate.h"
#include "resources/EntryPoints.h"

namespace tv {

ParamTable TavrKitParams() {
    return {};
}

PF_Err TavrKitEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                             PF_ParamDef* /*params*/[], PF_LayerDef* /*output*/, void* /*extra*/) {
    if (cmd < 0 || cmd >= PF_Cmd_NUM_CMDS) return PF_Err_NONE;
    const EffectInfo& info = EffectTable()[10];
    switch (cmd) {
        case PF_Cmd_ABOUT:
            WriteAbout(out_data, info.displayName, info.description);
            return PF_Err_NONE;
        case PF_Cmd_GLOBAL_SETUP:
            (void)in_data;
            out_data->my_version = kEffectVersionWord;
            out_data->out_flags = info.outFlags;
            out_data->out_flags2 = info.outFlags2;
            return PF_Err_NONE;
        default:
            return PF_Err_NONE;
    }
}

}  // namespace tv
