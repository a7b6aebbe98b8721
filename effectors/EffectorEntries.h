// The entry functions, parameter tables and effect-table rows of the effectors.
#pragma once

#include "host/EffectInfo.h"
#include "host/HostTypes.h"
#include "host/ParamTable.h"

namespace tv {

PF_Err NoiseEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                           PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable NoiseParams();
extern const EffectInfo kNoiseInfo;
PF_Err SphericalFieldEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                    PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable SphericalFieldParams();
extern const EffectInfo kSphericalFieldInfo;
PF_Err ContainerEffectorEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                       PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable ContainerEffectorParams();
extern const EffectInfo kContainerEffectorInfo;
PF_Err TransformEffectorEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                       PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable TransformEffectorParams();
extern const EffectInfo kTransformEffectorInfo;
PF_Err ColorMapEffectorEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                      PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable ColorMapEffectorParams();
extern const EffectInfo kColorMapEffectorInfo;
PF_Err ShadeEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                           PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable ShadeParams();
extern const EffectInfo kShadeInfo;
PF_Err SoundEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                           PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable SoundParams();
extern const EffectInfo kSoundInfo;

}  // namespace tv
