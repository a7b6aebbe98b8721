// tavrin render as a farm task runs it: frame lists, shards, resuming with --skip-existing,
// and the --json documents of render, info, validate and effects.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace tv {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct CliResult {
    int code = -1;
    std::string out;  // standard output
    std::string err;  // standard error
};

std::string ReadFile(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A turning sphere of points, 8 frames of 32x24: every frame differs from the others.
const char* kDoc = R"({"tavrin": 1, "comps": [{"name": "Spin", "width": 32, "height": 24,
  "fps": 8, "duration": 1, "layers": [{"name": "P", "solid": {}, "effects": [
    {"effect": "Tavrin"},
    {"effect": "Tavrin Primitives Object", "params": {"Primitive Type": "Sphere",
      "Sphere Radius": 10, "Sphere Slices": 8, "Sphere Stacks": 6,
      "Y Rotate": {"keys": [{"t": 0, "v": 0}, {"t": 1, "v": 90}]}}},
    {"effect": "Tavrin Points Renderer", "params": {"Points Size": 2}}]}]}]})";

class RenderFarm : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tavrin-farm-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        doc_ = (dir_ / "spin.json").string();
        std::ofstream(doc_) << kDoc;
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Runs tavrin with the variables in `env` (NAME=value ...); standard output and error
    // apart.
    CliResult Tavrin(const std::string& args, const std::string& env = "") {
        CliResult r;
        const fs::path errFile = dir_ / "stderr.txt";
        // Farm variables of the process running the tests never reach the binary.
        const std::string cmd =
            "env -u SLURM_ARRAY_TASK_ID -u SLURM_ARRAY_TASK_MIN -u SLURM_ARRAY_TASK_MAX "
            "-u SLURM_ARRAY_TASK_STEP -u SLURM_ARRAY_TASK_COUNT -u JOB_COMPLETION_INDEX " +
            env + " '" + TAVRIN_BINARY + "' " + args + " 2>'" + errFile.string() + "'";
        FILE* pipe = popen(cmd.c_str(), "r");
        if (!pipe) return r;
        std::array<char, 4096> buffer;
        size_t n;
        while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
            r.out.append(buffer.data(), n);
        const int status = pclose(pipe);
        r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.err = ReadFile(errFile);
        return r;
    }
    std::string Frame(const std::string& folder, int frame) {
        char name[32];
        std::snprintf(name, sizeof name, "f_%04d.png", frame);
        return (dir_ / folder / name).string();
    }
    std::set<std::string> FilesIn(const std::string& folder) {
        std::set<std::string> names;
        for (const auto& e : fs::directory_iterator(dir_ / folder))
            names.insert(e.path().filename().string());
        return names;
    }

    fs::path dir_;
    std::string doc_;
};

TEST_F(RenderFarm, BadFrameListsExitTwoNamingThePiece) {
    struct Case {
        const char* frames;
        const char* says;
        const char* valid;  // what the message offers instead
    };
    for (const Case c : {Case{"1-3,6-2", "\"6-2\" runs backwards", "as in 2-6"},
                         Case{"0-7:0", "\"0-7:0\" has step 0", "as in 0-7:2"},
                         Case{"0-3,x7", "\"x7\" is not a frame", "1-100:5"}}) {
        const CliResult ok = Tavrin("render " + doc_ + " --frames '" + c.frames + "' -o '" +
                                    (dir_ / "out" / "f_####.png").string() + "'");
        EXPECT_EQ(ok.code, 2) << c.frames;
        EXPECT_NE(ok.err.find(c.says), std::string::npos) << ok.err;
        EXPECT_NE(ok.err.find(c.valid), std::string::npos) << ok.err;
    }
    EXPECT_FALSE(fs::exists(dir_ / "out"));
}

TEST_F(RenderFarm, FramesPastTheCompAreLeftOutWithAWarning) {
    const CliResult r =
        Tavrin("render " + doc_ + " --frames 6-20 -o '" + (dir_ / "out/f_####.png").string() + "'");
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.err.find("warning: --frames: frames 8-20 are past the comp's last frame (7)"),
              std::string::npos)
        << r.err;
    EXPECT_EQ(FilesIn("out"), (std::set<std::string>{"f_0006.png", "f_0007.png"}));
    EXPECT_EQ(Tavrin("render " + doc_ + " --frames 8-20").code, 2);
}

TEST_F(RenderFarm, ShardsTogetherWriteTheSameFramesAsOneRun) {
    const std::string all = "render " + doc_ + " --frames 0-7 --threads 1";
    ASSERT_EQ(Tavrin(all + " -o '" + (dir_ / "one/f_####.png").string() + "'").code, 0);
    for (const char* mode : {"interleaved", "contiguous"}) {
        const std::string folder = std::string("sharded-") + mode;
        for (int i = 0; i < 3; ++i) {
            const CliResult r =
                Tavrin(all + " --shard " + std::to_string(i) + "/3 --shard-mode " + mode + " -o '" +
                       (dir_ / folder / "f_####.png").string() + "'");
            ASSERT_EQ(r.code, 0) << r.err;
        }
        EXPECT_EQ(FilesIn(folder), FilesIn("one"));
        for (int f = 0; f < 8; ++f)
            EXPECT_EQ(ReadFile(Frame(folder, f)), ReadFile(Frame("one", f))) << mode << " " << f;
    }
}

TEST_F(RenderFarm, ShardFromEnvReadsSlurmAndKubernetes) {
    const std::string out = " -o '" + (dir_ / "env/f_####.png").string() + "' --json";
    const CliResult slurm =
        Tavrin("render " + doc_ + " --shard-from-env" + out,
               "SLURM_ARRAY_TASK_ID=3 SLURM_ARRAY_TASK_MIN=1 SLURM_ARRAY_TASK_MAX=4");
    ASSERT_EQ(slurm.code, 0) << slurm.err;
    const json s = json::parse(slurm.out);
    EXPECT_EQ(s["shard"]["index"], 2);
    EXPECT_EQ(s["shard"]["count"], 4);
    ASSERT_EQ(s["frames"].size(), 2u);  // no list: the whole comp, frames 2 and 6
    EXPECT_EQ(s["frames"][0]["frame"], 2);
    EXPECT_EQ(s["frames"][1]["frame"], 6);

    const CliResult k8s = Tavrin("render " + doc_ + " --shard-from-env --shard-count 2" + out,
                                 "JOB_COMPLETION_INDEX=1");
    ASSERT_EQ(k8s.code, 0) << k8s.err;
    EXPECT_EQ(json::parse(k8s.out)["frames"].size(), 4u);

    const CliResult none = Tavrin("render " + doc_ + " --shard-from-env" + out);
    EXPECT_EQ(none.code, 2);
    EXPECT_EQ(json::parse(none.out)["ok"], false);
    EXPECT_EQ(Tavrin("render " + doc_ + " --shard 4/4").code, 2);
}

// A killed render leaves finished frames, missing frames and perhaps a temporary file; run
// again with --skip-existing, it draws exactly the frames that are not finished.
TEST_F(RenderFarm, SkipExistingResumesAfterAKill) {
    const std::string render = "render " + doc_ + " --frames 0-7 --threads 1 -o '" +
                               (dir_ / "out/f_####.png").string() + "'";
    ASSERT_EQ(Tavrin(render).code, 0);
    ASSERT_EQ(
        Tavrin("render " + doc_ + " --frames 0-7 -o '" + (dir_ / "ref/f_####.png").string() + "'")
            .code,
        0);
    // The kill: frame 2 never written, frame 5 only as a half-written temporary file, frame 6
    // an empty file. Frames 0 and 7 are marked so that drawing them again would show.
    fs::remove(Frame("out", 2));
    fs::remove(Frame("out", 5));
    std::ofstream(dir_ / "out" / ".f_0005.png.tmp4242_0") << "\x89PNG half";
    std::ofstream(Frame("out", 6)).close();
    std::ofstream(Frame("out", 0)) << "finished before";
    std::ofstream(Frame("out", 7)) << "finished before";

    const CliResult r = Tavrin(render + " --skip-existing --json");
    ASSERT_EQ(r.code, 0) << r.err;
    const json j = json::parse(r.out);
    std::set<int64_t> rendered, skipped;
    for (const auto& rec : j["frames"])
        (rec["status"] == "rendered" ? rendered : skipped).insert(rec["frame"].get<int64_t>());
    EXPECT_EQ(rendered, (std::set<int64_t>{2, 5, 6}));
    EXPECT_EQ(skipped, (std::set<int64_t>{0, 1, 3, 4, 7}));
    EXPECT_EQ(j["rendered"], 3);
    EXPECT_EQ(j["skipped"], 5);
    EXPECT_EQ(ReadFile(Frame("out", 0)), "finished before");
    EXPECT_EQ(ReadFile(Frame("out", 7)), "finished before");
    for (int f : {1, 2, 3, 4, 5, 6})
        EXPECT_EQ(ReadFile(Frame("out", f)), ReadFile(Frame("ref", f))) << f;
    EXPECT_NE(r.err.find("5 of 8 frames are finished and skipped"), std::string::npos) << r.err;
}

TEST_F(RenderFarm, RenderJsonHasARecordPerFrameAndHumanLinesOnStandardError) {
    const CliResult r = Tavrin("render " + doc_ + " --frames 1-7:3 --json -o '" +
                               (dir_ / "out/f_####.png").string() + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    const json j = json::parse(r.out);  // throws, failing the test, unless stdout is only JSON
    EXPECT_EQ(j["command"], "render");
    EXPECT_EQ(j["ok"], true);
    EXPECT_EQ(j["comp"], "Spin");
    EXPECT_EQ(j["exitCode"], 0);
    EXPECT_TRUE(j["shard"].is_null());
    ASSERT_EQ(j["frames"].size(), 3u);
    const int64_t expected[] = {1, 4, 7};
    for (size_t i = 0; i < 3; ++i) {
        const auto& rec = j["frames"][i];
        EXPECT_EQ(rec["frame"], expected[i]);
        EXPECT_EQ(rec["status"], "rendered");
        EXPECT_EQ(rec["file"], Frame("out", int(expected[i])));
        EXPECT_DOUBLE_EQ(rec["time"].get<double>(), double(expected[i]) / 8.0);
        EXPECT_GE(rec["renderSeconds"].get<double>(), 0.0);
        EXPECT_TRUE(fs::exists(rec["file"].get<std::string>()));
    }
    EXPECT_NE(r.err.find("rendered 3 of 3 frames"), std::string::npos) << r.err;
}

TEST_F(RenderFarm, VerboseJsonKeepsTheEffectsLinesOffStandardOutput) {
    const CliResult r =
        Tavrin("render " + doc_ + " --frames 3 -v --json -o '" + (dir_ / "v.png").string() + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(json::parse(r.out)["frames"][0]["status"], "rendered");
    EXPECT_NE(r.err.find("Common render called"), std::string::npos) << r.err;
}

TEST_F(RenderFarm, ValidateInfoAndEffectsJson) {
    const CliResult v = Tavrin("validate " + doc_ + " --json");
    ASSERT_EQ(v.code, 0) << v.err;
    const json vj = json::parse(v.out);
    EXPECT_EQ(vj["valid"], true);
    EXPECT_EQ(vj["layers"], 1);
    EXPECT_EQ(vj["effects"], 3);

    const std::string bad = (dir_ / "bad.json").string();
    std::ofstream(bad) << R"({"tavrin": 1, "comps": [{"fps": "30/1x"}]})";
    const CliResult b = Tavrin("validate " + bad + " --json");
    EXPECT_EQ(b.code, 2);
    const json bj = json::parse(b.out);
    EXPECT_EQ(bj["valid"], false);
    EXPECT_FALSE(bj["error"].get<std::string>().empty());

    const CliResult i = Tavrin("info " + doc_ + " --json");
    ASSERT_EQ(i.code, 0) << i.err;
    const json ij = json::parse(i.out);
    ASSERT_EQ(ij["comps"].size(), 1u);
    EXPECT_EQ(ij["comps"][0]["width"], 32);
    const auto& effects = ij["comps"][0]["layers"][0]["effects"];
    ASSERT_EQ(effects.size(), 3u);
    EXPECT_EQ(effects[2]["name"], "Tavrin Points Renderer");
    bool sawSize = false;
    for (const auto& p : effects[2]["params"])
        if (p["name"] == "Points Size") sawSize = p["value"] == "2";
    EXPECT_TRUE(sawSize) << effects[2].dump();

    const CliResult e = Tavrin("effects --json");
    ASSERT_EQ(e.code, 0);
    EXPECT_EQ(json::parse(e.out)["effects"].size(), 21u);
    const CliResult one = Tavrin("effects 'Tavrin Points Renderer' --json");
    ASSERT_EQ(one.code, 0);
    const json oj = json::parse(one.out);
    EXPECT_EQ(oj["effect"]["role"], "renderer");
    EXPECT_EQ(oj["effect"]["params"][0]["name"], "Points Size");
    const CliResult missing = Tavrin("effects Nonesuch --json");
    EXPECT_EQ(missing.code, 2);
    EXPECT_EQ(json::parse(missing.out)["ok"], false);
}

}  // namespace
}  // namespace tv
