// The Mersenne Twister all seeded randomness uses. Its state is ONE array shared by every object
// of the class: seeding any object reseeds them all, so code seeds directly before it draws.
// With several render threads, hold lock() across the seed and the draws.
#pragma once

#include <cstdint>
#include <mutex>

namespace tv {

class MTRand_int32 {
  public:
    MTRand_int32() = default;
    explicit MTRand_int32(uint32_t s) { seed(s); }
    virtual ~MTRand_int32() = default;

    void seed(uint32_t s);
    // Seeds with 5489 first when nothing has seeded the shared state yet.
    uint32_t next();
    uint32_t operator()() { return next(); }

    // Guards the shared state across a seed-and-draw sequence.
    static std::unique_lock<std::recursive_mutex> lock();

  private:
    static constexpr int kN = 624;
    static constexpr int kM = 397;
    static void regenerate();
    static uint32_t state_[kN];
    static int position_;
    static bool seeded_;
    static std::recursive_mutex mutex_;
};

// Draws doubles in 0..1: next() * 2^-32.
class MTRand : public MTRand_int32 {
  public:
    MTRand() = default;
    explicit MTRand(uint32_t s) : MTRand_int32(s) {}
    double operator()() { return next() * 2.3283064365386963e-10; }
};

}  // namespace tv
