// The depth sort's introsort: median of three, insertion sort below 33 elements, heap sort when
// the depth budget is spent. Unstable by design; a record sorts first when its key is greater.
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

template <class T, class Key>
void IntroSortLoop(T* a, size_t n, int depth, const Key& key) {
    while (n > 32) {
        if (depth-- == 0) {
            HeapSortFarFirst(a, n, key);
            return;
        }
        // Median of the first, middle and last keys as the pivot, moved to the front.
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

}  // namespace detail

template <class T, class Key>
void IntroSortFarFirst(T* a, size_t n, const Key& key) {
    if (n < 2) return;
    int depth = 0;
    for (size_t k = n; k > 1; k >>= 1) depth += 2;
    detail::IntroSortLoop(a, n, depth, key);
}

}  // namespace tv
