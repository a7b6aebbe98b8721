// Light on triangles and facets: the comp's lights, as the main effect's "Shading" group
// selects them, darken or light each corner by how it faces them and how far they are.
#pragma once

#include <vector>

namespace tv {

struct ShadingLight {
    double position[3] = {0, 0, 0};
    float color[3] = {1, 1, 1};
    float intensity = 100;  // percent, as the light's stream gives it
};

struct ShadingRecord {
    bool enabled = false;   // "Use Lights for Shading"
    bool bothSides = true;  // "Shading Mode": Both Sides
    double radius = 500;    // "Shading Radius": full light up to this distance
    double falloff = 500;   // "Shading Falloff": from there down to none over this distance
    std::vector<ShadingLight> lights;
};

// Scales the RGB of `rgba` by the light reaching point `p` of a surface with unit normal `n`:
// the sum over the lights of colour x intensity / 100 x reach x facing, each channel held to
// 0..1. Reach is 1 up to the radius and falls linearly to 0 over the falloff (a falloff of 0 is
// a hard edge); facing is the cosine between the normal and the way to the light, its absolute
// value with both sides lit, else no less than 0 (a light at p itself faces fully). Alpha stays.
// Nothing changes when the record is not enabled.
void ShadeColor(const ShadingRecord& s, const double p[3], const double n[3], float rgba[4]);

}  // namespace tv
