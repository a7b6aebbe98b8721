// Curve-over-distance parameters: their table row and the params-setup step that makes and
// fills their default handle.
#pragma once

#include "host/ParamBuilders.h"
#include "params/ArbHandler.h"
#include "params/DistanceCurve.h"

namespace tv {

// Adds a curve parameter: allocates an 800-byte handle, zeroes it, lets the row's routine fill
// it, and adds the parameter with that handle as its default. The host owns the handle once the
// parameter is added; on failure it is freed here.
PF_Err AddCurveParam(PF_InData* in_data, const ParamSpec& spec);

// Arbitrary data with the curve editor: 350 by 100, the curve tag, and the routine that writes
// the default samples.
constexpr ParamSpec CurveParam(int32_t index, int32_t disk, const char* name,
                               void (*fillDefault)(DistanceCurve&)) {
    ParamSpec s = params::Row(index, disk, PF_Param_ARBITRARY_DATA, name);
    s.arbId = disk;
    s.arbRefcon = kCurveArbRefcon;
    s.uiWidth = 350;
    s.uiHeight = 100;
    s.fillCurve = fillDefault;
    s.addArbParam = &AddCurveParam;
    return s;
}

// The curve a parameter holds at the current time, or `fallback` when it holds no curve.
DistanceCurve ReadCurveParam(PF_InData* in_data, int32_t index, const DistanceCurve& fallback);

}  // namespace tv
