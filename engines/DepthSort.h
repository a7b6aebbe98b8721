// The depth sort's introsort: median of three, insertion sort below 33 elements, heap sort when
// the depth budget is spent. Unstable by design; a record sorts first when its key is greater.
// Equal keys come out in the order this exact algorithm leaves them, which the pictures depend
// on, so a parallel sort may only run the same partitions on more threads.
#pragma once

#include <cstddef>
#include <utility>

namespace tv {

namespace detail {

template <class T, class Key>
void InsertionSortFarFirst(T* a, size_t n, const Key& key) {
    for (size_t i = 1; i < n; ++i) {
        T v = a[i];
        const double k = key(v);
        size_t j = i;
        while (j > 0 && key(a[j - 1]) < k) {
            a[j] = a[j - 1];
            --j;
        }
        a[j] = v;
    }
}

template <class T, class Key>
void SiftDown(T* a, size_t root, size_t n, const Key& key) {
    for (;;) {
        size_t child = 2 * root + 1;
        if (child >= n) return;
        // A min-heap on the key: the smallest (nearest) goes to the back.
        if (child + 1 < n && key(a[child + 1]) < key(a[child])) ++child;
        if (!(key(a[child]) < key(a[root]))) return;
        std::swap(a[root], a[child]);
        root = child;
    }
}

template <class T, class Key>
void HeapSortFarFirst(T* a, size_t n, const Key& key) {
    for (size_t i = n / 2; i-- > 0;) SiftDown(a, i, n, key);
    for (size_t end = n; end > 1; --end) {
        std::swap(a[0], a[end - 1]);
        SiftDown(a, 0, end - 1, key);
    }
}

// Moves a pivot (median of the first, middle and last keys) to its place and returns that
// place: keys before it are no smaller, keys after it no greater.
template <class T, class Key>
size_t PartitionFarFirst(T* a, size_t n, const Key& key) {
    const size_t mid = n / 2;
    const double k0 = key(a[0]), k1 = key(a[mid]), k2 = key(a[n - 1]);
    size_t m = mid;
    if ((k0 >= k1) == (k1 >= k2))
        m = mid;
    else if ((k1 >= k0) == (k0 >= k2))
        m = 0;
    else
        m = n - 1;
    std::swap(a[0], a[m]);
    const double pivot = key(a[0]);
    size_t lo = 1, hi = n;
    for (;;) {
        while (lo < n && key(a[lo]) > pivot) ++lo;
        --hi;
        while (key(a[hi]) < pivot) --hi;
        if (lo >= hi) break;
        std::swap(a[lo], a[hi]);
        ++lo;
    }
    std::swap(a[0], a[hi]);
    return hi;
}

template <class T, class Key>
void IntroSortLoop(T* a, size_t n, int depth, const Key& key) {
    while (n > 32) {
        if (depth-- == 0) {
            HeapSortFarFirst(a, n, key);
            return;
        }
        const size_t hi = PartitionFarFirst(a, n, key);
        // Recurse into the smaller side, loop on the larger.
        if (hi < n - hi - 1) {
            IntroSortLoop(a, hi, depth, key);
            a += hi + 1;
            n -= hi + 1;
        } else {
            IntroSortLoop(a + hi + 1, n - hi - 1, depth, key);
            n = hi;
        }
    }
    InsertionSortFarFirst(a, n, key);
}

// Below this many records a range is sorted on one thread.
constexpr size_t kParallelSortMin = 4096;

// IntroSortLoop with the two sides of each large range sorted at once. Each side starts with the
// budget the serial loop would give it, so every range is partitioned as there.
template <class T, class Key, class Parallel>
void ParallelIntroSortLoop(T* a, size_t n, int depth, const Key& key, const Parallel& parallel) {
    if (n <= kParallelSortMin) return IntroSortLoop(a, n, depth, key);
    if (depth-- == 0) return HeapSortFarFirst(a, n, key);
    const size_t hi = PartitionFarFirst(a, n, key);
    parallel(2, [&](int32_t side) {
        if (side == 0)
            ParallelIntroSortLoop(a, hi, depth, key, parallel);
        else
            ParallelIntroSortLoop(a + hi + 1, n - hi - 1, depth, key, parallel);
    });
}

}  // namespace detail

inline int IntroSortDepth(size_t n) {
    int depth = 0;
    for (size_t k = n; k > 1; k >>= 1) depth += 2;
    return depth;
}

template <class T, class Key>
void IntroSortFarFirst(T* a, size_t n, const Key& key) {
    if (n < 2) return;
    detail::IntroSortLoop(a, n, IntroSortDepth(n), key);
}

// The same order as IntroSortFarFirst, with large ranges split over threads: `parallel(2, job)`
// calls job(0) and job(1), on any threads, and returns when both are done; calls may nest.
template <class T, class Key, class Parallel>
void IntroSortFarFirst(T* a, size_t n, const Key& key, const Parallel& parallel) {
    if (n < 2) return;
    detail::ParallelIntroSortLoop(a, n, IntroSortDepth(n), key, parallel);
}

}  // namespace tv
