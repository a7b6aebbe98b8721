// The sound effector: spectra, echo rows and lookups worked by hand, audio layers read through
// libsndfile and mixed to mono, the effector through documents, and gradients in documents.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "effectors/SoundSpectrum.h"
#include "host/Gather.h"
#include "standalone/Audio.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/DocumentWriter.h"
#include "tests/support/Gathered.h"

namespace tv {
namespace {

constexpr double kPi = 3.14159265358979323846;

std::vector<float> Sine(double hz, size_t n, double rate = kSoundRate) {
    std::vector<float> s(n);
    for (size_t i = 0; i < n; ++i) s[i] = float(std::sin(2 * kPi * hz * double(i) / rate));
    return s;
}

TEST(SoundSpectrum, SizesArePowersOfTwoAboveTheCount) {
    EXPECT_EQ(SpectrumSize(4), 8u);  // a power of two doubles
    EXPECT_EQ(SpectrumSize(5), 8u);
    EXPECT_EQ(SpectrumSize(1600), 2048u);
}

TEST(SoundSpectrum, APure1000HzSinePeaksInItsBin) {
    const auto s = Sine(1000, 1600);  // 100 ms
    const auto m = SoundSpectrum(s.data(), s.size(), 0, 2000);
    // N = 2048: bins of 8000 / 1024 = 7.8125 Hz, kept up to trunc(2000 / 7.8125 + 1) = 257.
    ASSERT_EQ(m.size(), 257u);
    const auto peak = size_t(std::max_element(m.begin(), m.end()) - m.begin());
    EXPECT_EQ(peak, 128u);  // 1000 / 7.8125
    EXPECT_GT(m[128], 20 * m[60]);
}

TEST(SoundSpectrum, TheRangeTrimsLowBinsAndPadsHighOnes) {
    const auto s = Sine(1000, 1600);
    const auto m = SoundSpectrum(s.data(), s.size(), 500, 2000);
    // trunc(500 / 7.8125) = 64 bins dropped: the peak moves down by as many.
    ASSERT_EQ(m.size(), 257u - 64u);
    EXPECT_EQ(size_t(std::max_element(m.begin(), m.end()) - m.begin()), 64u);
    // Above 8000 Hz there is nothing to read: the list is padded with zeroes.
    const auto wide = SoundSpectrum(s.data(), s.size(), 0, 12000);
    ASSERT_EQ(wide.size(), size_t(12000 / 7.8125 + 1));
    EXPECT_EQ(wide.back(), 0.0f);
    EXPECT_EQ(wide[1100], 0.0f);
}

TEST(SoundSpectrum, FewerThanFourSamplesGiveNothingAndSilenceGivesZeros) {
    const float three[3] = {1, 2, 3};
    EXPECT_TRUE(SoundSpectrum(three, 3, 0, 2000).empty());
    const std::vector<float> silence(800, 0.0f);
    for (float v : SoundSpectrum(silence.data(), silence.size(), 0, 2000)) EXPECT_EQ(v, 0.0f);
}

TEST(SoundLookups, LiveAndTableWorkedByHand) {
    const std::vector<float> s = {0, 1, 2, 3};
    EXPECT_FLOAT_EQ(LiveLookup(s, 0.25), 1.0f);   // x = 1
    EXPECT_FLOAT_EQ(LiveLookup(s, 0.375), 1.5f);  // x = 1.5
    EXPECT_FLOAT_EQ(LiveLookup(s, 1.0), 3.0f);    // held inside
    EXPECT_FLOAT_EQ(LiveLookup(s, -2.0), 0.0f);
    EXPECT_FLOAT_EQ(LiveLookup({}, 0.5), 0.0f);
    const std::vector<std::vector<float>> rows = {{0, 0, 0, 0}, {4, 4, 4, 4}};
    EXPECT_FLOAT_EQ(TableLookup(rows, 0.5, 0.25), 2.0f);  // y = 0.5: half way between rows
    EXPECT_FLOAT_EQ(TableLookup({{0, 0}, {1, 1, 1}}, 0.5, 0.25), 0.0f);  // lengths differ
    EXPECT_FLOAT_EQ(TableLookup({{}, {1, 1}}, 0.5, 0.25), 0.0f);         // one empty
    // One row (no echo): every v reads row 0.
    EXPECT_FLOAT_EQ(TableLookup({{5, 5}}, 0.5, 0.9), 5.0f);
}

TEST(SoundEcho, NoDelayIsOneRowAndADelayReachesBack) {
    const EchoRows one = PlanEchoRows(10, 0, 1000, 12345, 30000);
    EXPECT_EQ(one.rows, 1);
    EXPECT_EQ(one.step, 1);
    EXPECT_EQ(one.cur, 12345);
    EXPECT_DOUBLE_EQ(one.t0, 12345.0 / 30000);
    // Two frames of 1000 ticks: rows = maxY + 2, the current time snapped to the step.
    const EchoRows e = PlanEchoRows(4, 2, 1000, 12345, 30000);
    EXPECT_EQ(e.rows, 6);
    EXPECT_EQ(e.step, 2000);
    EXPECT_EQ(e.cur, 12000);
    EXPECT_EQ(e.rem, 345);
    EXPECT_DOUBLE_EQ(e.t0, (12000.0 - 5 * 2000) / 30000);
}

// Writes float samples (interleaved) as a 16-bit WAV, or in another libsndfile format.
std::string WriteWav(const std::string& name, const std::vector<float>& samples, int channels,
                     int rate, int format = SF_FORMAT_WAV | SF_FORMAT_PCM_16) {
    const std::string path = (std::filesystem::temp_directory_path() / name).string();
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    EXPECT_NE(f, nullptr);
    sf_writef_float(f, samples.data(), sf_count_t(samples.size()) / channels);
    sf_close(f);
    return path;
}

TEST(SoundAudio, AStereoFileEqualsItsMonoMix) {
    const auto left = Sine(440, 8000), right = Sine(1250, 8000);
    std::vector<float> stereo, mono;
    for (size_t i = 0; i < left.size(); ++i) {
        stereo.push_back(left[i] * 0.5f);
        stereo.push_back(right[i] * 0.5f);
        mono.push_back((left[i] + right[i]) * 0.25f);
    }
    std::string error;
    const auto a =
        standalone::MonoSamples(WriteWav("tavrin-stereo.wav", stereo, 2, 16000), 16000, error);
    const auto b =
        standalone::MonoSamples(WriteWav("tavrin-mono.wav", mono, 1, 16000), 16000, error);
    ASSERT_TRUE(a && b) << error;
    ASSERT_EQ(a->size(), b->size());
    for (size_t i = 0; i < a->size(); ++i) EXPECT_NEAR((*a)[i], (*b)[i], 2.0 / 32768) << i;
}

TEST(SoundAudio, ResamplingKeepsTheToneAndTheLength) {
    const auto s = Sine(1000, 44100, 44100);
    const auto r = standalone::Resample(s, 44100, 16000);
    EXPECT_EQ(r.size(), 16000u);
    const auto m = SoundSpectrum(r.data(), 1600, 0, 2000);
    EXPECT_EQ(size_t(std::max_element(m.begin(), m.end()) - m.begin()), 128u);
}

std::string SoundDoc(const std::string& wav, const std::string& extra,
                     const std::string& soundLayer = "Tones", int yPoints = 3) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 100, "height": 100, "fps": 30,
      "duration": 2, "layers": [
        {"name": "Tones", "audio": {"file": ")" +
           wav + R"("}},
        {"name": "L", "solid": {}, "effects": [
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 8, "Y Points": )" +
           std::to_string(yPoints) + R"(,
            "Z Points": 1, "Generate Faces": "None"}},
          {"effect": "Tavrin Sound Effector", "params": {"Sound Layer": ")" +
           soundLayer + R"(",
            "Sound Start Amplitude": 50, "Sound End Amplitude": 50, "Apply Sound to Axis": "Z")" +
           extra + R"(}}]},
        {"name": "Plain", "solid": {}}]}]})";
}

// The store of layer L after the effector, at a frame.
GeometryStore StoreAfter(const std::string& doc, int64_t frame = 15,
                         std::vector<std::string>* diagnostics = nullptr) {
    test::Gathered l(doc, 1, frame);
    EXPECT_EQ(l.err, 0);
    if (diagnostics) *diagnostics = l.host.takeDiagnostics();
    return l.g();
}

// The z of every vertex after the effector, at a frame.
std::vector<float> ZsAfter(const std::string& doc, int64_t frame = 15) {
    std::vector<float> z;
    for (const Vec3f& p : StoreAfter(doc, frame).positions) z.push_back(p.z);
    return z;
}

// Silence, then a 1000 Hz tone from `onset` seconds, two seconds in all.
std::vector<float> ToneFrom(double onset) {
    auto s = Sine(1000, 32000);
    for (size_t i = 0; i < size_t(onset * kSoundRate); ++i) s[i] = 0;
    return s;
}

TEST(SoundEffector, SilenceMovesNothingAndAToneMovesItsColumn) {
    const std::string silent =
        WriteWav("tavrin-silent.wav", std::vector<float>(32000, 0), 1, 16000);
    for (float z : ZsAfter(SoundDoc(silent, ""))) EXPECT_EQ(z, 0.0f);
    // A 1000 Hz tone over 0..2000 Hz: the middle of the eight columns rises most.
    const std::string tone = WriteWav("tavrin-tone.wav", Sine(1000, 32000), 1, 16000);
    const auto z = ZsAfter(SoundDoc(tone, ""));
    ASSERT_EQ(z.size(), 24u);
    // Row 0 (lattice y 0) reads the live spectrum: column 4 (u = 0.5 = 1000 Hz) is the peak.
    const auto peak = size_t(std::max_element(z.begin(), z.begin() + 8) - z.begin());
    EXPECT_EQ(peak, 4u);
    EXPECT_GT(z[4], 0.1f);
}

TEST(SoundEffector, ATinySampleDurationGivesNothing) {
    const std::string tone = WriteWav("tavrin-tone2.wav", Sine(1000, 32000), 1, 16000);
    // 0.1 ms is 1.6 samples: fewer than 4, so every spectrum is empty.
    for (float z : ZsAfter(SoundDoc(tone, R"x(, "Sample Duration (ms)": 0.1)x")))
        EXPECT_EQ(z, 0.0f);
}

TEST(SoundEffector, ALayerWithNoAudioLeavesTheVertices) {
    const std::string tone = WriteWav("tavrin-tone4.wav", Sine(1000, 32000), 1, 16000);
    // The same document with the tones is moved; pointing at a solid, the checkout fails.
    const auto moved = ZsAfter(SoundDoc(tone, ""));
    EXPECT_GT(*std::max_element(moved.begin(), moved.end()), 0.1f);
    std::vector<std::string> diagnostics;
    const GeometryStore plain = StoreAfter(SoundDoc(tone, "", "Plain"), 15, &diagnostics);
    ASSERT_EQ(plain.positions.size(), 24u);
    const GeometryStore before = StoreAfter(SoundDoc(tone, R"(, "Affect Position": false)"));
    for (size_t i = 0; i < plain.positions.size(); ++i)
        EXPECT_EQ(plain.positions[i], before.positions[i]) << i;
    EXPECT_NE(
        std::find_if(diagnostics.begin(), diagnostics.end(),
                     [](const std::string& d) { return d.rfind("Audio Checkout Err:", 0) == 0; }),
        diagnostics.end());
}

TEST(SoundEffector, EchoRowsReadEarlierAudio) {
    // The tone starts at 0.5 s. At frame 14 (0.467 s) the live spectrum already holds it, while
    // the rows one "Echo Time Delay" step back per row (here one frame) are still silent.
    const std::string onset = WriteWav("tavrin-onset.wav", ToneFrom(0.5), 1, 16000);
    const std::string echo = R"x(, "Echo Time Delay": 100)x";
    const auto early = ZsAfter(SoundDoc(onset, echo), 14);
    ASSERT_EQ(early.size(), 24u);
    EXPECT_GT(early[4], 0.1f);  // lattice y 0, the 1000 Hz column: live
    for (size_t i = 8; i < 24; ++i) EXPECT_EQ(early[i], 0.0f) << i;  // rows 2 and 3: silence
    // Later every row holds the tone.
    const auto late = ZsAfter(SoundDoc(onset, echo), 40);
    EXPECT_GT(late[8 + 4], 0.1f);
    EXPECT_GT(late[16 + 4], 0.1f);
}

TEST(SoundEffector, EchoRowsSlideBetweenSteps) {
    // A delay of two frames: frame 19 snaps to the rows of frame 18 and lies half a step on,
    // so lattice y 2 reads half way between the rows that y 1 and y 2 read at frame 18.
    const std::string onset = WriteWav("tavrin-onset2.wav", ToneFrom(0.5), 1, 16000);
    const std::string echo = R"x(, "Echo Time Delay": 200)x";
    const auto at18 = ZsAfter(SoundDoc(onset, echo), 18);
    const auto at19 = ZsAfter(SoundDoc(onset, echo), 19);
    ASSERT_EQ(at18.size(), 24u);
    ASSERT_EQ(at19.size(), 24u);
    EXPECT_GT(at18[8 + 4], 0.1f);   // y 1 reads a row that holds part of the tone
    EXPECT_EQ(at18[16 + 4], 0.0f);  // y 2 one that lies before it
    for (size_t x = 0; x < 8; ++x)
        EXPECT_NEAR(at19[16 + x], (at18[8 + x] + at18[16 + x]) / 2, 1e-4 + 1e-4 * at18[8 + x]) << x;
}

TEST(SoundEffector, ScaleAndColourFollowTheSameValue) {
    const std::string tone = WriteWav("tavrin-tone5.wav", Sine(1000, 32000), 1, 16000);
    // With position on Z, z = value * 100 * amp: the value each vertex reads.
    const auto z = ZsAfter(SoundDoc(tone, ""));
    const float zmax = *std::max_element(z.begin(), z.end());
    ASSERT_GT(zmax, 0.1f);
    const GeometryStore scaled = StoreAfter(
        SoundDoc(tone, R"(, "Affect Position": false, "Affect Scale": true, "Scale Factor": 0.5)"));
    ASSERT_EQ(scaled.scales.size(), 24u);
    for (size_t i = 0; i < 24; ++i) {
        EXPECT_EQ(scaled.positions[i].z, 0.0f);
        // value * 10 * amp * 0.5 = z / 20 on top of the scale of 1
        EXPECT_NEAR(scaled.scales[i], 1.0f + z[i] / 20, 1e-5f * (1 + z[i])) << i;
    }
    // Black to red over 0..1: red is t = value * amp * factor, held to 0..1. The loudest
    // column lands half way, then past the end stop.
    for (const double loudest : {0.5, 1.5}) {
        const double factor = loudest * 100.0 / zmax;
        const GeometryStore coloured = StoreAfter(
            SoundDoc(tone, R"(, "Affect Position": false, "Affect Color": true, "Color Factor": )" +
                               std::to_string(factor) + R"(, "Color Gradient": [
            {"position": 0, "color": "#000000"}, {"position": 1, "color": "#ff0000"}])"));
        ASSERT_EQ(coloured.colors.size(), 24u);
        for (size_t i = 0; i < 24; ++i) {
            const double t = std::clamp(z[i] / 100.0 * factor, 0.0, 1.0);
            EXPECT_NEAR(coloured.colors[i].r, t, 1.5 / 255) << i;
            EXPECT_EQ(coloured.colors[i].g, 0.0f);
            EXPECT_EQ(coloured.colors[i].b, 0.0f);
            EXPECT_FLOAT_EQ(coloured.colors[i].a, 0.5f);  // alpha stays
        }
        const size_t top = size_t(std::max_element(z.begin(), z.end()) - z.begin());
        EXPECT_NEAR(coloured.colors[top].r, std::min(loudest, 1.0), 1.5 / 255);
    }
}

TEST(SoundEffector, TheNormalAxisMovesAlongEachNormal) {
    const std::string tone = WriteWav("tavrin-tone6.wav", Sine(1000, 32000), 1, 16000);
    const GeometryStore alongZ = StoreAfter(SoundDoc(tone, ""));
    std::string doc = SoundDoc(tone, "");
    const std::string z = R"("Apply Sound to Axis": "Z")";
    doc.replace(doc.find(z), z.size(), R"("Apply Sound to Axis": "Normal")");
    const GeometryStore normal = StoreAfter(doc);
    ASSERT_EQ(normal.positions.size(), 24u);
    for (size_t i = 0; i < 24; ++i) {
        // A cube without faces has the normal (0, -1, 0): the value goes up the screen.
        ASSERT_EQ(normal.normals[i], (Vec3f{0, -1, 0}));
        EXPECT_FLOAT_EQ(normal.positions[i].x, alongZ.positions[i].x);
        EXPECT_FLOAT_EQ(normal.positions[i].y, alongZ.positions[i].y - alongZ.positions[i].z);
        EXPECT_EQ(normal.positions[i].z, 0.0f);
    }
}

uint64_t gSoundHash = 0;
PF_Err MixSoundHash(PF_ProgPtr, uint32_t size, const void* data) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    for (uint32_t i = 0; i < size; ++i) gSoundHash = (gSoundHash ^ bytes[i]) * 1099511628211ull;
    return PF_Err_NONE;
}

TEST(SoundEffector, TheHashAndTheMotionFollowARewrittenFile) {
    const std::string path = WriteWav("tavrin-rewritten.wav", Sine(1000, 32000), 1, 16000);
    const std::string doc = SoundDoc(path, "");
    auto hashNow = [&] {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentText(doc, "doc.json", host);
        auto& comp = *host.project().comps[0];
        gSoundHash = 14695981039346656037ull;
        EXPECT_EQ(MixStackHash(host, comp.layers[1]->uid, comp.frameTime(15), 0, &MixSoundHash, {}),
                  PF_Err_NONE);
        return gSoundHash;
    };
    const uint64_t first = hashNow();
    EXPECT_EQ(hashNow(), first);
    const auto loud = ZsAfter(doc);
    EXPECT_GT(*std::max_element(loud.begin(), loud.end()), 0.1f);
    // The same path, now silent, written a little later.
    const auto stamp = std::filesystem::last_write_time(path);
    WriteWav("tavrin-rewritten.wav", std::vector<float>(32000, 0.0f), 1, 16000);
    std::filesystem::last_write_time(path, stamp + std::chrono::seconds(5));
    EXPECT_NE(hashNow(), first);
    for (float v : ZsAfter(doc)) EXPECT_EQ(v, 0.0f);
}

TEST(SoundAudio, FlacAndOggReadLikeTheWavOfTheSameSamples) {
    std::vector<float> samples = Sine(700, 16000);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] *= 0.5f;
    std::string error;
    const auto wav =
        standalone::MonoSamples(WriteWav("tavrin-same.wav", samples, 1, 16000), 16000, error);
    ASSERT_TRUE(wav) << error;
    const auto flac = standalone::MonoSamples(
        WriteWav("tavrin-same.flac", samples, 1, 16000, SF_FORMAT_FLAC | SF_FORMAT_PCM_16), 16000,
        error);
    ASSERT_TRUE(flac) << error;
    ASSERT_EQ(flac->size(), wav->size());
    for (size_t i = 0; i < wav->size(); ++i) ASSERT_EQ((*flac)[i], (*wav)[i]) << i;  // lossless
    const auto ogg = standalone::MonoSamples(
        WriteWav("tavrin-same.ogg", samples, 1, 16000, SF_FORMAT_OGG | SF_FORMAT_VORBIS), 16000,
        error);
    ASSERT_TRUE(ogg) << error;
    ASSERT_EQ(ogg->size(), wav->size());
    // Vorbis is lossy: the same tone in the same bin, and close sample by sample.
    double diff = 0, energy = 0;
    for (size_t i = 0; i < wav->size(); ++i) {
        diff += ((*ogg)[i] - (*wav)[i]) * ((*ogg)[i] - (*wav)[i]);
        energy += (*wav)[i] * (*wav)[i];
    }
    EXPECT_LT(diff, 0.01 * energy);
    const auto a = SoundSpectrum(wav->data() + 4000, 1600, 0, 2000);
    const auto b = SoundSpectrum(ogg->data() + 4000, 1600, 0, 2000);
    EXPECT_EQ(std::max_element(a.begin(), a.end()) - a.begin(),
              std::max_element(b.begin(), b.end()) - b.begin());
}

TEST(SoundDocuments, AnUnreadableAudioFileIsAnErrorNamingThePath) {
    const std::string bad = (std::filesystem::temp_directory_path() / "tavrin-bad.wav").string();
    {
        std::FILE* f = std::fopen(bad.c_str(), "wb");
        std::fputs("not audio at all", f);
        std::fclose(f);
    }
    standalone::EmbeddedHost host;
    try {
        standalone::LoadDocumentText(SoundDoc(bad, ""), "doc.json", host);
        FAIL() << "expected an error";
    } catch (const std::exception& e) {
        EXPECT_NE(std::string(e.what()).find("$.comps[0].layers[0].audio.file"), std::string::npos)
            << e.what();
        EXPECT_NE(std::string(e.what()).find("tavrin-bad.wav"), std::string::npos);
    }
}

TEST(SoundDocuments, GradientsLoadAndSaveAsStops) {
    const std::string tone = WriteWav("tavrin-tone3.wav", Sine(500, 16000), 1, 16000);
    const std::string doc = SoundDoc(tone, R"(, "Affect Color": true, "Color Gradient": [
        {"position": 0, "color": "#000000"}, {"position": 0.25, "color": [1, 0, 0], "alpha": 0.5},
        {"position": 1, "color": "#ffffff"}])");
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, std::filesystem::temp_directory_path() / "doc.json", host);
    const std::string saved =
        standalone::SaveDocumentText(host, std::filesystem::temp_directory_path() / "doc.json");
    EXPECT_NE(saved.find("\"Color Gradient\""), std::string::npos);
    EXPECT_NE(saved.find("0.25"), std::string::npos);
    standalone::EmbeddedHost again;
    standalone::LoadDocumentText(saved, std::filesystem::temp_directory_path() / "doc.json", again);
    EXPECT_EQ(
        standalone::SaveDocumentText(again, std::filesystem::temp_directory_path() / "doc.json"),
        saved);
    // Stops out of order are refused where they stand.
    const std::string unordered = SoundDoc(tone, R"(, "Color Gradient": [
        {"position": 0.5, "color": "#000000"}, {"position": 0.25, "color": "#ffffff"}])");
    standalone::EmbeddedHost third;
    EXPECT_THROW(standalone::LoadDocumentText(unordered, "doc.json", third), std::exception);
}

}  // namespace
}  // namespace tv
