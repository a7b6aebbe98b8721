// The 21 effects this module registers, one row per effect resource, in resource order.
#pragma once

#include <span>
#include <string_view>

#include "host/EffectInfo.h"

namespace tv {

std::span<const EffectInfo> EffectTable();
const EffectInfo* FindEffectByMatchName(std::string_view matchName);
const EffectInfo* FindEffectByDisplayName(std::string_view displayName);
std::string_view RoleName(EffectRole role);

}  // namespace tv
