#include "standalone/RenderNotes.h"

#include <cstdlib>

namespace tv::standalone {

std::optional<int64_t> UnifiedPassesOf(const std::map<std::string, std::set<std::string>>& notes) {
    const auto it = notes.find("path");
    // One distinct note: every frame took the same path with the same passes.
    if (it == notes.end() || it->second.size() != 1) return std::nullopt;
    const std::string& note = *it->second.begin();
    // "unified GL path (OpenGL 4.5, 126 passes of 128 samples)"
    static const std::string kPrefix = "unified GL path (";
    if (note.rfind(kPrefix, 0) != 0) return std::nullopt;
    const size_t comma = note.find(", ", kPrefix.size());
    const size_t passes = note.find(" passes of ", comma);
    if (comma == std::string::npos || passes == std::string::npos) return std::nullopt;
    const std::string digits = note.substr(comma + 2, passes - comma - 2);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    return std::strtoll(digits.c_str(), nullptr, 10);
}

}  // namespace tv::standalone
