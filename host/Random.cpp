#include "host/Random.h"

namespace tv {

uint32_t MTRand_int32::state_[kN];
int MTRand_int32::position_ = kN;
bool MTRand_int32::seeded_ = false;
std::recursive_mutex MTRand_int32::mutex_;

std::unique_lock<std::recursive_mutex> MTRand_int32::lock() {
    return std::unique_lock<std::recursive_mutex>(mutex_);
}

void MTRand_int32::seed(uint32_t s) {
    std::lock_guard guard(mutex_);
    state_[0] = s;
    for (int i = 1; i < kN; ++i)
        state_[i] = 1812433253u * (state_[i - 1] ^ (state_[i - 1] >> 30)) + uint32_t(i);
    position_ = kN;
    seeded_ = true;
}

void MTRand_int32::regenerate() {
    auto twiddle = [](uint32_t u, uint32_t v) {
        return (((u & 0x80000000u) | (v & 0x7FFFFFFFu)) >> 1) ^ ((v & 1u) ? 0x9908B0DFu : 0u);
    };
    for (int i = 0; i < kN - kM; ++i)
        state_[i] = state_[i + kM] ^ twiddle(state_[i], state_[i + 1]);
    for (int i = kN - kM; i < kN - 1; ++i)
        state_[i] = state_[i + kM - kN] ^ twiddle(state_[i], state_[i + 1]);
    state_[kN - 1] = state_[kM - 1] ^ twiddle(state_[kN - 1], state_[0]);
    position_ = 0;
}

uint32_t MTRand_int32::next() {
    std::lock_guard guard(mutex_);
    if (!seeded_) seed(5489u);
    if (position_ >= kN) regenerate();
    uint32_t x = state_[position_++];
    x ^= x >> 11;
    x ^= (x << 7) & 0x9D2C5680u;
    x ^= (x << 15) & 0xEFC60000u;
    x ^= x >> 18;
    return x;
}

}  // namespace tv
