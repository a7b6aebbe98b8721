#include "standalone/MemoryPolicy.h"

#include <malloc.h>

#include <climits>

namespace tv::standalone {

void KeepFreedMemoryForReuse() {
    // No block is mapped on its own (the heap serves it; the C library still maps when the heap
    // cannot grow), and the top of the heap is never handed back.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, INT_MAX);
}

}  // namespace tv::standalone
