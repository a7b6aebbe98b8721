// The entry functions, parameter tables and effect-table rows of the sources.
#pragma once

#include "host/EffectInfo.h"
#include "host/HostTypes.h"
#include "host/ParamTable.h"

namespace tv {

PF_Err LightSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable LightSourceParams();
extern const EffectInfo kLightSourceInfo;
PF_Err PathSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable PathSourceParams();
extern const EffectInfo kPathSourceInfo;
PF_Err OBJSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                               PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable OBJSourceParams();
extern const EffectInfo kOBJSourceInfo;
PF_Err PrimitiveSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                     PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable PrimitiveSourceParams();
extern const EffectInfo kPrimitiveSourceInfo;
PF_Err InstanceSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                    PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable InstanceSourceParams();
extern const EffectInfo kInstanceSourceInfo;
PF_Err TracerSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable TracerSourceParams();
extern const EffectInfo kTracerSourceInfo;

}  // namespace tv
