// Parameter kinds and ranges in words, for listings and error messages.
#pragma once

#include <string>
#include <string_view>

#include "host/ParamTable.h"

namespace tv::standalone {

std::string_view ParamKindName(PF_ParamType type);
std::string DescribeParamRange(const ParamSpec& spec);

}  // namespace tv::standalone
