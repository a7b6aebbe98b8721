// Splitting a render's frames among the tasks of a farm job: shard I of N renders its share,
// and the N shards together render every frame exactly once. I counts from 0.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tv::cli {

enum class ShardMode {
    Interleaved,  // shard I takes the frames at positions I, I + N, I + 2N, ... of the list
    Contiguous,   // shard I takes one run of neighbouring frames; runs differ by at most one
};

// The most shards a render is split into, and the largest number a farm variable may hold.
inline constexpr int64_t kMaxShards = 1'000'000;
inline constexpr int64_t kMaxShardNumber = 1'000'000'000;

struct Shard {
    int64_t index = 0;  // 0 to count - 1
    int64_t count = 1;
};

struct ShardError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "I/N" as given to --shard; throws ShardError naming what is wrong.
Shard ParseShard(const std::string& text);

// "interleaved" or "contiguous"; throws ShardError for anything else.
ShardMode ParseShardMode(const std::string& text);
const char* ShardModeName(ShardMode mode);

// The shard's frames of `frames`, in their order.
std::vector<int64_t> ShardFrames(const std::vector<int64_t>& frames, Shard shard, ShardMode mode);

// The environment variables that say which task of an array job this is.
using Environment = std::map<std::string, std::string>;

// The variables ShardFromEnvironment reads, taken from this process's environment.
Environment ReadShardEnvironment();

// This task's shard from a Slurm array (SLURM_ARRAY_TASK_ID with SLURM_ARRAY_TASK_MIN,
// SLURM_ARRAY_TASK_MAX, SLURM_ARRAY_TASK_STEP and/or SLURM_ARRAY_TASK_COUNT) or a Kubernetes
// Indexed Job (JOB_COMPLETION_INDEX, with the count given as `count`, the Job's completions).
// A count given with a Slurm array must agree with the array. Throws ShardError saying which
// variable is missing or wrong.
Shard ShardFromEnvironment(const Environment& env, std::optional<int64_t> count);

}  // namespace tv::cli
