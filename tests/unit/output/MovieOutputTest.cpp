// Movies from `tavrin render -o shot.mp4|.mov|.webm|.gif`: encoded by ffmpeg at the comp's size
// and rate, with alpha where the codec keeps it, a frame matching the PNG of the same frame
// within the codec's loss, and nothing left under the movie's name when ffmpeg is missing or fails.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>

#include "standalone/ImageModule.h"
#include "standalone/MovieOutput.h"
#include "standalone/OutputFormat.h"
#include "tests/support/RunShell.h"

namespace tv {
namespace {

namespace fs = std::filesystem;
using standalone::ImagePixels;
using standalone::ReadImageFloat;

// A sphere of points over nothing, 34x24 (or `size`) at 10 fps for 0.8 s: 8 frames, turning.
std::string Doc(const std::string& size = R"("width": 34, "height": 24)") {
    return R"({"tavrin": 1, "comps": [{"name": "Spin", )" + size +
           R"(, "fps": 10, "duration": 0.8, "background": "#204060",
      "layers": [{"name": "P", "solid": {}, "effects": [
      {"effect": "Tavrin"},
      {"effect": "Tavrin Primitives Object", "params": {"Primitive Type": "Sphere",
        "Sphere Radius": 8, "Sphere Slices": 8, "Sphere Stacks": 6,
        "Y Rotate": {"keys": [{"t": 0, "v": 0}, {"t": 0.8, "v": 90}]}}},
      {"effect": "Tavrin Points Renderer", "params": {"Points Size": 4}}]}]}]})";
}

class MovieFiles : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tavrin-movie-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_ / "out");
        doc_ = (dir_ / "spin.json").string();
        std::ofstream(doc_) << Doc();
    }
    void TearDown() override { fs::remove_all(dir_); }

    std::string Out(const std::string& name) { return (dir_ / "out" / name).string(); }
    test::CliRun Render(const std::string& args, const std::string& env = "") {
        std::string line(env);
        line.append(" '").append(TAVRIN_BINARY).append("' render ").append(args).append(" 2>&1");
        return test::RunShell(line);
    }
    // Everything in the output folder, hidden temporaries included.
    std::vector<std::string> OutFiles() {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(dir_ / "out"))
            names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    fs::path dir_;
    std::string doc_;
};

// What ffprobe says of the first video stream: "codec,width,height,rate,frames".
std::string Probe(const std::string& movie) {
    return test::RunShell(
               "ffprobe -v error -select_streams v:0 -count_frames -show_entries "
               "stream=codec_name,width,height,r_frame_rate,nb_read_frames -of "
               "csv=p=0 '" +
               movie + "'")
        .out;
}

// Frame `index` of the movie decoded to a PNG (`decoder` forces one, for VP9's alpha).
ImagePixels<float> Decode(const std::string& movie, int index, const std::string& png,
                          const std::string& decoder = "") {
    const test::CliRun r =
        test::RunShell("ffmpeg -v error " + (decoder.empty() ? "" : "-c:v " + decoder) + " -i '" +
                       movie + "' -vf 'select=eq(n\\," + std::to_string(index) +
                       ")' -frames:v 1 -pix_fmt rgba -y '" + png + "' 2>&1");
    EXPECT_EQ(r.code, 0) << r.out;
    return ReadImageFloat(png);
}

struct Difference {
    double meanColour = 0, meanAlpha = 0, maxAlpha = 0;
};

// Colours compared premultiplied, so that a colour under zero alpha does not count.
Difference Compare(const ImagePixels<float>& a, const ImagePixels<float>& b) {
    Difference d;
    EXPECT_EQ(a.width, b.width);
    EXPECT_EQ(a.height, b.height);
    EXPECT_EQ(a.channels, 4);
    EXPECT_EQ(b.channels, 4);
    if (a.width != b.width || a.height != b.height || a.channels != 4 || b.channels != 4) {
        d.meanColour = d.meanAlpha = d.maxAlpha = 1;
        return d;
    }
    const size_t n = size_t(a.width) * size_t(a.height);
    for (size_t i = 0; i < n; ++i) {
        const float* p = &a.values[i * 4];
        const float* q = &b.values[i * 4];
        for (int c = 0; c < 3; ++c) d.meanColour += std::abs(p[c] * p[3] - q[c] * q[3]);
        d.meanAlpha += std::abs(p[3] - q[3]);
        d.maxAlpha = std::max(d.maxAlpha, double(std::abs(p[3] - q[3])));
    }
    d.meanColour /= double(n * 3);
    d.meanAlpha /= double(n);
    return d;
}

TEST(MovieCodecs, TheExtensionChoosesTheCodecInAnyCase) {
    ASSERT_NE(standalone::FindMovieCodec("a/shot.MOV"), nullptr);
    EXPECT_STREQ(standalone::FindMovieCodec("a/shot.MOV")->codec, "ProRes 4444");
    EXPECT_STREQ(standalone::FindMovieCodec("shot.mp4")->codec, "H.264");
    EXPECT_STREQ(standalone::FindMovieCodec("shot.webm")->codec, "VP9");
    EXPECT_STREQ(standalone::FindMovieCodec("shot.gif")->codec, "GIF");
    EXPECT_EQ(standalone::FindMovieCodec("shot.png"), nullptr);
    EXPECT_EQ(standalone::FindMovieCodec("shot"), nullptr);
    EXPECT_FALSE(standalone::FindMovieCodec("shot.mp4")->alpha);
    EXPECT_TRUE(standalone::FindMovieCodec("shot.webm")->alpha);
}

TEST(MovieCodecs, DepthsAMovieCannotHoldAreRefused) {
    EXPECT_EQ(standalone::ChooseOutputFormat("s.mov", 16).bitDepth, 16);
    EXPECT_EQ(standalone::ChooseOutputFormat("s.mov", 0).bitDepth, 8);
    EXPECT_THROW(standalone::ChooseOutputFormat("s.mp4", 16), standalone::OutputFormatError);
    EXPECT_THROW(standalone::ChooseOutputFormat("s.mov", 32), standalone::OutputFormatError);
    EXPECT_THROW(standalone::ChooseOutputFormat("s.gif", 16), standalone::OutputFormatError);
    const standalone::OutputFormat frames =
        standalone::MovieFrameFormat(standalone::ChooseOutputFormat("s.mp4", 0));
    EXPECT_EQ(frames.name, "PNG");
    EXPECT_FALSE(frames.alpha);  // H.264 has none: frames are flattened first
    EXPECT_EQ(frames.movie, nullptr);
}

TEST(MovieCodecs, FfmpegIsGivenTheRateAndTheCodec) {
    const auto args = standalone::FfmpegArguments(*standalone::FindMovieCodec("x.mov"), "/f", 30000,
                                                  1001, "/f/movie.mov");
    auto has = [&args](const std::string& word) {
        return std::find(args.begin(), args.end(), word) != args.end();
    };
    EXPECT_TRUE(has("30000/1001"));
    EXPECT_TRUE(has("prores_ks"));
    EXPECT_TRUE(has("/f/frame_%06d.png"));
    EXPECT_EQ(args.back(), "/f/movie.mov");
    EXPECT_EQ(standalone::MovieFramePath("/f", 12), "/f/frame_000012.png");
}

TEST_F(MovieFiles, EachMovieHoldsEveryFrameAtTheCompsSizeAndRate) {
    const std::pair<const char*, const char*> kinds[] = {
        {"mov", "prores,34,24,10/1,8"},
        {"webm", "vp9,34,24,10/1,8"},
        {"mp4", "h264,34,24,10/1,8"},
        {"gif", "gif,34,24,10/1,8"},
    };
    for (const auto& [ext, expected] : kinds) {
        const std::string movie = Out(std::string("shot.") + ext);
        const test::CliRun r = Render(doc_ + " --frames all -q -o " + movie);
        ASSERT_EQ(r.code, 0) << ext << ": " << r.out;
        EXPECT_EQ(Probe(movie), std::string(expected) + "\n") << ext;
    }
    // Only the movies: the frames and ffmpeg's log went with the private folder.
    EXPECT_EQ(OutFiles(),
              (std::vector<std::string>{"shot.gif", "shot.mov", "shot.mp4", "shot.webm"}));
}

TEST_F(MovieFiles, AFrameOfTheMovieMatchesThePngOfThatFrame) {
    ASSERT_EQ(Render(doc_ + " --frames 3 -q -o " + Out("f3.png")).code, 0);
    const ImagePixels<float> png = ReadImageFloat(Out("f3.png"));
    // ProRes 4444 keeps alpha at 16 bits and colour at 4:4:4: close to the PNG.
    ASSERT_EQ(Render(doc_ + " --frames all -q -o " + Out("s.mov")).code, 0);
    const Difference mov = Compare(png, Decode(Out("s.mov"), 3, Out("m.png")));
    EXPECT_LT(mov.meanColour, 0.004);
    EXPECT_LT(mov.maxAlpha, 2.5 / 255);
    // VP9 keeps alpha too (read with libvpx's decoder), colour at 4:2:0.
    ASSERT_EQ(Render(doc_ + " --frames all -q -o " + Out("s.webm")).code, 0);
    const Difference webm = Compare(png, Decode(Out("s.webm"), 3, Out("w.png"), "libvpx-vp9"));
    EXPECT_LT(webm.meanColour, 0.02);
    EXPECT_LT(webm.meanAlpha, 0.01);
    // GIF: a palette, and alpha on or off: the PNG with its alpha cut at half, as GIF holds it.
    ASSERT_EQ(Render(doc_ + " --frames all -q -o " + Out("s.gif")).code, 0);
    ImagePixels<float> cut = png;
    for (size_t i = 0; i < cut.values.size(); i += 4) {
        float* p = &cut.values[i];
        const float on = p[3] >= 0.5f ? 1.0f : 0.0f;
        for (int c = 0; c < 3; ++c) p[c] = p[3] > 0 ? p[c] / p[3] * on : 0;
        p[3] = on;
    }
    const Difference gif = Compare(cut, Decode(Out("s.gif"), 3, Out("g.png")));
    EXPECT_LT(gif.meanColour, 0.02);
    EXPECT_LT(gif.meanAlpha, 0.01);
    // H.264 has no alpha: the frame is laid over the comp's colour first, as an opaque PNG is.
    ASSERT_EQ(Render(doc_ + " --frames 3 -q --background opaque -o " + Out("o3.png")).code, 0);
    ASSERT_EQ(Render(doc_ + " --frames all -q --background opaque -o " + Out("s.mp4")).code, 0);
    const Difference mp4 =
        Compare(ReadImageFloat(Out("o3.png")), Decode(Out("s.mp4"), 3, Out("h.png")));
    EXPECT_LT(mp4.meanColour, 0.03);
    EXPECT_EQ(mp4.maxAlpha, 0);
    // A transparent comp's H.264 movie is laid over the comp's colour too, as a JPEG is: never
    // the colours under zero alpha.
    ASSERT_EQ(Render(doc_ + " --frames all -q -o " + Out("t.mp4")).code, 0);
    const Difference flat =
        Compare(ReadImageFloat(Out("o3.png")), Decode(Out("t.mp4"), 3, Out("t.png")));
    EXPECT_LT(flat.meanColour, 0.03);
}

TEST_F(MovieFiles, AnOddSizeIsPaddedForH264AndKeptByTheOthers) {
    std::ofstream(doc_) << Doc(R"("width": 33, "height": 25)");
    ASSERT_EQ(Render(doc_ + " --frames 0-1 -q -o " + Out("odd.mp4")).code, 0);
    EXPECT_EQ(Probe(Out("odd.mp4")), "h264,34,26,10/1,2\n");
    ASSERT_EQ(Render(doc_ + " --frames 0-1 -q -o " + Out("odd.mov")).code, 0);
    EXPECT_EQ(Probe(Out("odd.mov")), "prores,33,25,10/1,2\n");
}

TEST_F(MovieFiles, AMissingFfmpegIsNamedBeforeAnythingIsDrawn) {
    const test::CliRun r = Render(doc_ + " --frames all -o " + Out("s.mp4"), "PATH=/nonexistent");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.out.find("a movie is encoded by the ffmpeg program, which is not on PATH"),
              std::string::npos)
        << r.out;
    EXPECT_EQ(r.out.find("drew frame"), std::string::npos) << r.out;
    EXPECT_TRUE(OutFiles().empty());
    const test::CliRun named =
        Render(doc_ + " -o " + Out("s.mp4"), "TAVRIN_FFMPEG=" + (dir_ / "none").string());
    EXPECT_EQ(named.code, 2);
    EXPECT_NE(named.out.find("TAVRIN_FFMPEG names"), std::string::npos) << named.out;
}

TEST_F(MovieFiles, AFailedEncodingLeavesTheOldMovieAndNoTemporaries) {
    std::ofstream(Out("s.mp4")) << "the movie of yesterday";
    const test::CliRun r =
        Render(doc_ + " --frames all --json -o " + Out("s.mp4"), "TAVRIN_FFMPEG=/bin/false");
    EXPECT_EQ(r.code, 1) << r.out;
    EXPECT_NE(r.out.find("/bin/false could not encode the MP4 (exit status 1)"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find(R"("written": false)"), std::string::npos) << r.out;
    EXPECT_EQ(OutFiles(), std::vector<std::string>{"s.mp4"});
    std::ifstream in(Out("s.mp4"));
    std::string text;
    std::getline(in, text);
    EXPECT_EQ(text, "the movie of yesterday");
}

TEST_F(MovieFiles, OptionsAMovieCannotTakeAreRefusedBeforeDrawing) {
    const std::pair<std::string, std::string> refused[] = {
        {"--shard 0/2 -o " + Out("s.mp4"), "cannot be split in shards"},
        {"--skip-existing -o " + Out("s.mov"), "--skip-existing: a movie is drawn whole"},
        {"--bit-depth 16 -o " + Out("s.mp4"), "--bit-depth 16: MP4 (H.264) holds 8 bits"},
        {"--bit-depth 32 -o " + Out("s.mov"), "--bit-depth 32: MOV (ProRes 4444)"},
        {"--colorspace ACEScg -o " + Out("s.webm"), "--colorspace: a movie holds sRGB"},
    };
    for (const auto& [args, message] : refused) {
        const test::CliRun r = Render(doc_ + " --frames all " + args);
        EXPECT_EQ(r.code, 2) << args;
        EXPECT_NE(r.out.find(message), std::string::npos) << args << ": " << r.out;
    }
    EXPECT_TRUE(OutFiles().empty());
}

}  // namespace
}  // namespace tv
