// What the module's effect table says about one effect: its resource words, names, entry
// function, role and parameter table. Each effect declares its own row beside its entry function.
#pragma once

#include <cstdint>

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
    // For the effect's reference page: what it is for, and how to put it to work.
    const char* purpose = "";
    const char* howTo = "";
};

// Resource words shared by every effect.
inline constexpr const char* kEffectCategory = "Kindlow";
inline constexpr uint32_t kEffectVersionWord = 0x189E02;
inline constexpr int kVersionMajor = 3, kVersionMinor = 1, kVersionBug = 3;

}  // namespace tv
