// The comp times a frame is sampled at for motion blur.
#pragma once

#include <vector>

#include "host/HostTypes.h"

namespace tv {

enum MotionBlurMode : int32_t { kMotionBlurOff = 1, kMotionBlurComp = 2, kMotionBlurCustom = 3 };

struct SampleTimeInputs {
    A_Time time;  // the frame's comp time
    int32_t mode = kMotionBlurOff;
    double angle = 0;               // degrees, for the custom mode
    double phase = 0;               // degrees, for the custom mode
    PF_Fixed compShutterAngle = 0;  // the comp's, 16.16, for the comp-settings mode
    PF_Fixed compShutterPhase = 0;
    int32_t samples = 1;
    int32_t timeStep = 1;  // one frame, in time_scale ticks
    uint32_t timeScale = 1;
};

std::vector<A_Time> BuildSampleTimes(const SampleTimeInputs& in);

}  // namespace tv
