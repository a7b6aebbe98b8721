#include "resources/EffectTable.h"

#include "resources/EntryPoints.h"

namespace tv {

namespace {
const EffectInfo kEffects[] = {
    {1, "Tavrin", "KDL TAVRUS TWO", "EntryPointFunc", &EntryPointFunc, 0x88001, 0x201407,
     EffectRole::Main, "Next Gen 3D Plugin to Create Organic Structures & Networks.", true,
     &MainEffectParams},
    {2, "Tavrin Noise Effector", "KDL TAVREFF Noise", "NoiseEntryPointFunc", &NoiseEntryPointFunc,
     0x208010, 0x1401, EffectRole::Effector,
     "Noise Effector, applies noise to the Position/Scale/Color of Particles in a Tavrin.", true,
     &NoiseParams},
    {3, "Tavrin Spherical Field", "KDL TAVREFF Spherical Field", "SphericalFieldEntryPointFunc",
     &SphericalFieldEntryPointFunc, 0x208010, 0x1401, EffectRole::Effector,
     "Spherical Field Effector, applies Spherical Field to the Position/Scale/Color of Particles "
     "in a Tavrin.",
     true, &SphericalFieldParams},
    {4, "Tavrin Container", "KDL TAVREFF Container", "ContainerEffectorEntryPointFunc",
     &ContainerEffectorEntryPointFunc, 0x200004, 0x1401, EffectRole::Effector,
     "Container Effector, locks all the Particles of a Tavrin in a Container.", true,
     &ContainerEffectorParams},
    {5, "Tavrin Transform", "KDL TAVREFF Transform", "TransformEffectorEntryPointFunc",
     &TransformEffectorEntryPointFunc, 0x200000, 0x1400, EffectRole::Effector,
     "Transform Effector, translates and rotates the Tavrin.\n1.1 - Scale & Center of Transform",
     true, &TransformEffectorParams},
    {6, "Tavrin Layers Object", "KDL TAVRSRC Lights", "LightSourceEntryPointFunc",
     &LightSourceEntryPointFunc, 0x208014, 0x1401, EffectRole::Source,
     "Layer Object Source, Create a Tavrin from the Point Lights/3D Nulls/3D Layers in the "
     "Composition.",
     true, &LightSourceParams},
    {7, "Tavrin Path Object", "KDL TAVRSRC Paths", "PathSourceEntryPointFunc",
     &PathSourceEntryPointFunc, 0x208010, 0x1401, EffectRole::Source,
     "Path Source, Create a Tavrin from the paths in the Layer.", true, &PathSourceParams},
    {8, "Tavrin OBJ Object", "KDL TAVRSRC OBJ", "OBJSourceEntryPointFunc", &OBJSourceEntryPointFunc,
     0x200004, 0x1401, EffectRole::Source,
     "OBJ File Source, Create a Tavrin from the points in the OBJ File.", true, &OBJSourceParams},
    {9, "Tavrin Color Map", "KDL TAVREFF Color Map", "ColorMapEffectorEntryPointFunc",
     &ColorMapEffectorEntryPointFunc, 0x200000, 0x1401, EffectRole::Effector,
     "Color Map Effector, Applies Color Map to Position/Scale/Color of Particles.", true,
     &ColorMapEffectorParams},
    {10, "Tavrin Shade Effector", "KDL TAVREFF Shade Effector", "ShadeEntryPointFunc",
     &ShadeEntryPointFunc, 0x208010, 0x1401, EffectRole::Effector,
     "Shade Effector, Applies Shading to Points.", true, &ShadeParams},
    {11, "Tavrin Toolkit", "KDL TAVRKIT", "TavrKitEntryPointFunc", &TavrKitEntryPointFunc, 0x208000,
     0x1400, EffectRole::Toolkit, "Utility to add New Objects and Effectors.", true,
     &TavrKitParams},
    {12, "Tavrin Primitives Object", "KDL TAVRSRC Primitives", "PrimitiveSourceEntryPointFunc",
     &PrimitiveSourceEntryPointFunc, 0x200000, 0x1401, EffectRole::Source,
     "Creates Primitives like Cube/Sphere/Grid", true, &PrimitiveSourceParams},
    {13, "Tavrin Points Renderer", "KDL TAVRREN Points", "PointsRenderEntryPointFunc",
     &PointsRenderEntryPointFunc, 0x200002, 0x1401, EffectRole::Renderer,
     "Points Renderer, Renders 3D Points/Sprites.", true, &PointsRenderParams},
    {14, "Tavrin Lines Renderer", "KDL TAVRREN Lines", "LinesRenderEntryPointFunc",
     &LinesRenderEntryPointFunc, 0x208000, 0x1401, EffectRole::Renderer,
     "Lines Renderer, Renders 3D Lines.", true, &LinesRenderParams},
    {15, "Tavrin Facets Renderer", "KDL TAVRREN Facets", "FacetsRenderEntryPointFunc",
     &FacetsRenderEntryPointFunc, 0x208000, 0x1401, EffectRole::Renderer,
     "Facets Renderer, Renders 3D Facets from the Geometry Objects.", true, &FacetsRenderParams},
    {16, "Tavrin Triangulation Renderer", "KDL TAVRREN Triangles", "TriangleRenderEntryPointFunc",
     &TriangleRenderEntryPointFunc, 0x208000, 0x1401, EffectRole::Renderer,
     "Lines Renderer, Renders 3D Lines.", true, &TriangleRenderParams},
    {17, "Tavrin Beams Renderer", "KDL TAVRREN Beams", "BeamsRenderEntryPointFunc",
     &BeamsRenderEntryPointFunc, 0x200000, 0x1401, EffectRole::Renderer,
     "Beams Renderer, Renders 3D Beams.", true, &BeamsRenderParams},
    {18, "Tavrin Instances Object", "KDL TAVRSRC Instances", "InstanceSourceEntryPointFunc",
     &InstanceSourceEntryPointFunc, 0x200004, 0x1401, EffectRole::Source,
     "Creates Instances from Existing Tavrin Objects", true, &InstanceSourceParams},
    {19, "Tavrin Legacy Renderer", "KDL TAVRUS", "LegacyRenderEntryPointFunc",
     &LegacyRenderEntryPointFunc, 0x200000, 0x1400, EffectRole::Renderer,
     "Legacy Renderer, preserves compatibility with older versions.", true, &LegacyRenderParams},
    {20, "Tavrin Sound Effector", "KDL TAVREFF Sound Effector", "SoundEntryPointFunc",
     &SoundEntryPointFunc, 0x308010, 0x1401, EffectRole::Effector,
     "Sound Effector, Applies Sound Waveforms to Points.", true, &SoundParams},
    {21, "Tavrin Slicer Object", "KDL TAVRSRC Tracer", "TracerSourceEntryPointFunc",
     &TracerSourceEntryPointFunc, 0x200004, 0x1401, EffectRole::Source,
     "Creates Instances from Existing Tavrin Objects", true, &TracerSourceParams},
};
}  // namespace

std::span<const EffectInfo> EffectTable() {
    return kEffects;
}

const EffectInfo* FindEffectByMatchName(std::string_view matchName) {
    for (const auto& e : kEffects)
        if (matchName == e.matchName) return &e;
    return nullptr;
}

const EffectInfo* FindEffectByDisplayName(std::string_view displayName) {
    for (const auto& e : kEffects)
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
