#include "cli/farm/FramePlan.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/farm/FrameSelection.h"

namespace tv::cli {

FramePlan PlanFrames(const std::string& frames, int64_t frameCount, std::optional<Shard> shard,
                     ShardMode mode) {
    FramePlan plan;
    std::vector<FrameRange> ranges;
    if (!frames.empty())
        ranges = ParseFrameSelection(frames);
    else
        ranges.push_back({0, shard ? frameCount - 1 : 0, 1});
    // Counted before the list is made: a day at ten million frames a second is not a list to
    // build.
    double count = 0;
    for (const FrameRange& r : ranges) {
        const int64_t end = std::min(r.last, frameCount - 1);
        if (end >= r.first) count += double((end - r.first) / r.step) + 1;
    }
    if (count > double(kMaxFramesPerRun))
        throw FrameSelectionError(fmt::format(
            "--frames: the selection holds {:.0f} frames; one run renders at most {}: split the "
            "shot with --frames ranges or --shard",
            count, kMaxFramesPerRun));
    std::vector<std::string> outside;
    plan.selected = FramesInComp(ranges, frameCount, outside);
    if (plan.selected.empty())
        throw FrameSelectionError(
            fmt::format("--frames: none of \"{}\" lies inside the comp, which has frames 0-{}",
                        frames, frameCount - 1));
    for (const std::string& piece : outside)
        plan.warnings.push_back(
            fmt::format("warning: --frames: {} past the comp's last frame ({}) and left out",
                        piece.find('-') == std::string::npos ? "frame " + piece + " is"
                                                             : "frames " + piece + " are",
                        frameCount - 1));
    plan.mine = shard ? ShardFrames(plan.selected, *shard, mode) : plan.selected;
    return plan;
}

}  // namespace tv::cli
