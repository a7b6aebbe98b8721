// End to end: the beams example rendered as the command line renders it, against its committed
// reference. Set TAVRIN_UPDATE_REFS=1 to rewrite the reference (then look at it before
// committing).
#include <gtest/gtest.h>
#include <OpenImageIO/imageio.h>

#include <cmath>
#include <cstdlib>

#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/ImageOutput.h"

namespace tv {
namespace {

// Compares with the reference: every channel within `maxDiff`, mean difference within `meanDiff`.
void ExpectMatchesReference(const standalone::FloatImage& image, const std::string& name,
                            float maxDiff, float meanDiff) {
    const std::string path = std::string(TAVRIN_TEST_DATA) + "/e2e/refs/" + name;
    if (std::getenv("TAVRIN_UPDATE_REFS")) standalone::WriteImage(path, image, 8);
    auto in = OIIO::ImageInput::open(path);
    ASSERT_TRUE(in) << "missing reference " << path;
    const OIIO::ImageSpec& spec = in->spec();
    ASSERT_EQ(spec.width, image.width);
    ASSERT_EQ(spec.height, image.height);
    std::vector<float> ref(size_t(spec.width) * size_t(spec.height) * 4);
    ASSERT_TRUE(in->read_image(0, 0, 0, 4, OIIO::TypeDesc::FLOAT, ref.data()));
    const auto bytes = standalone::ToStraight8(image);
    ASSERT_EQ(bytes.size(), ref.size());
    double sum = 0, worst = 0;
    for (size_t i = 0; i < ref.size(); ++i) {
        const double d = std::fabs(double(ref[i]) - bytes[i] / 255.0);
        sum += d;
        worst = std::max(worst, d);
    }
    EXPECT_LE(worst, maxDiff);
    EXPECT_LE(sum / double(ref.size()), meanDiff);
}

TEST(EndToEnd, BeamsExample) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentFile(std::string(TAVRIN_SOURCE_DIR) + "/examples/beams.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    const standalone::FloatImage image =
        renderer.renderFrame(*host.project().comps.front(), 0, 8, messages);
    // Stated tolerance: each channel within 2/255, mean within 0.1/255.
    ExpectMatchesReference(image, "beams_0000.png", 2.0f / 255, 0.1f / 255);
}

}  // namespace
}  // namespace tv
