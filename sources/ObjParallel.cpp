#include "sources/ObjParallel.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace tv {

void RunJobs(size_t count, unsigned threads, const std::function<void(size_t)>& job) {
    if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
    std::atomic<size_t> next{0};
    auto work = [&] {
        for (size_t i = next++; i < count; i = next++) job(i);
    };
    std::vector<std::thread> pool;
    const size_t extra = std::min<size_t>(threads, count) - (count > 0 ? 1 : 0);
    try {
        for (size_t t = 0; t < extra; ++t) pool.emplace_back(work);
    } catch (const std::system_error&) {
        // Fewer threads than asked: the ones started and this one take every job.
    }
    work();
    for (std::thread& t : pool) t.join();
}

}  // namespace tv
