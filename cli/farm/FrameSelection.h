// Frame lists as render farms write them: "7", "1-100", "1-100:5" and comma lists of those
// ("1-3,5,7-20:2"). Frames count from 0, the comp's first frame.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace tv::cli {

// One piece of a frame list: first, first + step, ... up to and including last when it lands.
struct FrameRange {
    int64_t first = 0;
    int64_t last = 0;
    int64_t step = 1;
};

// A frame list that cannot be read; the message names the bad piece and the forms that are valid.
struct FrameSelectionError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Reads a frame list. Spaces around pieces are allowed; an empty piece, a negative or
// non-numeric frame, a range that runs backwards, a step below 1 or a step on a single frame
// throw FrameSelectionError.
std::vector<FrameRange> ParseFrameSelection(const std::string& text);

// The frames of the ranges that lie inside a comp of frameCount frames (0 to frameCount - 1),
// ascending, each once. Frames outside the comp are left out and described in `outside`
// ("48-99", "120"), so the caller can warn; nothing is expanded past the comp.
std::vector<int64_t> FramesInComp(const std::vector<FrameRange>& ranges, int64_t frameCount,
                                  std::vector<std::string>& outside);

}  // namespace tv::cli
