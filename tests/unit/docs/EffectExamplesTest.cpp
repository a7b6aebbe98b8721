// Each effect's page shows a picture drawn from a small document of its own: the document is
// there, loads without a draw-nothing warning, uses the effect, and its committed picture is a
// small frame that shows something.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "resources/EffectTable.h"
#include "standalone/Document.h"
#include "standalone/DocumentWarnings.h"
#include "standalone/EmbeddedHost.h"
#include "standalone/ImageModule.h"

namespace tv {
namespace {

namespace fs = std::filesystem;

const fs::path kRoot = fs::path(TAVRIN_TEST_DATA) / "..";

std::string Slug(std::string s) {
    std::replace(s.begin(), s.end(), ' ', '-');
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    return s;
}

std::string ReadText(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class EffectExamples : public ::testing::TestWithParam<const EffectInfo*> {};

TEST_P(EffectExamples, DocumentLoadsUsesTheEffectAndWarnsOfNothing) {
    const EffectInfo& fx = *GetParam();
    const fs::path doc = kRoot / "examples/effects" / (Slug(fx.displayName) + ".json");
    ASSERT_TRUE(fs::exists(doc)) << doc;
    EXPECT_NE(ReadText(doc).find("\"effect\": \"" + std::string(fx.displayName) + "\""),
              std::string::npos)
        << doc << " does not use " << fx.displayName;
    standalone::EmbeddedHost host;
    ASSERT_NO_THROW(standalone::LoadDocumentFile(doc.string(), host)) << doc;
    const auto warnings = standalone::DrawNothingWarnings(host, doc.string());
    EXPECT_TRUE(warnings.empty()) << warnings.front();
}

TEST_P(EffectExamples, PictureIsSmallAndShowsSomething) {
    const EffectInfo& fx = *GetParam();
    const fs::path png = kRoot / "docs/effects/images" / (Slug(fx.displayName) + ".png");
    ASSERT_TRUE(fs::exists(png)) << png;
    EXPECT_LT(fs::file_size(png), 200u * 1024u) << png << " is too large for a docs picture";
    const auto pixels = standalone::ReadImageBytes(png.string(), 3);
    EXPECT_EQ(pixels.width, 320);
    EXPECT_EQ(pixels.height, 180);
    // Something drawn: a good share of the pixels stands apart from the background's colour.
    const uint8_t* first = pixels.values.data();
    size_t differing = 0;
    for (size_t i = 0; i + 3 <= pixels.values.size(); i += 3) {
        int d = 0;
        for (int c = 0; c < 3; ++c) d = std::max(d, std::abs(int(pixels.values[i + c]) - first[c]));
        differing += d > 24;
    }
    EXPECT_GT(differing, size_t(320 * 180 / 100)) << png << " shows next to nothing";
}

std::vector<const EffectInfo*> AllEffects() {
    std::vector<const EffectInfo*> all;
    for (const EffectInfo& fx : EffectTable()) all.push_back(&fx);
    return all;
}

INSTANTIATE_TEST_SUITE_P(Each, EffectExamples, ::testing::ValuesIn(AllEffects()),
                         [](const auto& info) {
                             std::string name = Slug(info.param->displayName);
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

}  // namespace
}  // namespace tv
