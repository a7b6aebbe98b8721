#include "standalone/TerminalText.h"

#include <fmt/format.h>

namespace tv::standalone {

std::string EscapeControlCharacters(std::string_view text, bool keepNewlines) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == 0xC2 && i + 1 < text.size()) {
            const auto next = static_cast<unsigned char>(text[i + 1]);
            if (next >= 0x80 && next <= 0x9F) {
                out += fmt::format("\\u{:04X}", unsigned(next));
                ++i;
                continue;
            }
        }
        if (byte >= 0x20 && byte != 0x7F) {
            out += char(byte);
            continue;
        }
        switch (byte) {
            case '\n':
                out += keepNewlines ? "\n" : "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                out += fmt::format("\\x{:02X}", unsigned(byte));
        }
    }
    return out;
}

std::string BoundedText(const std::string& text, size_t most) {
    if (text.size() <= most) return text;
    const auto continuation = [&](size_t i) {
        return i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
    };
    size_t headEnd = most * 3 / 4;
    while (headEnd > 0 && continuation(headEnd)) --headEnd;
    size_t tailStart = text.size() - most / 8;
    while (tailStart < text.size() && continuation(tailStart)) ++tailStart;
    return text.substr(0, headEnd) + " ... (" + std::to_string(text.size()) +
           " bytes in all) ... " + text.substr(tailStart);
}

}  // namespace tv::standalone
