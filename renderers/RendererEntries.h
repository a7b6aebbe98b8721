// The entry functions, parameter tables and effect-table rows of the renderers.
#pragma once

#include "host/EffectInfo.h"
#include "host/HostTypes.h"
#include "host/ParamTable.h"

namespace tv {

PF_Err PointsRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable PointsRenderParams();
extern const EffectInfo kPointsRenderInfo;
PF_Err LinesRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable LinesRenderParams();
extern const EffectInfo kLinesRenderInfo;
PF_Err FacetsRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable FacetsRenderParams();
extern const EffectInfo kFacetsRenderInfo;
PF_Err TriangleRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                    PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable TriangleRenderParams();
extern const EffectInfo kTriangleRenderInfo;
PF_Err BeamsRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable BeamsRenderParams();
extern const EffectInfo kBeamsRenderInfo;
PF_Err LegacyRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra);
ParamTable LegacyRenderParams();
extern const EffectInfo kLegacyRenderInfo;

}  // namespace tv
