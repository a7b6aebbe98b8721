// What every effector shares: the range it works on, axis masks, light fields and falloff.
#pragma once

#include <string>
#include <vector>

#include "host/CameraSnapshot.h"
#include "host/GeometryStore.h"
#include "host/ObjectMessage.h"

namespace tv {

enum EffectorTarget : int32_t { kTargetVertices = 1, kTargetFaces = 2 };

// Axis popup values 1..7 ("X Axis" .. "XYZ Axis") as an X/Y/Z mask.
struct AxisMask {
    bool x = false, y = false, z = false;
};
AxisMask AxisSelection(int32_t axis);

// The range of elements an effector works on: the whole array for group 12, else the group's.
IndexRange EffectorRange(GeometryStore& store, int32_t group, int32_t target);

// One field per light (or the effect's own): where it acts and how strongly.
struct FieldRecord {
    float center[3] = {0, 0, 0};
    float radius = 0;
    float fade = 0;
    float amount = 0;
};

// w = 1 - clamp((d / r - (1 - f)) / f, 0, 1); only when r >= d.
bool FieldWeight(const FieldRecord& field, double distance, double& weight);

// "None|Intensity|Shadow Darkness|Shadow Diffusion": a light value, or the fallback for None.
double LightValue(int32_t source, const SceneLight& light, double fallback, bool asFraction);

// The light name prefix from a popup of words (1-based), "(-", Custom, All Lights.
std::string LightPrefix(int32_t popup, const std::vector<std::string>& words,
                        const std::string& customText);

}  // namespace tv
