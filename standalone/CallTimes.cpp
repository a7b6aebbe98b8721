#include "standalone/CallTimes.h"

#include <cstddef>

namespace tv::standalone {

namespace {

struct CallTime {
    uint64_t instance;
    A_Time time;
};

// A fixed array, so that the record has no destructor: a host torn down after this thread's
// thread-local objects (a static host destroyed at exit) still calls its effects safely. Calls
// nest far less deep than this (precomps stop at 32 levels); deeper ones go unrecorded, and their
// instances read the time of their nearest recorded call.
constexpr size_t kMostNested = 1024;
thread_local CallTime tCalls[kMostNested];
thread_local size_t tDepth = 0;

}  // namespace

CallTimeScope::CallTimeScope(uint64_t instance, const A_Time& time) {
    if (tDepth < kMostNested) tCalls[tDepth] = CallTime{instance, time};
    ++tDepth;
}

CallTimeScope::~CallTimeScope() {
    --tDepth;
}

bool CurrentCallTime(uint64_t instance, A_Time& time) {
    for (size_t i = tDepth < kMostNested ? tDepth : kMostNested; i-- > 0;)
        if (tCalls[i].instance == instance) {
            time = tCalls[i].time;
            return true;
        }
    return false;
}

uint64_t InnermostCallInstance() {
    return tDepth == 0 || tDepth > kMostNested ? 0 : tCalls[tDepth - 1].instance;
}

}  // namespace tv::standalone
