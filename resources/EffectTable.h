// The 21 effects this module registers, one row per effect resource, in resource order.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "host/HostTypes.h"
#include "host/ParamTable.h"

namespace tv {

enum class EffectRole : uint8_t { Main, Source, Effector, Renderer, Toolkit };

struct EffectInfo {
    int32_t resId;
    const char* displayName;
    const char* matchName;
    const char* entryName;
    PF_EntryFunc entry;
    uint32_t outFlags;   // eGLO
    uint32_t outFlags2;  // eGL2
    EffectRole role;
    const char* description;  // the about box's second line
    bool built;               // false while the effect's own logic is not written yet
    ParamTable (*params)();   // the effect's parameter table
};

// Resource words shared by every effect.
inline constexpr const char* kEffectCategory = "Kindlow";
inline constexpr uint32_t kEffectVersionWord = 0x189E02;
inline constexpr int kVersionMajor = 3, kVersionMinor = 1, kVersionBug = 3;

std::span<const EffectInfo> EffectTable();
const EffectInfo* FindEffectByMatchName(std::string_view matchName);
const EffectInfo* FindEffectByDisplayName(std::string_view displayName);
std::string_view RoleName(EffectRole role);

}  // namespace tv
