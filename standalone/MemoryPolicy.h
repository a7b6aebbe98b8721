// How the process's allocator treats large blocks. A frame allocates and frees arrays of tens to
// hundreds of megabytes (draw records, tiles, layer worlds, the comp frame). By default the C
// library maps each such block fresh and unmaps it on free, so every frame pays the kernel for
// first-touching every page again; on the virtual machines we measure on that costs more than
// drawing the lines. Keeping freed memory in the heap lets the next array reuse pages the
// process already holds. The price: the resident size stays at the largest frame's peak.
#pragma once

namespace tv::standalone {

// Serves large blocks from the heap and never trims it. Call once at start, before threads.
void KeepFreedMemoryForReuse();

}  // namespace tv::standalone
