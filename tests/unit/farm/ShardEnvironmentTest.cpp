// Which shard a farm task is, from what Slurm and Kubernetes put in its environment.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "cli/farm/Shard.h"

namespace tv::cli {
namespace {

std::string ErrorOf(const Environment& env, std::optional<int64_t> count = std::nullopt) {
    try {
        ShardFromEnvironment(env, count);
    } catch (const ShardError& e) {
        return e.what();
    }
    return "";
}

// What Slurm sets for task `id` of --array=min-max:step.
Environment SlurmArray(int64_t id, int64_t min, int64_t max, int64_t step = 1) {
    return {{"SLURM_ARRAY_TASK_ID", std::to_string(id)},
            {"SLURM_ARRAY_TASK_MIN", std::to_string(min)},
            {"SLURM_ARRAY_TASK_MAX", std::to_string(max)},
            {"SLURM_ARRAY_TASK_STEP", std::to_string(step)},
            {"SLURM_ARRAY_TASK_COUNT", std::to_string((max - min) / step + 1)}};
}

TEST(ShardEnvironment, SlurmArrayFromZero) {
    for (int64_t id = 0; id < 4; ++id) {
        const Shard s = ShardFromEnvironment(SlurmArray(id, 0, 3), std::nullopt);
        EXPECT_EQ(s.index, id);
        EXPECT_EQ(s.count, 4);
    }
}

TEST(ShardEnvironment, SlurmArrayFromOneAndWithAStep) {
    Shard s = ShardFromEnvironment(SlurmArray(1, 1, 8), std::nullopt);
    EXPECT_EQ(s.index, 0);
    EXPECT_EQ(s.count, 8);
    s = ShardFromEnvironment(SlurmArray(8, 1, 8), std::nullopt);
    EXPECT_EQ(s.index, 7);
    s = ShardFromEnvironment(SlurmArray(6, 2, 8, 2), std::nullopt);
    EXPECT_EQ(s.index, 2);
    EXPECT_EQ(s.count, 4);
}

TEST(ShardEnvironment, SlurmWithOnlyMinAndMaxOrOnlyTheCount) {
    Shard s = ShardFromEnvironment({{"SLURM_ARRAY_TASK_ID", "5"},
                                    {"SLURM_ARRAY_TASK_MIN", "3"},
                                    {"SLURM_ARRAY_TASK_MAX", "6"}},
                                   std::nullopt);
    EXPECT_EQ(s.index, 2);
    EXPECT_EQ(s.count, 4);
    s = ShardFromEnvironment({{"SLURM_ARRAY_TASK_ID", "2"}, {"SLURM_ARRAY_TASK_COUNT", "3"}},
                             std::nullopt);
    EXPECT_EQ(s.index, 2);
    EXPECT_EQ(s.count, 3);
}

TEST(ShardEnvironment, SlurmErrorsNameTheVariable) {
    EXPECT_NE(ErrorOf({{"SLURM_ARRAY_TASK_ID", "2"}}).find("SLURM_ARRAY_TASK_COUNT"),
              std::string::npos);
    EXPECT_NE(ErrorOf({{"SLURM_ARRAY_TASK_ID", "x"}, {"SLURM_ARRAY_TASK_COUNT", "3"}})
                  .find("SLURM_ARRAY_TASK_ID=\"x\" is not a whole number"),
              std::string::npos);
    // --array=1,5,9: ids that are not one evenly spaced run.
    Environment list = {{"SLURM_ARRAY_TASK_ID", "5"},
                        {"SLURM_ARRAY_TASK_MIN", "1"},
                        {"SLURM_ARRAY_TASK_MAX", "9"},
                        {"SLURM_ARRAY_TASK_STEP", "1"},
                        {"SLURM_ARRAY_TASK_COUNT", "3"}};
    EXPECT_NE(ErrorOf(list).find("not one evenly spaced range"), std::string::npos)
        << ErrorOf(list);
    EXPECT_NE(ErrorOf(SlurmArray(3, 2, 8, 2)).find("not one of the array's ids"),
              std::string::npos);
    EXPECT_NE(ErrorOf({{"SLURM_ARRAY_TASK_ID", "3"}, {"SLURM_ARRAY_TASK_COUNT", "3"}})
                  .find("past the array's 3 tasks"),
              std::string::npos);
    EXPECT_NE(ErrorOf(SlurmArray(1, 0, 3), 5).find("--shard-count 5 disagrees"), std::string::npos);
    EXPECT_EQ(ShardFromEnvironment(SlurmArray(1, 0, 3), 4).count, 4);
}

TEST(ShardEnvironment, KubernetesIndexedJobWithTheCountGiven) {
    const Shard s = ShardFromEnvironment({{"JOB_COMPLETION_INDEX", "3"}}, 5);
    EXPECT_EQ(s.index, 3);
    EXPECT_EQ(s.count, 5);
    EXPECT_NE(ErrorOf({{"JOB_COMPLETION_INDEX", "3"}}).find("--shard-count"), std::string::npos);
    EXPECT_NE(ErrorOf({{"JOB_COMPLETION_INDEX", "5"}}, 5).find("outside 0 to 4"),
              std::string::npos);
    EXPECT_NE(ErrorOf({{"JOB_COMPLETION_INDEX", "1"}}, 0).find("must be 1 to 1000000"),
              std::string::npos);
}

// Numbers at the 64-bit extremes once divided by a shard count of 0 or were accepted as the
// shard "-9223372036854775808/0": every farm number is range-checked first.
TEST(ShardEnvironment, NumbersAtTheSixtyFourBitExtremesAreRefused) {
    const std::string lowest = "-9223372036854775808", highest = "9223372036854775807";
    EXPECT_NE(ErrorOf({{"SLURM_ARRAY_TASK_ID", "0"},
                       {"SLURM_ARRAY_TASK_MIN", lowest},
                       {"SLURM_ARRAY_TASK_MAX", highest}},
                      std::nullopt)
                  .find("SLURM_ARRAY_TASK_MIN=" + lowest + " is outside 0 to 1000000000"),
              std::string::npos);
    EXPECT_NE(
        ErrorOf({{"SLURM_ARRAY_TASK_ID", highest}, {"SLURM_ARRAY_TASK_MAX", highest}}, std::nullopt)
            .find("is outside 0 to 1000000000"),
        std::string::npos);
    EXPECT_NE(ErrorOf({{"SLURM_ARRAY_TASK_ID", "0"}, {"SLURM_ARRAY_TASK_COUNT", "0"}}, std::nullopt)
                  .find("the Slurm array has 0 tasks"),
              std::string::npos);
    EXPECT_NE(ErrorOf({{"SLURM_ARRAY_TASK_ID", "5"}, {"SLURM_ARRAY_TASK_MAX", "1000000000"}},
                      std::nullopt)
                  .find("a render takes 1 to 1000000 shards"),
              std::string::npos);
    EXPECT_NE(ErrorOf({{"JOB_COMPLETION_INDEX", highest}}, 4).find("outside 0 to 1000000000"),
              std::string::npos);
}

TEST(ShardEnvironment, SlurmIsReadBeforeKubernetesAndNeitherIsAnError) {
    Environment both = SlurmArray(2, 0, 3);
    both.emplace("JOB_COMPLETION_INDEX", "0");
    EXPECT_EQ(ShardFromEnvironment(both, std::nullopt).index, 2);
    const std::string e = ErrorOf({});
    EXPECT_NE(e.find("SLURM_ARRAY_TASK_ID"), std::string::npos) << e;
    EXPECT_NE(e.find("JOB_COMPLETION_INDEX"), std::string::npos) << e;
}

TEST(ShardEnvironment, ReadsTheProcessEnvironment) {
    ::setenv("JOB_COMPLETION_INDEX", "6", 1);
    const Environment env = ReadShardEnvironment();
    ::unsetenv("JOB_COMPLETION_INDEX");
    ASSERT_EQ(env.count("JOB_COMPLETION_INDEX"), 1u);
    EXPECT_EQ(env.at("JOB_COMPLETION_INDEX"), "6");
    EXPECT_EQ(ShardFromEnvironment(env, 7).index, 6);
}

}  // namespace
}  // namespace tv::cli
