#include "cli/farm/Shard.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>

namespace tv::cli {

namespace {

// A whole decimal number (a leading '-' allowed), or nothing.
std::optional<int64_t> Integer(const std::string& s) {
    int64_t value = 0;
    const char* begin = s.data();
    const char* end = s.data() + s.size();
    if (begin == end) return std::nullopt;
    const auto [stop, ec] = std::from_chars(begin, end, value);
    if (ec != std::errc() || stop != end) return std::nullopt;
    return value;
}

// An environment variable as a number: nothing when unset, ShardError when not a whole number
// from 0 to kMaxShardNumber. The bound keeps every sum and product of them far from overflow.
std::optional<int64_t> EnvNumber(const Environment& env, const std::string& name) {
    const auto it = env.find(name);
    if (it == env.end()) return std::nullopt;
    const auto value = Integer(it->second);
    if (!value)
        throw ShardError(fmt::format("--shard-from-env: {}=\"{}\" is not a whole number", name,
                                     it->second.substr(0, 40)));
    if (*value < 0 || *value > kMaxShardNumber)
        throw ShardError(fmt::format("--shard-from-env: {}={} is outside 0 to {}", name, *value,
                                     kMaxShardNumber));
    return value;
}

Shard FromSlurm(const Environment& env, std::optional<int64_t> count) {
    const int64_t id = *EnvNumber(env, "SLURM_ARRAY_TASK_ID");
    const auto min = EnvNumber(env, "SLURM_ARRAY_TASK_MIN");
    const auto max = EnvNumber(env, "SLURM_ARRAY_TASK_MAX");
    const auto step = EnvNumber(env, "SLURM_ARRAY_TASK_STEP").value_or(1);
    const auto arrayCount = EnvNumber(env, "SLURM_ARRAY_TASK_COUNT");
    if (step < 1)
        throw ShardError(
            fmt::format("--shard-from-env: SLURM_ARRAY_TASK_STEP={} is not 1 or more", step));
    const int64_t first = min.value_or(0);
    std::optional<int64_t> spanCount;
    if (max) {
        if (*max < first)
            throw ShardError(fmt::format(
                "--shard-from-env: SLURM_ARRAY_TASK_MAX={} is below SLURM_ARRAY_TASK_MIN={}", *max,
                first));
        spanCount = (*max - first) / step + 1;
    }
    if (!spanCount && !arrayCount)
        throw ShardError(
            "--shard-from-env: SLURM_ARRAY_TASK_ID is set but neither SLURM_ARRAY_TASK_MAX nor "
            "SLURM_ARRAY_TASK_COUNT is, so the number of shards is unknown");
    // Ids that are not one evenly spaced run (--array=1,5,9) cannot be numbered 0 to N - 1.
    if (spanCount && arrayCount && *spanCount != *arrayCount)
        throw ShardError(fmt::format(
            "--shard-from-env: the Slurm array is not one evenly spaced range (ids {} to {} in "
            "steps of {} make {} tasks, but SLURM_ARRAY_TASK_COUNT is {}); submit it as "
            "--array=A-B or --array=A-B:S",
            first, *max, step, *spanCount, *arrayCount));
    const int64_t tasks = arrayCount ? *arrayCount : *spanCount;
    if (tasks < 1 || tasks > kMaxShards)
        throw ShardError(fmt::format(
            "--shard-from-env: the Slurm array has {} tasks; a render takes 1 to {} shards", tasks,
            kMaxShards));
    if (id < first || (id - first) % step != 0)
        throw ShardError(fmt::format(
            "--shard-from-env: SLURM_ARRAY_TASK_ID={} is not one of the array's ids ({} up, in "
            "steps of {})",
            id, first, step));
    const Shard shard{(id - first) / step, tasks};
    if (count && *count != tasks)
        throw ShardError(fmt::format(
            "--shard-count {} disagrees with the Slurm array, which has {} tasks", *count, tasks));
    if (shard.index >= shard.count)
        throw ShardError(fmt::format(
            "--shard-from-env: SLURM_ARRAY_TASK_ID={} is past the array's {} tasks", id, tasks));
    return shard;
}

}  // namespace

Shard ParseShard(const std::string& text) {
    const size_t slash = text.find('/');
    const auto index = slash == std::string::npos ? std::nullopt : Integer(text.substr(0, slash));
    const auto count = slash == std::string::npos ? std::nullopt : Integer(text.substr(slash + 1));
    if (!index || !count)
        throw ShardError(fmt::format(
            "--shard: \"{}\" is not I/N; write the shard's index, counted from 0, and the number "
            "of shards, as in 0/4 ... 3/4",
            text.substr(0, 60)));
    if (*count < 1 || *count > kMaxShards)
        throw ShardError(fmt::format("--shard {}: the number of shards must be 1 to {}",
                                     text.substr(0, 60), kMaxShards));
    if (*index < 0 || *index >= *count)
        throw ShardError(
            fmt::format("--shard {}: the index counts from 0, so with {} shards it is 0 to {}",
                        text, *count, *count - 1));
    return {*index, *count};
}

ShardMode ParseShardMode(const std::string& text) {
    if (text == "interleaved") return ShardMode::Interleaved;
    if (text == "contiguous") return ShardMode::Contiguous;
    throw ShardError(
        fmt::format("--shard-mode: \"{}\" is neither interleaved nor contiguous", text));
}

const char* ShardModeName(ShardMode mode) {
    return mode == ShardMode::Interleaved ? "interleaved" : "contiguous";
}

std::vector<int64_t> ShardFrames(const std::vector<int64_t>& frames, Shard shard, ShardMode mode) {
    const size_t n = frames.size();
    const size_t i = size_t(shard.index), count = size_t(shard.count);
    std::vector<int64_t> mine;
    if (mode == ShardMode::Interleaved) {
        for (size_t at = i; at < n; at += count) mine.push_back(frames[at]);
    } else {
        // Run I is positions [I*n/N, (I+1)*n/N): the runs tile the list, sizes within one.
        // I*n/N is taken as I*(n/N) + I*(n%N)/N, whose products stay far from overflow.
        const auto runStart = [&](size_t run) {
            return run * (n / count) + run * (n % count) / count;
        };
        const size_t begin = runStart(i), end = runStart(i + 1);
        mine.assign(frames.begin() + std::ptrdiff_t(begin), frames.begin() + std::ptrdiff_t(end));
    }
    return mine;
}

Environment ReadShardEnvironment() {
    Environment env;
    for (const char* name :
         {"SLURM_ARRAY_TASK_ID", "SLURM_ARRAY_TASK_MIN", "SLURM_ARRAY_TASK_MAX",
          "SLURM_ARRAY_TASK_STEP", "SLURM_ARRAY_TASK_COUNT", "JOB_COMPLETION_INDEX"})
        if (const char* value = std::getenv(name)) env[name] = value;
    return env;
}

Shard ShardFromEnvironment(const Environment& env, std::optional<int64_t> count) {
    if (env.count("SLURM_ARRAY_TASK_ID")) return FromSlurm(env, count);
    if (env.count("JOB_COMPLETION_INDEX")) {
        const int64_t index = *EnvNumber(env, "JOB_COMPLETION_INDEX");
        if (!count)
            throw ShardError(
                "--shard-from-env: JOB_COMPLETION_INDEX is set but not the number of shards; give "
                "--shard-count N, the Indexed Job's completions");
        if (*count < 1 || *count > kMaxShards)
            throw ShardError(fmt::format("--shard-count {}: must be 1 to {}", *count, kMaxShards));
        if (index < 0 || index >= *count)
            throw ShardError(fmt::format(
                "--shard-from-env: JOB_COMPLETION_INDEX={} is outside 0 to {} (--shard-count {})",
                index, *count - 1, *count));
        return {index, *count};
    }
    throw ShardError(
        "--shard-from-env: neither SLURM_ARRAY_TASK_ID (a Slurm array task) nor "
        "JOB_COMPLETION_INDEX (a Kubernetes Indexed Job) is set; use --shard I/N outside a farm "
        "job");
}

}  // namespace tv::cli
