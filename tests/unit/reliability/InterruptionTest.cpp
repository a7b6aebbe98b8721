// A render stopped from outside: SIGINT or SIGTERM finishes the frames in flight and exits
// 128 + the signal; SIGKILL leaves only whole frames, and the next run of the same output removes
// the temporary files a killed run left. Also the frame budget of --memory-limit.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "standalone/ImageModule.h"
#include "standalone/ImageOutput.h"

extern char** environ;

namespace tv {
namespace {

namespace fs = std::filesystem;

// 300 frames of a turning network of 1536 points at 160x120: a few seconds at one thread, so a
// signal lands while frames remain.
const char* kLongDoc = R"({"tavrin": 1, "comps": [{"name": "Long", "width": 160, "height": 120,
  "fps": 30, "duration": 10, "layers": [{"name": "N", "solid": {}, "effects": [
    {"effect": "Tavrin"},
    {"effect": "Tavrin Primitives Object", "params": {"Primitive Type": "Sphere",
      "Sphere Radius": 50, "Sphere Slices": 48, "Sphere Stacks": 32,
      "Y Rotate": {"keys": [{"t": 0, "v": 0}, {"t": 10, "v": 360}]}}},
    {"effect": "Tavrin Points Renderer", "params": {"Points Size": 2}},
    {"effect": "Tavrin Lines Renderer", "params": {"Maximum Distance": 30}}]}]}]})";

std::string ReadFile(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class Interruption : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tavrin-interrupt-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_ / "out");
        doc_ = (dir_ / "long.json").string();
        std::ofstream(doc_) << kLongDoc;
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Starts tavrin with `args`, standard output and error to files; returns its pid.
    pid_t Start(const std::vector<std::string>& args) {
        std::vector<std::string> all = {TAVRIN_BINARY};
        all.insert(all.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& a : all) argv.push_back(a.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, (dir_ / "stdout.txt").c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&actions, 2, (dir_ / "stderr.txt").c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        pid_t pid = -1;
        const int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        return rc == 0 ? pid : -1;
    }
    // Waits for the process and returns its wait status.
    static int Wait(pid_t pid) {
        int status = 0;
        waitpid(pid, &status, 0);
        return status;
    }
    int Run(const std::vector<std::string>& args) {
        const int status = Wait(Start(args));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    // Waits up to 20 s until `count` frames are finished in out/; false when the process ended
    // first.
    bool WaitForFrames(pid_t pid, size_t count) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            if (FinishedFrames().size() >= count) return true;
            int status = 0;
            if (waitpid(pid, &status, WNOHANG) == pid) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return false;
    }
    std::vector<fs::path> FinishedFrames() const {
        std::vector<fs::path> frames;
        for (const auto& e : fs::directory_iterator(dir_ / "out"))
            if (e.path().filename().string()[0] != '.') frames.push_back(e.path());
        return frames;
    }
    size_t TemporaryFiles() const {
        size_t n = 0;
        for (const auto& e : fs::directory_iterator(dir_ / "out"))
            n += e.path().filename().string()[0] == '.';
        return n;
    }
    // Temporaries (files or folders) of the frames whose number is a multiple of `step`.
    size_t TemporariesOfEvery(int step) const {
        size_t n = 0;
        for (const auto& e : fs::directory_iterator(dir_ / "out")) {
            const std::string name = e.path().filename().string();
            if (name.rfind(".f_", 0) != 0) continue;
            n += std::stoi(name.substr(3, 4)) % step == 0;
        }
        return n;
    }
    // A frame file that reads back as a whole 160x120 image.
    static bool IsWholeFrame(const fs::path& p) {
        try {
            const auto image = standalone::ReadImageBytes(p.string(), 4);
            return image.width == 160 && image.height == 120 && image.complete;
        } catch (const std::runtime_error&) {
            return false;
        }
    }
    std::vector<std::string> RenderArgs() const {
        return {"render",    doc_, "--frames", "0-299",
                "--threads", "1",  "-o",       (dir_ / "out/f_####.png").string()};
    }

    fs::path dir_;
    std::string doc_;
};

TEST_F(Interruption, SigintFinishesTheFrameInFlightAndExits130) {
    const pid_t pid = Start(RenderArgs());
    ASSERT_GT(pid, 0);
    ASSERT_TRUE(WaitForFrames(pid, 1)) << ReadFile(dir_ / "stderr.txt");
    kill(pid, SIGINT);
    const int status = Wait(pid);
    ASSERT_TRUE(WIFEXITED(status)) << "killed by the signal instead of stopping";
    EXPECT_EQ(WEXITSTATUS(status), 130);
    const std::string err = ReadFile(dir_ / "stderr.txt");
    EXPECT_NE(err.find("interrupted by SIGINT: the frames in flight were finished"),
              std::string::npos)
        << err;
    const auto frames = FinishedFrames();
    EXPECT_GE(frames.size(), 1u);
    EXPECT_LT(frames.size(), 300u);
    for (const fs::path& f : frames) EXPECT_TRUE(IsWholeFrame(f)) << f;
    EXPECT_EQ(TemporaryFiles(), 0u);
}

TEST_F(Interruption, SigtermStopsLikeSigintWithItsOwnCodeAndJsonSaysWhatWasLeft) {
    std::vector<std::string> args = RenderArgs();
    args.push_back("--json");
    const pid_t pid = Start(args);
    ASSERT_GT(pid, 0);
    ASSERT_TRUE(WaitForFrames(pid, 2)) << ReadFile(dir_ / "stderr.txt");
    kill(pid, SIGTERM);
    const int status = Wait(pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 143);
    const std::string out = ReadFile(dir_ / "stdout.txt");
    EXPECT_NE(out.find("\"status\": \"interrupted\""), std::string::npos) << out;
    EXPECT_NE(out.find("\"exitCode\": 143"), std::string::npos) << out;
    EXPECT_NE(out.find("\"ok\": false"), std::string::npos) << out;
}

// SIGKILL cannot be caught: what it leaves is whole frames and perhaps a temporary file, which
// the next run of the same output removes before it finishes the sequence.
TEST_F(Interruption, SigkillLeavesOnlyWholeFramesAndTheNextRunCleansUp) {
    const pid_t pid = Start(RenderArgs());
    ASSERT_GT(pid, 0);
    ASSERT_TRUE(WaitForFrames(pid, 3)) << ReadFile(dir_ / "stderr.txt");
    kill(pid, SIGKILL);
    Wait(pid);
    for (const fs::path& f : FinishedFrames()) EXPECT_TRUE(IsWholeFrame(f)) << f;
    // Whether the kill fell inside a write is chance; left-overs of a dead process are made sure:
    // a temporary file (as older versions wrote) and a private folder holding a half frame.
    std::ofstream(dir_ / "out" / standalone::TemporaryFrameName("f_0299.png", pid, 7)) << "half";
    const fs::path folder = dir_ / "out" / standalone::TemporaryFrameName("f_0276.png", pid, 8);
    fs::create_directory(folder);
    std::ofstream(folder / "w.png") << "half";
    const size_t before = FinishedFrames().size();

    std::vector<std::string> resume = RenderArgs();
    resume[3] = "0-299:23";  // 0, 23, ... 299
    resume.push_back("--skip-existing");
    ASSERT_EQ(Run(resume), 0) << ReadFile(dir_ / "stderr.txt");
    // The resumed run cleans up after the frames it renders; a temporary the kill left for a
    // frame outside its list (one of 1, 2, 3, ...) is left for the run that renders that frame.
    EXPECT_EQ(TemporariesOfEvery(23), 0u);
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_NE(ReadFile(dir_ / "stderr.txt").find("left by an interrupted render"),
              std::string::npos);
    EXPECT_GE(FinishedFrames().size(), before);
}

TEST(StaleTemporaries, OnlyFilesOfTheFrameFromProcessesNoLongerRunningAreRemoved) {
    const fs::path dir = fs::temp_directory_path() / ("tavrin-stale-" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    // A process that has ended: its number is free.
    const pid_t gone = fork();
    if (gone == 0) _exit(0);
    waitpid(gone, nullptr, 0);
    const std::string frame = (dir / "f_0001.png").string();
    const std::vector<std::string> names = {
        standalone::TemporaryFrameName("f_0001.png", gone, 0),       // removed
        standalone::TemporaryFrameName("f_0001.png", gone, 12),      // removed
        standalone::TemporaryFrameName("f_0001.png", getppid(), 0),  // a live process: kept
        standalone::TemporaryFrameName("f_0002.png", gone, 0),       // another frame: kept
        ".f_0001.png.tmpnotapid_0",                                  // not ours: kept
        "f_0001.png"};                                               // the frame: kept
    for (const std::string& n : names) std::ofstream(dir / n) << "x";
    EXPECT_EQ(standalone::RemoveStaleTemporaries(frame), 2u);
    size_t left = 0;
    for (const auto& e : fs::directory_iterator(dir)) {
        (void)e;
        ++left;
    }
    EXPECT_EQ(left, 4u);
    EXPECT_FALSE(fs::exists(dir / names[0]));
    EXPECT_TRUE(fs::exists(dir / names[2]));
    fs::remove_all(dir);
}

TEST_F(Interruption, MemoryLimitRefusesBeforeDrawingInRenderAndValidate) {
    EXPECT_EQ(Run({"render", doc_, "--memory-limit", "64k", "-o", (dir_ / "out/f.png").string()}),
              2);
    std::string err = ReadFile(dir_ / "stderr.txt");
    EXPECT_NE(err.find("over the memory limit of 64.0 KB (set with --memory-limit)"),
              std::string::npos)
        << err;
    EXPECT_TRUE(FinishedFrames().empty());
    EXPECT_EQ(Run({"validate", doc_, "--memory-limit", "64k"}), 2);
    err = ReadFile(dir_ / "stderr.txt");
    EXPECT_NE(err.find("--memory-limit"), std::string::npos) << err;
    EXPECT_EQ(Run({"validate", doc_, "--memory-limit", "lots"}), 2);
    err = ReadFile(dir_ / "stderr.txt");
    EXPECT_NE(err.find("--memory-limit \"lots\": give a size such as 8g"), std::string::npos)
        << err;
    EXPECT_EQ(Run({"validate", doc_, "--memory-limit", "1g"}), 0);
    EXPECT_EQ(Run({"validate", doc_}), 0);
}

}  // namespace
}  // namespace tv
