#include "cli/farm/FrameSelection.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace tv::cli {

namespace {

constexpr const char* kValidForms =
    "write a frame (7), a range (1-100), a range with a step (1-100:5) or a comma list of them "
    "(1-3,5,7-20:2); frames count from 0";

std::string Trim(const std::string& s) {
    const auto b = s.find_first_not_of(" \t");
    if (b == std::string::npos) return {};
    return s.substr(b, s.find_last_not_of(" \t") - b + 1);
}

// A whole non-negative decimal number, or nothing; `tooLarge` says it did not fit.
std::optional<int64_t> Number(const std::string& s, bool& tooLarge) {
    if (s.empty() || !std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    int64_t value = 0;
    const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), value);
    if (ec == std::errc::result_out_of_range) {
        tooLarge = true;
        return std::nullopt;
    }
    if (ec != std::errc() || end != s.data() + s.size()) return std::nullopt;
    return value;
}

FrameRange ParsePiece(const std::string& piece) {
    auto garbage = [&piece] {
        return FrameSelectionError(
            fmt::format("--frames: \"{}\" is not a frame, a range or a range with a step; {}",
                        piece, kValidForms));
    };
    const size_t dash = piece.find('-');
    const size_t colon = piece.find(':');
    if (colon != std::string::npos && (dash == std::string::npos || colon < dash)) {
        bool big = false;
        const auto first = Number(piece.substr(0, colon), big);
        const auto step = Number(piece.substr(colon + 1), big);
        if (first && step)
            throw FrameSelectionError(
                fmt::format("--frames: \"{}\" has a step but no range; write first-last:step, "
                            "as in {}-100:{}",
                            piece, *first, *step));
        throw garbage();
    }
    const std::string firstText = piece.substr(0, dash);
    const std::string lastText =
        dash == std::string::npos
            ? firstText
            : piece.substr(dash + 1,
                           colon == std::string::npos ? std::string::npos : colon - dash - 1);
    const std::string stepText = colon == std::string::npos ? "1" : piece.substr(colon + 1);
    bool tooLarge = false;
    const auto first = Number(firstText, tooLarge);
    const auto last = Number(lastText, tooLarge);
    const auto step = Number(stepText, tooLarge);
    if (tooLarge)
        throw FrameSelectionError(
            fmt::format("--frames: \"{}\" holds a number too large for a frame", piece));
    if (!first || !last || !step) throw garbage();
    if (*last < *first)
        throw FrameSelectionError(fmt::format(
            "--frames: \"{}\" runs backwards; a range goes from its first frame up to its last, "
            "as in {}-{}",
            piece, *last, *first));
    if (*step < 1)
        throw FrameSelectionError(
            fmt::format("--frames: \"{}\" has step 0; a step is 1 or more, as in {}-{}:2", piece,
                        *first, *last));
    return {*first, *last, *step};
}

// The last frame a range lands on.
int64_t LastLanded(const FrameRange& r) {
    return r.first + (r.last - r.first) / r.step * r.step;
}

std::string Describe(int64_t first, int64_t last, int64_t step) {
    if (first == last) return fmt::format("{}", first);
    return step == 1 ? fmt::format("{}-{}", first, last)
                     : fmt::format("{}-{}:{}", first, last, step);
}

}  // namespace

std::vector<FrameRange> ParseFrameSelection(const std::string& text) {
    if (Trim(text).empty())
        throw FrameSelectionError(fmt::format("--frames: no frames given; {}", kValidForms));
    std::vector<FrameRange> ranges;
    size_t pos = 0;
    while (true) {
        const size_t comma = text.find(',', pos);
        const std::string piece =
            Trim(text.substr(pos, comma == std::string::npos ? std::string::npos : comma - pos));
        if (piece.empty())
            throw FrameSelectionError(fmt::format(
                "--frames: \"{}\" has an empty piece between commas; {}", text, kValidForms));
        ranges.push_back(ParsePiece(piece));
        if (comma == std::string::npos) break;
        pos = comma + 1;
    }
    return ranges;
}

std::vector<int64_t> FramesInComp(const std::vector<FrameRange>& ranges, int64_t frameCount,
                                  std::vector<std::string>& outside) {
    std::vector<int64_t> frames;
    for (const FrameRange& r : ranges) {
        const int64_t landed = LastLanded(r);
        const int64_t end = std::min(landed, frameCount - 1);
        for (int64_t f = r.first; f <= end; f += r.step) {
            frames.push_back(f);
            if (end - f < r.step) break;  // the next step would pass the end (or overflow)
        }
        if (landed >= frameCount) {
            // The first frame of the range at or past the comp's end.
            const int64_t from = r.first >= frameCount
                                     ? r.first
                                     : r.first + ((frameCount - r.first - 1) / r.step + 1) * r.step;
            outside.push_back(Describe(from, landed, r.step));
        }
    }
    std::sort(frames.begin(), frames.end());
    frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
    return frames;
}

}  // namespace tv::cli
