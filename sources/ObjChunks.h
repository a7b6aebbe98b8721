// OBJ text cut at line breaks into stretches read at once on the cores.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

#include "sources/ObjLines.h"

namespace tv {

struct ObjReadOptions {
    size_t chunkBytes = 0;  // bytes per stretch before its line ends; 0 chooses by the size
    unsigned threads = 0;   // 0 uses every core
    // Called with each stretch once it is read, from the thread that read it: the text's
    // owner may let go of those bytes (the whole text may still be read again afterwards).
    std::function<void(const char* begin, const char* end)> stretchRead;
};

// The stretches of `text` read in file order. A stretch whose reading ran past its end (a
// "nan(" closed on a later line) makes the whole text read again as one stretch.
std::vector<ObjChunk> ReadObjChunks(std::string_view text, const ObjReadOptions& options);

}  // namespace tv
