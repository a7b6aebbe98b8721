// Reading one parameter's value in the units the effects use.
#pragma once

#include <cstdint>

#include "host/EffectTemplate.h"
#include "host/HostTypes.h"

namespace tv {

// A fixed-point slider or angle as a double.
inline double FixedParam(PF_InData* in, int32_t index) {
    return FixedToDouble(CheckoutParam(in, index).u.fixed);
}

// A fixed-point percentage (0..100) as a fraction.
inline double PercentParam(PF_InData* in, int32_t index) {
    return FixedParam(in, index) / 100.0;
}

inline bool CheckedParam(PF_InData* in, int32_t index) {
    return CheckoutParam(in, index).u.checkbox != 0;
}

// A point parameter's coordinate, given in the downsampled layer, at full resolution.
inline double FullResolutionX(const PF_InData* in, PF_Fixed x) {
    return FixedToDouble(x) * in->downsample_x.den / in->downsample_x.num;
}
inline double FullResolutionY(const PF_InData* in, PF_Fixed y) {
    return FixedToDouble(y) * in->downsample_y.den / in->downsample_y.num;
}

}  // namespace tv
