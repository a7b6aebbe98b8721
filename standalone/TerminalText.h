// Text from documents (comp, layer, effect and file names) shown in messages: control characters
// are written as escapes, so a document cannot retitle, clear or recolour the user's terminal or
// forge lines of a log.
#pragma once

#include <string>
#include <string_view>

namespace tv::standalone {

// `text` with each control character written as an escape: "\n", "\r", "\t", "\x1B" (C0 and
// DEL) and "\u009B" (C1, as UTF-8 carries them). With `keepNewlines` a newline stays as it is,
// for multi-line text the program itself wrote.
std::string EscapeControlCharacters(std::string_view text, bool keepNewlines = false);

// `text` when it has at most `most` bytes; else its beginning and end with the middle cut out
// and the whole length named, cut at character boundaries.
std::string BoundedText(const std::string& text, size_t most);

}  // namespace tv::standalone
