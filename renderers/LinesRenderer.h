// The lines renderer's frame plan: which frames its lines come from when they are not computed
// every frame, and how two frames blend.
#pragma once

#include <cstdint>
#include <vector>

#include "host/RenderPayloads.h"
#include "renderers/NeighbourSearch.h"

namespace tv {

// "Calc Lines Distance".
enum LinesCalcMode : int32_t {
    kLinesEveryFrame = 1,
    kLinesOneFrame = 2,
    kLinesOverInterval = 3,
};

// Times in ticks of `scale`.
struct LinesFramePlan {
    int64_t length = 0;  // the interval in ticks
    int64_t k = 0;       // the number of the interval holding the current time
    int32_t t0 = 0, t1 = 0, frameTime = 0, duration = 0;
    uint32_t scale = 1;
    float factorA = 1, factorB = 0;  // how far the current time is into, and from the end of, it
};

// The plan at time `now`, with the host's time step, "Lines Frame Num" and "Calc Time Interval"
// in seconds.
LinesFramePlan MakeLinesFramePlan(uint32_t scale, int64_t now, int64_t step, int32_t frameNum,
                                  float interval);

// The times whose geometry the lines need: "Lines Frame Num"'s time for one frame; the start of
// the interval, and its end unless that reaches the comp's total time, over an interval; none
// every frame.
std::vector<int32_t> LinesFrameList(int32_t calcMode, const LinesFramePlan& plan,
                                    int32_t totalTime);

// How a lines item looks, beside its pairs.
struct LinesLook {
    float thickness = 1;
    float color[4] = {1, 1, 1, 1};
    bool getColors = true, getOpacity = true, getScale = true, perspective = true;
};

// The lines item's payload: the set's pairs and factors, and the look.
void FillLinesPayload(const ConnectionSet& set, const LinesLook& look, LinesPayload& out);

}  // namespace tv
