// The 21 entry functions and parameter tables, one per effect.
#pragma once

#include "host/HostTypes.h"
#include "host/ParamTable.h"

namespace tv {

PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                      PF_LayerDef* output, void* extra);
ParamTable MainEffectParams();
PF_Err NoiseEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                           PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable NoiseParams();
PF_Err SphericalFieldEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                    PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable SphericalFieldParams();
PF_Err ContainerEffectorEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                       PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable ContainerEffectorParams();
PF_Err TransformEffectorEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                       PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable TransformEffectorParams();
PF_Err LightSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable LightSourceParams();
PF_Err PathSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable PathSourceParams();
PF_Err OBJSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                               PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable OBJSourceParams();
PF_Err ColorMapEffectorEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                      PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable ColorMapEffectorParams();
PF_Err ShadeEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                           PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable ShadeParams();
PF_Err TavrKitEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                             PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable TavrKitParams();
PF_Err PrimitiveSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                     PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable PrimitiveSourceParams();
PF_Err PointsRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable PointsRenderParams();
PF_Err LinesRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable LinesRenderParams();
PF_Err FacetsRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable FacetsRenderParams();
PF_Err TriangleRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                    PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable TriangleRenderParams();
PF_Err BeamsRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable BeamsRenderParams();
PF_Err InstanceSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                    PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable InstanceSourceParams();
PF_Err LegacyRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable LegacyRenderParams();
PF_Err SoundEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                           PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable SoundParams();
PF_Err TracerSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable TracerSourceParams();

}  // namespace tv
