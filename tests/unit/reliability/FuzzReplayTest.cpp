// Replays the fuzzing targets' seeds and every input a fuzzer once failed on (fuzz/regressions),
// so a fixed finding stays fixed in the ordinary suite. A broken property aborts the test.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/FuzzTargets.h"

namespace tv::fuzz {
namespace {

namespace fs = std::filesystem;

// Files of the folders (each relative to the source tree) whose names end in `ext` (any when
// empty), sorted.
std::vector<fs::path> Inputs(std::initializer_list<const char*> folders,
                             const std::string& ext = "") {
    std::vector<fs::path> files;
    for (const char* folder : folders) {
        const fs::path dir = fs::path(TAVRIN_SOURCE_DIR) / folder;
        if (!fs::is_directory(dir)) continue;
        for (const auto& e : fs::directory_iterator(dir))
            if (e.is_regular_file() && e.path().filename() != ".gitkeep" &&
                (ext.empty() || e.path().extension() == ext))
                files.push_back(e.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<uint8_t> Bytes(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

size_t Replay(void (*target)(const uint8_t*, size_t), const std::vector<fs::path>& files) {
    for (const fs::path& f : files) {
        SCOPED_TRACE(f.string());
        const std::vector<uint8_t> bytes = Bytes(f);
        target(bytes.data(), bytes.size());
    }
    return files.size();
}

TEST(FuzzReplay, DocumentsExamplesHostileCorpusAndFindings) {
    EXPECT_GE(Replay(FuzzDocument,
                     Inputs({"examples", "tests/hostile", "fuzz/regressions/document"}, ".json")),
              90u);
}

TEST(FuzzReplay, ObjSeedsExamplesAndFindings) {
    EXPECT_GE(Replay(FuzzObj,
                     Inputs({"fuzz/seeds/obj", "examples", "tests/hostile", "fuzz/regressions/obj"},
                            ".obj")),
              3u);
    EXPECT_GE(Replay(FuzzObj, Inputs({"fuzz/regressions/obj"})), 0u);
}

TEST(FuzzReplay, RecordSeedsAndFindings) {
    EXPECT_EQ(Replay(FuzzRecords, Inputs({"fuzz/seeds/records"})), 3u);
    Replay(FuzzRecords, Inputs({"fuzz/regressions/records"}));
}

TEST(FuzzReplay, CommandLineSeedsAndFindings) {
    EXPECT_GE(Replay(FuzzCommandLine, Inputs({"fuzz/seeds/cli"})), 8u);
    Replay(FuzzCommandLine, Inputs({"fuzz/regressions/cli"}));
}

TEST(FuzzReplay, SequenceSeedsAndFindings) {
    EXPECT_EQ(Replay(FuzzSequence, Inputs({"fuzz/seeds/sequence"})), 3u);
    Replay(FuzzSequence, Inputs({"fuzz/regressions/sequence"}));
}

}  // namespace
}  // namespace tv::fuzz
