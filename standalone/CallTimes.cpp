#include "standalone/CallTimes.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tv::standalone {

namespace {
thread_local std::vector<std::pair<uint64_t, A_Time>> tCallTimes;
}  // namespace

CallTimeScope::CallTimeScope(uint64_t instance, const A_Time& time) {
    tCallTimes.emplace_back(instance, time);
}

CallTimeScope::~CallTimeScope() {
    tCallTimes.pop_back();
}

bool CurrentCallTime(uint64_t instance, A_Time& time) {
    const auto call = std::find_if(tCallTimes.rbegin(), tCallTimes.rend(),
                                   [instance](const auto& c) { return c.first == instance; });
    if (call == tCallTimes.rend()) return false;
    time = call->second;
    return true;
}

uint64_t InnermostCallInstance() {
    return tCallTimes.empty() ? 0 : tCallTimes.back().first;
}

}  // namespace tv::standalone
