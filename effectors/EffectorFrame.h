// What every effector shares: the range it works on, axis masks, light fields and falloff, and
// the parallel walk over elements. Their answers to the main effect's messages are in
// host/GroupMessage.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "host/CameraSnapshot.h"
#include "host/GeometryStore.h"
#include "host/GroupMessage.h"
#include "host/ObjectMessage.h"
#include "host/ParamTable.h"
#include "host/SuiteCache.h"

namespace tv {

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

// Calls fn with each colour of element i: the vertex colour, or the three corner colours of a
// face, each changed alike.
template <class Fn>
void ForEachColorOf(GeometryStore& s, bool faces, uint32_t i, Fn&& fn) {
    if (faces) {
        for (auto* list : {&s.faceColorsA, &s.faceColorsB, &s.faceColorsC})
            if (i < list->size()) fn((*list)[i]);
    } else if (i < s.colors.size()) {
        fn(s.colors[i]);
    }
}

// Runs fn(i) for every element index in [first, end) on the host's parallel iteration, in
// blocks. Each element must read and write only its own entries.
template <class Fn>
PF_Err ForEachElement(PF_InData* in, uint32_t first, uint32_t end, Fn&& fn) {
    // Small blocks: 10k vertices make 40 of them, enough to keep every core busy to the end
    // (4096 left one core idle for the last block); the call per block is cheap beside 256
    // elements' work.
    constexpr uint32_t kBlock = 256;
    const int32_t blocks = end > first ? int32_t((end - first + kBlock - 1) / kBlock) : 0;
    return SuiteCache(in)->iterate(blocks, [&](int32_t b) {
        const uint32_t lo = first + uint32_t(b) * kBlock;
        const uint32_t hi = std::min(end, lo + kBlock);
        for (uint32_t i = lo; i < hi; ++i) fn(i);
        return PF_Err_NONE;
    });
}

}  // namespace tv
