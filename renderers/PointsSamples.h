// Sprite sample times and per-vertex sample indices of the points renderer.
#pragma once

#include <cstdint>
#include <vector>

#include "host/HostTypes.h"

namespace tv {

enum TimeSampling : int32_t { kSampleCurrent = 1, kSampleRandomStill = 2, kSampleRandomLoop = 3 };
enum LoopType : int32_t { kLoopNormal = 1, kLoopPingPong = 2, kLoopFreeze = 3 };

struct SampleInputs {
    int32_t timeSampling = kSampleCurrent;
    int32_t loopType = kLoopNormal;
    int32_t randomSeed = 1;
    int32_t maxSamples = 64;
    uint32_t count = 0;     // vertices in the range
    A_Time spriteDuration;  // in the sprite's time scale
    A_Time compFrame;       // one comp frame
    A_Time now;             // the current time
};

// Builds times and indices; returns false (and leaves them untouched) when nothing is built.
bool BuildSpriteSamples(const SampleInputs& in, std::vector<A_Time>& times,
                        std::vector<uint32_t>& indices);

}  // namespace tv
