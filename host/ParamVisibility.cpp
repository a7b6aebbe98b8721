#include "host/ParamVisibility.h"

#include "host/ParamTable.h"

namespace tv {

PF_Err ShowParameters(PF_InData* in, std::span<const ParamRule> rules) {
    for (const ParamRule& rule : rules)
        if (const PF_Err err = ShowParameter(in, rule.index, rule.hidden)) return err;
    return PF_Err_NONE;
}

}  // namespace tv
