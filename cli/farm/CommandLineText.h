// Checks on text that reaches the command line: paths and names may hold no control characters,
// since a newline in an output path would split the answers the host hands an effect's dialog,
// and an escape sequence would reach the user's terminal.
#pragma once

#include <string>

namespace tv::cli {

// An empty string when `text` holds no control character (C0, DEL or C1), else a message that
// names the first one and where it stands, such as "holds a control character (U+000A, a
// newline) at byte 12; paths may not hold control characters".
std::string ControlCharacterProblem(const std::string& text);

}  // namespace tv::cli
