// Jobs 0 to count-1 spread over a few threads of their own (the calling one included), for
// code that has no host pool at hand.
#pragma once

#include <cstddef>
#include <functional>

namespace tv {

// Runs every job once; returns when all are done. A job must not throw. `threads` 0 means one
// per core.
void RunJobs(size_t count, unsigned threads, const std::function<void(size_t)>& job);

}  // namespace tv
