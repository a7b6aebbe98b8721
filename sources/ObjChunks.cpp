#include "sources/ObjChunks.h"

#include <algorithm>
#include <thread>

#include "sources/ObjParallel.h"

namespace tv {

namespace {

// Just past the first line break at or after `from` ("\r\n" kept whole), or `end`.
const char* NextLineStart(const char* from, const char* end) {
    const char* p = from;
    while (p != end && *p != '\r' && *p != '\n') ++p;
    if (p == end) return end;
    if (*p == '\r' && p + 1 != end && p[1] == '\n') return p + 2;
    return p + 1;
}

}  // namespace

std::vector<ObjChunk> ReadObjChunks(std::string_view text, const ObjReadOptions& options) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const unsigned threads =
        options.threads ? options.threads : std::max(1u, std::thread::hardware_concurrency());
    // A few stretches per thread, so that a thread slowed by other work does not hold the rest.
    const size_t chunkBytes =
        options.chunkBytes ? options.chunkBytes
                           : std::max<size_t>(size_t(1) << 20, text.size() / (4 * threads) + 1);

    std::vector<const char*> cuts{begin};
    while (cuts.back() != end) {
        const char* last = cuts.back();
        const size_t left = size_t(end - last);
        cuts.push_back(left <= chunkBytes ? end : NextLineStart(last + chunkBytes - 1, end));
    }
    const size_t count = cuts.size() - 1;
    std::vector<ObjChunk> chunks(count);
    RunJobs(count, threads, [&](size_t i) {
        chunks[i] = ReadObjLines(cuts[i], cuts[i + 1], end, i != 0);
        if (options.stretchRead) options.stretchRead(cuts[i], cuts[i + 1]);
    });
    for (size_t i = 0; i < count; ++i)
        if (chunks[i].stop > cuts[i + 1]) {
            std::vector<ObjChunk> whole;
            whole.push_back(ReadObjLines(begin, end, end, false));
            return whole;
        }
    return chunks;
}

}  // namespace tv
