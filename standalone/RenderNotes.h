// Reading the notes the main effect leaves with its host about how frames were drawn.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace tv::standalone {

// The passes of the unified GL path when every frame noted was drawn by it with the same number
// of passes; none when a frame fell back to the software path, the counts differ, or no frame
// was drawn.
std::optional<int64_t> UnifiedPassesOf(const std::map<std::string, std::set<std::string>>& notes);

}  // namespace tv::standalone
