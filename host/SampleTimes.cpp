#include "host/SampleTimes.h"

#include <cmath>

namespace tv {

std::vector<A_Time> BuildSampleTimes(const SampleTimeInputs& in) {
    double angle = in.angle;
    double phase = in.phase;
    if (in.mode == kMotionBlurComp) {
        angle = in.compShutterAngle * 1.52587890625e-5 * 360.0;
        phase = in.compShutterPhase * 1.52587890625e-5 * 360.0;
    }
    if (in.mode == kMotionBlurOff || angle <= 0 || in.samples < 1) return {in.time};
    const double frame = double(in.timeStep) / double(in.timeScale);
    const double step = angle / 360.0 * frame / in.samples;
    const double shift = phase / 360.0 * frame;
    const double t0 = std::round(in.time.scale * shift + in.time.value);
    std::vector<A_Time> times;
    times.reserve(size_t(in.samples));
    for (int32_t i = 0; i < in.samples; ++i) {
        double t = std::round(i * step * in.time.scale + t0);
        if (t < 0) t = 0;
        times.push_back(A_Time{static_cast<int32_t>(t), in.time.scale});
    }
    return times;
}

}  // namespace tv
