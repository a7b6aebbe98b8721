// The benchmark driver: runs every registered case and prints one table a person can read,
// pairing each of our cases with its peer from the same run.
//
// Naming: a case and its peer share a name up to the last "/"-free part and differ in the
// suffix "_Ours" / "_Peer", e.g. "Neighbours_Ours/100000" and "Neighbours_Peer/100000". A case
// without a peer gets a row with "-" in the peer's columns. Counters averaged per iteration
// (the stages of a frame, in milliseconds) and counters named "<what> ms" (times that are not
// averages, such as a case's first frame) get rows of their own under their case's row.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "standalone/MemoryPolicy.h"

namespace {

struct Row {
    double ours = -1;  // nanoseconds per iteration
    double peer = -1;
    double oursMB = -1, peerMB = -1;  // resident peak, where the case reports it
};

// Splits "Name_Ours/arg" into ("Name/arg", true).
bool SplitName(const std::string& name, std::string& key, bool& isOurs) {
    for (const char* tag : {"_Ours", "_Peer"}) {
        const auto at = name.find(tag);
        if (at != std::string::npos) {
            key = name.substr(0, at) + name.substr(at + 5);
            isOurs = std::string(tag) == "_Ours";
            return true;
        }
    }
    key = name;
    isOurs = true;
    return false;
}

class TableReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        // With --benchmark_repetitions the table takes each case's median.
        bool hasMedian = false;
        for (const Run& run : runs)
            hasMedian =
                hasMedian || (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median");
        for (const Run& run : runs) {
            if (run.error_occurred) continue;
            if (hasMedian ? run.aggregate_name != "median" : run.run_type != Run::RT_Iteration)
                continue;
            std::string key;
            bool ours = true;
            SplitName(run.run_name.function_name + (run.run_name.args.empty() ? "" : "/") +
                          run.run_name.args,
                      key, ours);
            const double ns = run.GetAdjustedRealTime() *
                              benchmark::GetTimeUnitMultiplier(benchmark::kNanosecond) /
                              benchmark::GetTimeUnitMultiplier(run.time_unit);
            record(key, ours, ns);
            for (const auto& [name, counter] : run.counters) {
                if (counter.flags & benchmark::Counter::kAvgIterations)
                    record(key + "  " + name, ours, counter.value * 1e6);  // ms to ns
                // A time that is not an average over the iterations: "<what> ms".
                const std::string ms = " ms";
                if (!(counter.flags & benchmark::Counter::kAvgIterations) &&
                    name.size() > ms.size() &&
                    name.compare(name.size() - ms.size(), ms.size(), ms) == 0)
                    record(key + "  " + name.substr(0, name.size() - ms.size()), ours,
                           counter.value * 1e6);
                // Peaks: "MB" for the case, "<stage> MB" for the stage's row.
                const std::string suffix = " MB";
                if (name == "MB")
                    recordMB(key, ours, counter.value);
                else if (name.size() > suffix.size() &&
                         name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
                    recordMB(key + "  " + name.substr(0, name.size() - suffix.size()), ours,
                             counter.value);
            }
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n%-60s %12s %12s %8s %9s %9s\n", "case", "ours (ms)", "peer (ms)", "ratio",
                    "ours MB", "peer MB");
        const auto mb = [](double v) { return v >= 0 ? std::to_string(int(v + 0.5)) : "-"; };
        for (const std::string& key : keys_) {
            const Row& r = rows_[key];
            if (r.ours >= 0)
                std::printf("%-60s %12.3f ", key.c_str(), r.ours / 1e6);
            else
                std::printf("%-60s %12s ", key.c_str(), "-");
            if (r.peer >= 0 && r.ours > 0)
                std::printf("%12.3f %7.2fx", r.peer / 1e6, r.peer / r.ours);
            else if (r.peer >= 0)
                std::printf("%12.3f %8s", r.peer / 1e6, "-");
            else
                std::printf("%12s %8s", "-", "-");
            std::printf(" %9s %9s\n", mb(r.oursMB).c_str(), mb(r.peerMB).c_str());
        }
        std::printf(
            "\nratio = peer time / our time: above 1 means we are faster (for the frames and\n"
            "their stages, the peer is the same code on one thread). MB: the process's resident\n"
            "peak while the case (or the stage) ran.\n");
    }

  private:
    void record(const std::string& key, bool ours, double ns) {
        remember(key);
        (ours ? rows_[key].ours : rows_[key].peer) = ns;
    }
    void recordMB(const std::string& key, bool ours, double mb) {
        remember(key);
        (ours ? rows_[key].oursMB : rows_[key].peerMB) = mb;
    }
    void remember(const std::string& key) {
        if (order_.find(key) == order_.end()) {
            order_[key] = keys_.size();
            keys_.push_back(key);
        }
    }

    std::vector<std::string> keys_;
    std::map<std::string, size_t> order_;
    std::map<std::string, Row> rows_;
};

}  // namespace

int main(int argc, char** argv) {
    // As the command does: frames reuse the memory earlier frames freed.
    tv::standalone::KeepFreedMemoryForReuse();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
