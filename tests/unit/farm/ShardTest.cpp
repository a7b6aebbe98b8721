// Shards: together they render every frame exactly once, whatever the list and the count.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "cli/farm/FramePlan.h"
#include "cli/farm/FrameSelection.h"
#include "cli/farm/Shard.h"

namespace tv::cli {
namespace {

std::vector<int64_t> Selection(const std::string& text, int64_t frameCount = 1000) {
    std::vector<std::string> outside;
    return FramesInComp(ParseFrameSelection(text), frameCount, outside);
}

std::string ErrorOf(const std::string& text) {
    try {
        ParseShard(text);
    } catch (const ShardError& e) {
        return e.what();
    }
    return "";
}

TEST(Shard, EveryFrameExactlyOnceForOneToSevenShardsInBothModes) {
    for (const std::string list : {"0", "3-5", "1-101", "0-12:5", "1-3,5,7-20:2", "2-98:3,99"}) {
        const std::vector<int64_t> all = Selection(list);
        for (ShardMode mode : {ShardMode::Interleaved, ShardMode::Contiguous})
            for (int64_t n = 1; n <= 7; ++n) {
                std::map<int64_t, int> seen;
                size_t smallest = all.size(), largest = 0;
                for (int64_t i = 0; i < n; ++i) {
                    const auto mine = ShardFrames(all, {i, n}, mode);
                    smallest = std::min(smallest, mine.size());
                    largest = std::max(largest, mine.size());
                    for (int64_t f : mine) ++seen[f];
                }
                const std::string what =
                    list + " in " + std::to_string(n) + " " + ShardModeName(mode) + " shards";
                ASSERT_EQ(seen.size(), all.size()) << what;
                for (int64_t f : all) EXPECT_EQ(seen[f], 1) << what << ", frame " << f;
                EXPECT_LE(largest - smallest, 1u) << what << ": shards differ by more than one";
            }
    }
}

TEST(Shard, InterleavedTakesEveryNthFrameAndContiguousOneRun) {
    const std::vector<int64_t> all = Selection("1-11");  // 11 frames
    EXPECT_EQ(ShardFrames(all, {0, 4}, ShardMode::Interleaved), (std::vector<int64_t>{1, 5, 9}));
    EXPECT_EQ(ShardFrames(all, {3, 4}, ShardMode::Interleaved), (std::vector<int64_t>{4, 8}));
    EXPECT_EQ(ShardFrames(all, {0, 4}, ShardMode::Contiguous), (std::vector<int64_t>{1, 2}));
    EXPECT_EQ(ShardFrames(all, {1, 4}, ShardMode::Contiguous), (std::vector<int64_t>{3, 4, 5}));
    EXPECT_EQ(ShardFrames(all, {3, 4}, ShardMode::Contiguous), (std::vector<int64_t>{9, 10, 11}));
}

TEST(Shard, MoreShardsThanFramesLeavesSomeEmpty) {
    const std::vector<int64_t> all = {4, 9};
    EXPECT_EQ(ShardFrames(all, {2, 5}, ShardMode::Interleaved), std::vector<int64_t>{});
    EXPECT_EQ(ShardFrames(all, {4, 5}, ShardMode::Contiguous), std::vector<int64_t>{9});
}

TEST(Shard, ParsesIOfNCountingFromZero) {
    const Shard s = ParseShard("2/7");
    EXPECT_EQ(s.index, 2);
    EXPECT_EQ(s.count, 7);
    EXPECT_EQ(ParseShard("0/1").count, 1);
}

TEST(Shard, BadShardsSayWhatIsValid) {
    EXPECT_NE(ErrorOf("4/4").find("0 to 3"), std::string::npos) << ErrorOf("4/4");
    EXPECT_NE(ErrorOf("-1/4").find("0 to 3"), std::string::npos);
    EXPECT_NE(ErrorOf("1/0").find("must be 1 to 1000000"), std::string::npos);
    EXPECT_NE(ErrorOf("0/9223372036854775807").find("must be 1 to 1000000"), std::string::npos);
    for (const std::string bad : {"", "3", "a/4", "1/b", "1/4/2", "1 /4"})
        EXPECT_NE(ErrorOf(bad).find("is not I/N"), std::string::npos) << bad;
    EXPECT_THROW(ParseShardMode("striped"), ShardError);
    EXPECT_EQ(ParseShardMode("contiguous"), ShardMode::Contiguous);
}

TEST(FramePlan, NoListIsFrameZeroUnshardedAndTheWholeCompSharded) {
    EXPECT_EQ(PlanFrames("", 48, std::nullopt, ShardMode::Interleaved).mine,
              std::vector<int64_t>{0});
    const FramePlan plan = PlanFrames("", 10, Shard{1, 3}, ShardMode::Interleaved);
    EXPECT_EQ(plan.selected.size(), 10u);
    EXPECT_EQ(plan.mine, (std::vector<int64_t>{1, 4, 7}));
}

TEST(FramePlan, FramesPastTheCompAreLeftOutBeforeSharding) {
    const FramePlan plan = PlanFrames("0-99", 8, Shard{1, 2}, ShardMode::Contiguous);
    EXPECT_EQ(plan.selected.size(), 8u);
    EXPECT_EQ(plan.mine, (std::vector<int64_t>{4, 5, 6, 7}));
    ASSERT_EQ(plan.warnings.size(), 1u);
    EXPECT_NE(plan.warnings[0].find("frames 8-99 are past the comp's last frame (7)"),
              std::string::npos)
        << plan.warnings[0];
}

TEST(FramePlan, AListWhollyOutsideTheCompIsAnError) {
    EXPECT_THROW(PlanFrames("50-60", 48, std::nullopt, ShardMode::Interleaved),
                 FrameSelectionError);
}

}  // namespace
}  // namespace tv::cli
