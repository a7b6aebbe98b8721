#include "standalone/FramePattern.h"

#include <cctype>
#include <stdexcept>
#include <vector>

namespace tv::standalone {

namespace {

// The widest padding a printf or $F token may ask for.
constexpr size_t kMaxPadding = 32;

enum class TokenStyle { None, Hash, Printf, Dollar };

// A piece of a pattern: literal text, or the frame number padded to `width` digits (0: as is).
struct PatternPiece {
    std::string text;
    bool frame = false;
    size_t width = 0;
};

struct ParsedPattern {
    std::vector<PatternPiece> pieces;
    std::string problem;  // empty when the pattern is well formed
};

const char* StyleName(TokenStyle style) {
    switch (style) {
        case TokenStyle::Hash:
            return "####";
        case TokenStyle::Printf:
            return "%04d";
        case TokenStyle::Dollar:
            return "$F4";
        case TokenStyle::None:
            break;
    }
    return "";
}

ParsedPattern ParsePattern(const std::string& pattern) {
    ParsedPattern parsed;
    TokenStyle style = TokenStyle::None;
    auto literal = [&parsed](char c) {
        if (parsed.pieces.empty() || parsed.pieces.back().frame) parsed.pieces.emplace_back();
        parsed.pieces.back().text += c;
    };
    auto token = [&](TokenStyle tokenStyle, size_t width, const std::string& text) {
        if (style != TokenStyle::None && style != tokenStyle) {
            parsed.problem = "\"" + text + "\" mixes frame-number styles with \"" +
                             StyleName(style) + "\"; use one style: ####, %04d or $F4";
            return;
        }
        style = tokenStyle;
        parsed.pieces.push_back({"", true, width});
    };
    auto malformed = [&parsed](const std::string& text) {
        parsed.problem = "\"" + text +
                         "\" is not a frame number; write #### (one digit a '#'), %04d, %d, $F4 "
                         "or $F (and %% for a percent sign)";
    };
    size_t i = 0;
    while (i < pattern.size() && parsed.problem.empty()) {
        const char c = pattern[i];
        if (c == '#') {
            size_t end = i;
            while (end < pattern.size() && pattern[end] == '#') ++end;
            token(TokenStyle::Hash, end - i, pattern.substr(i, end - i));
            i = end;
        } else if (c == '%') {
            if (i + 1 < pattern.size() && pattern[i + 1] == '%') {
                literal('%');
                i += 2;
                continue;
            }
            size_t end = i + 1;
            while (end < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[end])))
                ++end;
            const std::string digits = pattern.substr(i + 1, end - i - 1);
            const bool closed = end < pattern.size() && pattern[end] == 'd';
            const std::string text = pattern.substr(i, end - i + 1);
            // %d as is, %0Nd padded with zeros; %Nd would pad with spaces, which no file
            // name wants.
            if (!closed || (!digits.empty() && (digits[0] != '0' || digits.size() < 2)) ||
                digits.size() > 3) {
                malformed(text);
                break;
            }
            const size_t width = digits.empty() ? 0 : std::stoul(digits);
            if (width > kMaxPadding) {
                parsed.problem =
                    "\"" + text + "\" pads to more than " + std::to_string(kMaxPadding) + " digits";
                break;
            }
            token(TokenStyle::Printf, width, text);
            i = end + 1;
        } else if (c == '$' && i + 1 < pattern.size() && pattern[i + 1] == 'F') {
            size_t end = i + 2;
            while (end < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[end])))
                ++end;
            const std::string text = pattern.substr(i, end - i);
            const std::string digits = pattern.substr(i + 2, end - i - 2);
            if (end < pattern.size() && std::isalpha(static_cast<unsigned char>(pattern[end]))) {
                malformed(pattern.substr(i, end - i + 1));
                break;
            }
            const size_t width = digits.empty() ? 0 : std::stoul(digits.substr(0, 3));
            if (digits.size() > 3 || width > kMaxPadding || (!digits.empty() && width == 0)) {
                parsed.problem = "\"" + text + "\": $F takes a padding of 1 to " +
                                 std::to_string(kMaxPadding) + " digits";
                break;
            }
            token(TokenStyle::Dollar, width, text);
            i = end;
        } else {
            literal(c);
            ++i;
        }
    }
    return parsed;
}

std::string Padded(int64_t frame, size_t width) {
    std::string digits = std::to_string(frame);
    if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
    return digits;
}

}  // namespace

std::string FramePatternProblem(const std::string& pattern) {
    return ParsePattern(pattern).problem;
}

std::string FramePath(const std::string& pattern, int64_t frame, bool severalFrames) {
    const ParsedPattern parsed = ParsePattern(pattern);
    if (!parsed.problem.empty()) throw std::invalid_argument(parsed.problem);
    bool numbered = false;
    std::string path;
    for (const PatternPiece& piece : parsed.pieces) {
        numbered |= piece.frame;
        path += piece.frame ? Padded(frame, piece.width) : piece.text;
    }
    if (numbered || !severalFrames) return path;
    const auto dot = path.find_last_of('.');
    const auto slash = path.find_last_of('/');
    const bool hasExt = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return (hasExt ? path.substr(0, dot) : path) + "_" + Padded(frame, 4) +
           (hasExt ? path.substr(dot) : std::string());
}

}  // namespace tv::standalone
