#include "renderers/PointsSamples.h"

#include <algorithm>
#include <cstdlib>

#include "host/Random.h"

namespace tv {

bool BuildSpriteSamples(const SampleInputs& in, std::vector<A_Time>& times,
                        std::vector<uint32_t>& indices) {
    if (in.count == 0 || in.spriteDuration.scale == 0) return false;
    const uint32_t S = std::min<uint32_t>(uint32_t(std::max(in.maxSamples, 1)), in.count);
    times.assign(S, in.spriteDuration);
    indices.resize(in.count);
    for (uint32_t i = 0; i < in.count; ++i) indices[i] = i % S;
    auto guard = MTRand_int32::lock();
    MTRand_int32 twister;
    twister.seed(uint32_t(in.randomSeed));
    const uint32_t scale = in.spriteDuration.scale;
    auto toSprite = [scale](const A_Time& t) {
        return int64_t(float(double(t.value) * scale / double(t.scale)));
    };
    const int64_t step = std::max<int64_t>(1, toSprite(in.compFrame));
    const int64_t now = toSprite(in.now);
    const int64_t last = int64_t(in.spriteDuration.value) - step;
    for (uint32_t k = 0; k < S; ++k) {
        const int32_t drawn = static_cast<int32_t>(twister.next());
        // A one-frame sprite has last 0: every sample is frame 0.
        int64_t t = last > 0 ? std::llabs(int64_t(drawn)) % last : 0;
        if (in.timeSampling == kSampleRandomLoop && last > 0) {
            t += now;
            switch (in.loopType) {
                case kLoopPingPong:
                    if (t > last) {
                        const int64_t q = t / last, m = t % last;
                        t = (q % 2) ? last - m : m;
                    }
                    break;
                case kLoopFreeze:
                    t = std::min(t, last);
                    break;
                default:
                    t %= (last + 1);
                    break;
            }
        }
        if (t % step != 0) t = t - t % step + step;
        times[k].value = static_cast<int32_t>(t);
    }
    twister.seed(uint32_t(in.randomSeed * 2 + 1));
    for (uint32_t i = 1; i < in.count; ++i) {
        const uint32_t j = twister.next() % (i + 1);
        std::swap(indices[i], indices[j]);
    }
    return true;
}

}  // namespace tv
