#include "cli/farm/CommandLineText.h"

#include <fmt/format.h>

namespace tv::cli {

std::string ControlCharacterProblem(const std::string& text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        unsigned code = byte;
        // C1 controls arrive in UTF-8 as 0xC2 0x80..0x9F; other bytes above 0x7F are parts of
        // ordinary characters.
        if (byte >= 0x80) {
            const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
            if (byte != 0xC2 || next < 0x80 || next > 0x9F) continue;
            code = next;
        }
        if (code >= 0x20 && code != 0x7F && code < 0x80) continue;
        const char* what = code == '\n'   ? ", a newline"
                           : code == '\r' ? ", a carriage return"
                           : code == '\t' ? ", a tab"
                           : code == 0x1B ? ", an escape"
                                          : "";
        return fmt::format(
            "holds a control character (U+{:04X}{}) at byte {}; paths and names given on the "
            "command line may not hold control characters",
            code, what, i);
    }
    return {};
}

}  // namespace tv::cli
