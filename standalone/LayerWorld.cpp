#include "standalone/LayerWorld.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstring>

namespace tv::standalone {

namespace {

// Calls fn(first, count) for slices of 1 MiB on the threads.
template <class Fn>
void InSlices(size_t bytes, const Fn& fn) {
    constexpr size_t kSlice = size_t(1) << 20;
    const size_t slices = (bytes + kSlice - 1) / kSlice;
    tbb::parallel_for(size_t(0), slices, [&](size_t s) {
        const size_t first = s * kSlice;
        fn(first, std::min(kSlice, bytes - first));
    });
}

}  // namespace

void ZeroOnThreads(uint8_t* data, size_t bytes) {
    InSlices(bytes, [data](size_t first, size_t count) { std::memset(data + first, 0, count); });
}

void CopyOnThreads(uint8_t* to, const uint8_t* from, size_t bytes) {
    InSlices(bytes, [to, from](size_t first, size_t count) {
        std::memcpy(to + first, from + first, count);
    });
}

}  // namespace tv::standalone
