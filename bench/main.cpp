// The benchmark driver: runs every registered case and prints one table a person can read,
// pairing each of our cases with its peer from the same run.
//
// Naming: a case and its peer share a name up to the last "/"-free part and differ in the
// suffix "_Ours" / "_Peer", e.g. "Neighbours_Ours/100000" and "Neighbours_Peer/100000".
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

struct Row {
    double ours = -1;  // nanoseconds per iteration
    double peer = -1;
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
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
            std::string key;
            bool ours = true;
            SplitName(run.benchmark_name(), key, ours);
            const double ns = run.GetAdjustedRealTime() *
                              benchmark::GetTimeUnitMultiplier(benchmark::kNanosecond) /
                              benchmark::GetTimeUnitMultiplier(run.time_unit);
            if (order_.find(key) == order_.end()) {
                order_[key] = keys_.size();
                keys_.push_back(key);
            }
            (ours ? rows_[key].ours : rows_[key].peer) = ns;
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n%-48s %14s %14s %8s\n", "case", "ours (ms)", "peer (ms)", "ratio");
        for (const std::string& key : keys_) {
            const Row& r = rows_[key];
            std::printf("%-48s %14.3f ", key.c_str(), r.ours / 1e6);
            if (r.peer >= 0)
                std::printf("%14.3f %7.2fx\n", r.peer / 1e6, r.peer / r.ours);
            else
                std::printf("%14s %8s\n", "-", "-");
        }
        std::printf("\nratio = peer time / our time: above 1 means we are faster.\n");
    }

  private:
    std::vector<std::string> keys_;
    std::map<std::string, size_t> order_;
    std::map<std::string, Row> rows_;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
