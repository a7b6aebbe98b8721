#include "renderers/JitterShift.h"

#include <algorithm>
#include <vector>

namespace tv {

namespace {

// Adds factor times each vertex's jitter to its position. Each vertex on its own, so blocks of
// them may run at once. Never throws: should the parallel run fail, the blocks it did not finish
// are done here in turn, so the store is always moved exactly once.
void Shift(GeometryStore& store, float factor, const ParallelFor& parallel) noexcept {
    constexpr size_t kBlock = 16384;
    const size_t n = std::min(store.positions.size(), store.jitter.size());
    const auto blocks = int32_t((n + kBlock - 1) / kBlock);
    std::vector<char> done(size_t(blocks), 0);
    auto shift = [&store, &done, factor, n](int32_t block) {
        const size_t last = std::min(n, (size_t(block) + 1) * kBlock);
        for (size_t i = size_t(block) * kBlock; i < last; ++i) {
            store.positions[i].x += store.jitter[i].x * factor;
            store.positions[i].y += store.jitter[i].y * factor;
            store.positions[i].z += store.jitter[i].z * factor;
        }
        done[size_t(block)] = 1;
    };
    if (parallel && blocks > 1) {
        try {
            parallel(blocks, shift);
        } catch (...) {
        }
    }
    for (int32_t b = 0; b < blocks; ++b)
        if (!done[size_t(b)]) shift(b);
}

}  // namespace

JitterShift::JitterShift(GeometryStore& store, const ParallelFor& parallel)
    : store_(store), parallel_(parallel) {
    Shift(store_, 1.0f, parallel_);
}

JitterShift::~JitterShift() {
    Shift(store_, -1.0f, parallel_);
}

}  // namespace tv
