// The entry functions, parameter tables and effect-table rows of the main effect and the toolkit.
#pragma once

#include "host/EffectInfo.h"
#include "host/HostTypes.h"
#include "host/ParamTable.h"

namespace tv {

PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                      PF_LayerDef* output, void* extra);
ParamTable MainEffectParams();
extern const EffectInfo kMainEffectInfo;
PF_Err TavrKitEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                             PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable TavrKitParams();
extern const EffectInfo kTavrKitInfo;

}  // namespace tv
