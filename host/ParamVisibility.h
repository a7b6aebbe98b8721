// Which parameters an effect shows, as data: one rule per parameter, applied in order.
#pragma once

#include <cstdint>
#include <span>

#include "host/HostTypes.h"

namespace tv {

struct ParamRule {
    int32_t index;
    bool hidden;
};

// Hides or shows each rule's parameter; stops at the first error.
PF_Err ShowParameters(PF_InData* in, std::span<const ParamRule> rules);

}  // namespace tv
