#include "resources/EffectTable.h"

#include "resources/EntryPoints.h"

namespace tv {

// Copies of the rows each effect declares beside its entry function, in resource order, made
// at the first call so that no other file's static initialiser can see them unset.
std::span<const EffectInfo> EffectTable() {
    static const EffectInfo table[] = {
        kMainEffectInfo,        kNoiseInfo,          kSphericalFieldInfo, kContainerEffectorInfo,
        kTransformEffectorInfo, kLightSourceInfo,    kPathSourceInfo,     kOBJSourceInfo,
        kColorMapEffectorInfo,  kShadeInfo,          kTavrKitInfo,        kPrimitiveSourceInfo,
        kPointsRenderInfo,      kLinesRenderInfo,    kFacetsRenderInfo,   kTriangleRenderInfo,
        kBeamsRenderInfo,       kInstanceSourceInfo, kLegacyRenderInfo,   kSoundInfo,
        kTracerSourceInfo,
    };
    return table;
}

const EffectInfo* FindEffectByMatchName(std::string_view matchName) {
    for (const auto& e : EffectTable())
        if (matchName == e.matchName) return &e;
    return nullptr;
}

const EffectInfo* FindEffectByDisplayName(std::string_view displayName) {
    for (const auto& e : EffectTable())
        if (displayName == e.displayName) return &e;
    return nullptr;
}

std::string_view RoleName(EffectRole role) {
    switch (role) {
        case EffectRole::Main:
            return "main";
        case EffectRole::Source:
            return "source";
        case EffectRole::Effector:
            return "effector";
        case EffectRole::Renderer:
            return "renderer";
        case EffectRole::Toolkit:
            return "toolkit";
    }
    return "";
}

}  // namespace tv
