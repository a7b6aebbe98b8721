// The frei0r plug-in's frames drawn in this process: the comp laid over the host's frame at its
// size, broken documents passed through with one log line, instances side by side.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "hosts/frei0r/Frei0rInstance.h"
#include "standalone/CompFrames.h"
#include "standalone/Document.h"
#include "standalone/ImageOutput.h"

namespace tv::frei0r {
namespace {

const std::string kExamples = std::string(TAVRIN_SOURCE_DIR) + "/examples/";

std::vector<uint32_t> Background(int32_t width, int32_t height) {
    // R 0x33, G 0x66, B 0x99, A 0xff in memory order.
    return std::vector<uint32_t>(size_t(width) * size_t(height), 0xff996633u);
}

std::vector<uint32_t> Update(Frei0rInstance& instance, double seconds, const uint32_t* in) {
    std::vector<uint32_t> out(size_t(instance.width) * size_t(instance.height), 0x12345678u);
    UpdateFrame(instance, seconds, in, out.data());
    return out;
}

// The frame `tavrin render --scale` writes, as straight 8-bit RGBA.
std::vector<uint8_t> RenderedFrame(const std::string& document, int64_t frame,
                                   PF_RationalScale scale) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentFile(document, host);
    standalone::Comp& comp = standalone::PickComp(host, "");
    host.setDownsample(scale);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    return standalone::ToStraight8(renderer.renderFrame(comp, frame, 8, messages));
}

TEST(Frei0rInstance, TheSourceDrawsTheCompAtTheHostsSizeAsTavrinRenderDoes) {
    Frei0rInstance instance;
    instance.width = 320;
    instance.height = 180;
    instance.settings.document = kExamples + "orbit.json";
    for (const int64_t frame : {0, 7}) {
        const std::vector<uint32_t> out = Update(instance, double(frame) / 30.0, nullptr);
        const std::vector<uint8_t> expected =
            RenderedFrame(instance.settings.document, frame, {1, 4});
        ASSERT_EQ(expected.size(), out.size() * 4);
        EXPECT_EQ(0, std::memcmp(expected.data(), out.data(), expected.size())) << frame;
    }
}

TEST(Frei0rInstance, TheFilterLaysTheFrameOverTheInput) {
    Frei0rInstance instance;
    instance.width = 320;
    instance.height = 180;
    instance.settings.document = kExamples + "network.json";
    const std::vector<uint32_t> in = Background(320, 180);
    const std::vector<uint32_t> out = Update(instance, 0, in.data());
    const std::vector<uint8_t> top = RenderedFrame(instance.settings.document, 0, {1, 4});
    size_t drawn = 0;
    for (size_t i = 0; i < out.size(); ++i) {
        const auto* o = reinterpret_cast<const uint8_t*>(&out[i]);
        const uint8_t* t = &top[i * 4];
        EXPECT_EQ(o[3], 255);  // over an opaque frame
        if (t[3] == 0) {
            EXPECT_EQ(out[i], in[i]) << i;
        }
        if (t[3] == 255) {
            EXPECT_EQ(0, std::memcmp(o, t, 3)) << i;
        }
        drawn += t[3] != 0;
    }
    EXPECT_GT(drawn, 1000u);
}

TEST(Frei0rInstance, ABrokenDocumentPassesFramesThroughWithOneLogLine) {
    const std::string broken = testing::TempDir() + "frei0r_broken.json";
    std::ofstream(broken) << R"({"tavrin": 1, "comps": [{"name": "A", "layres": []}]})";
    Frei0rInstance instance;
    instance.width = 16;
    instance.height = 8;
    instance.settings.document = broken;
    const std::vector<uint32_t> in = Background(16, 8);
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Update(instance, i / 30.0, in.data()), in);
    EXPECT_EQ(Update(instance, 0, nullptr), std::vector<uint32_t>(16 * 8, 0u));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.find("[tavrin frei0r] " + broken), 0u) << log;
    EXPECT_NE(log.find("layres"), std::string::npos) << log;
    EXPECT_EQ(log.find('\n'), log.size() - 1) << log;  // one line for every frame
}

TEST(Frei0rInstance, AnEditedDocumentIsLoadedAgain) {
    const std::string file = testing::TempDir() + "frei0r_edited.json";
    std::ofstream(file) << R"({"tavrin": 1, "comps": [{"name": "A", "width": 16, "height": 8,
        "layers": [{"name": "S", "solid": {"color": "#ff0000"}}]}]})";
    Frei0rInstance instance;
    instance.width = 16;
    instance.height = 8;
    instance.settings.document = file;
    EXPECT_EQ(Update(instance, 0, nullptr)[0], 0xff0000ffu);
    std::ofstream(file) << R"({"tavrin": 1, "comps": [{"name": "A", "width": 16, "height": 8,
        "layers": [{"name": "S", "solid": {"color": "#00ff00"}}]}]})";
    std::filesystem::last_write_time(
        file, std::filesystem::last_write_time(file) + std::chrono::seconds(2));
    EXPECT_EQ(Update(instance, 0, nullptr)[0], 0xff00ff00u);
    instance.settings.comp = std::string{"Missing"};
    testing::internal::CaptureStderr();
    EXPECT_EQ(Update(instance, 0, nullptr)[0], 0u);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("no comp named \"Missing\""),
              std::string::npos);
}

TEST(Frei0rInstance, TwoInstancesDrawTheirOwnDocuments) {
    Frei0rInstance a, b;
    a.width = b.width = 320;
    a.height = b.height = 180;
    a.settings.document = kExamples + "network.json";
    b.settings.document = kExamples + "orbit.json";
    const std::vector<uint32_t> a0 = Update(a, 0, nullptr), b0 = Update(b, 0, nullptr);
    const std::vector<uint32_t> a1 = Update(a, 0, nullptr), b1 = Update(b, 0.2, nullptr);
    EXPECT_EQ(a0, a1);
    EXPECT_NE(a0, b0);
    EXPECT_NE(b0, b1);
    Frei0rInstance alone;
    alone.width = 320;
    alone.height = 180;
    alone.settings.document = b.settings.document;
    EXPECT_EQ(Update(alone, 0.2, nullptr), b1);
}

TEST(Frei0rInstance, ASmallerCompIsCentredOnTheHostsFrame) {
    const std::string file = testing::TempDir() + "frei0r_small.json";
    std::ofstream(file) << R"({"tavrin": 1, "comps": [{"name": "A", "width": 8, "height": 4,
        "layers": [{"name": "S", "solid": {"color": "#ffffff"}}]}]})";
    Frei0rInstance instance;
    instance.width = 16;
    instance.height = 8;
    instance.settings.document = file;
    const std::vector<uint32_t> in = Background(16, 8);
    const std::vector<uint32_t> out = Update(instance, 0, in.data());
    for (int32_t y = 0; y < 8; ++y)
        for (int32_t x = 0; x < 16; ++x) {
            const bool inside = x >= 4 && x < 12 && y >= 2 && y < 6;
            EXPECT_EQ(out[size_t(y) * 16 + size_t(x)], inside ? 0xffffffffu : in[0])
                << x << "," << y;
        }
}

}  // namespace
}  // namespace tv::frei0r
