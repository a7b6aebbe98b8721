// The parameter hash every effect mixes into the frame key: values in a fixed order, each hashed
// with FNV-1a 64 over its bytes and combined into a per-effect seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tv {

uint64_t Fnv1a64(const void* data, size_t size);
// seed ^= h + 0x9e3779b9 + (seed << 6) + (seed >> 2)
uint64_t HashCombine(uint64_t seed, uint64_t h);

class ParamHasher {
  public:
    explicit ParamHasher(uint64_t seed) : seed_(seed) {}
    ParamHasher& add(int32_t v) { return bytes(&v, sizeof v); }
    ParamHasher& add(uint32_t v) { return bytes(&v, sizeof v); }
    ParamHasher& add(int64_t v) { return bytes(&v, sizeof v); }
    ParamHasher& add(uint64_t v) { return bytes(&v, sizeof v); }
    // Zero hashes as +0, so -0.0 and 0.0 give the same key.
    ParamHasher& add(float v) {
        if (v == 0.0f) v = 0.0f;
        return bytes(&v, sizeof v);
    }
    ParamHasher& add(double v) {
        if (v == 0.0) v = 0.0;
        return bytes(&v, sizeof v);
    }
    ParamHasher& add(std::string_view s) { return bytes(s.data(), s.size()); }
    ParamHasher& bytes(const void* data, size_t size) {
        seed_ = HashCombine(seed_, Fnv1a64(data, size));
        return *this;
    }
    uint64_t value() const { return seed_; }

  private:
    uint64_t seed_;
};

}  // namespace tv
