// Colour-gradient parameters: their table row, with the tag they share with the curves and the
// routine that makes their default stops.
#pragma once

#include "host/ParamBuilders.h"
#include "params/ArbHandler.h"

namespace tv {

constexpr ParamSpec GradientParam(int32_t index, int32_t disk, const char* name,
                                  std::vector<uint8_t> (*makeDefault)()) {
    ParamSpec s = params::Row(index, disk, PF_Param_ARBITRARY_DATA, name);
    s.arbId = disk;
    s.arbRefcon = kCurveArbRefcon;
    s.uiWidth = 400;
    s.uiHeight = 100;
    s.makeArbDefault = makeDefault;
    return s;
}

}  // namespace tv
