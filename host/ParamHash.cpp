#include "host/ParamHash.h"

namespace tv {

uint64_t Fnv1a64(const void* data, size_t size) {
    uint64_t h = 14695981039346656037ull;
    const auto* p = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < size; ++i) {
        h ^= p[i];
        h *= 1099511628211ull;
    }
    return h;
}

uint64_t HashCombine(uint64_t seed, uint64_t h) {
    seed ^= h + 0x9e3779b9ull + (seed << 6) + (seed >> 2);
    return seed;
}

}  // namespace tv
