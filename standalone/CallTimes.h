// The time each effect instance is being called at on this thread, innermost last: a layer
// parameter's pixels are those at the time of the call that asks for them.
#pragma once

#include <cstdint>

#include "host/HostTypes.h"

namespace tv::standalone {

// Records a call of an instance at a time for as long as it lives.
struct CallTimeScope {
    CallTimeScope(uint64_t instance, const A_Time& time);
    ~CallTimeScope();
    CallTimeScope(const CallTimeScope&) = delete;
    CallTimeScope& operator=(const CallTimeScope&) = delete;
};

// The time of the innermost call of the instance running on this thread; false when none is.
bool CurrentCallTime(uint64_t instance, A_Time& time);

// The instance of the innermost call running on this thread, 0 when none is.
uint64_t InnermostCallInstance();

}  // namespace tv::standalone
