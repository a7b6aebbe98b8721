// Output file patterns as render tools write them: every run of '#' (padded to its length),
// printf's %d and %0Nd, and $F or $FN; one style a pattern.
#pragma once

#include <cstdint>
#include <string>

namespace tv::standalone {

// Replaces each frame-number token of the pattern by the frame number; a pattern without one gets
// "_####" before its extension when several frames are written. Throws std::invalid_argument
// (FramePatternProblem's text) for a malformed pattern.
std::string FramePath(const std::string& pattern, int64_t frame, bool severalFrames);

// Why the pattern cannot name frames (a malformed token, styles mixed), or empty when it can.
std::string FramePatternProblem(const std::string& pattern);

}  // namespace tv::standalone
