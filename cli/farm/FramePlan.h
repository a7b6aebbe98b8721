// Which frames one run of `tavrin render` draws: the frame list read and kept inside the comp,
// then this run's shard of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/farm/Shard.h"

namespace tv::cli {

// The most frames one run renders (a frame number takes 8 bytes in each list).
inline constexpr int64_t kMaxFramesPerRun = 10'000'000;

struct FramePlan {
    std::vector<int64_t> selected;      // every frame of the list inside the comp, ascending
    std::vector<int64_t> mine;          // this run's shard of `selected` (all of it unsharded)
    std::vector<std::string> warnings;  // frames of the list that lie outside the comp
};

// An empty list means frame 0, or the whole comp when the run is a shard (a farm job that
// gives no list renders the comp). Frames past the comp's end are left out with a warning;
// throws FrameSelectionError when the list is unreadable, none of it lies inside the comp, or
// it holds more than kMaxFramesPerRun frames.
FramePlan PlanFrames(const std::string& frames, int64_t frameCount, std::optional<Shard> shard,
                     ShardMode mode);

}  // namespace tv::cli
