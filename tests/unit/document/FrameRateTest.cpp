// Frame rates in documents: a whole number or an exact rational text, nothing looser.
#include <gtest/gtest.h>

#include "standalone/Document.h"

namespace tv {
namespace {

using standalone::DocumentError;
using standalone::EmbeddedHost;

// The comp's rate as num/den, or the error message.
std::string Rate(const std::string& fps) {
    EmbeddedHost host;
    try {
        standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"fps": )" + fps + "}]}",
                                     "fps.json", host);
    } catch (const DocumentError& e) {
        EXPECT_EQ(e.jsonPath(), "$.comps[0].fps");
        return e.message();
    }
    const auto& c = *host.project().comps[0];
    return std::to_string(c.fpsNum) + "/" + std::to_string(c.fpsDen);
}

TEST(FrameRate, WholeNumbersAndRationals) {
    EXPECT_EQ(Rate("24"), "24/1");
    EXPECT_EQ(Rate(R"("30000/1001")"), "30000/1001");
    EXPECT_EQ(Rate(R"("25/1")"), "25/1");
}

TEST(FrameRate, AnythingLooserIsRefusedWithTheForms) {
    const std::string forms = "expected a frame rate such as 30 or \"30000/1001\", found ";
    EXPECT_EQ(Rate(R"("30/1x")"), forms + R"("30/1x")");
    EXPECT_EQ(Rate(R"("30/")"), forms + R"("30/")");
    EXPECT_EQ(Rate(R"(" 30/1")"), forms + R"(" 30/1")");
    EXPECT_EQ(Rate(R"("30/+1")"), forms + R"("30/+1")");
    EXPECT_EQ(Rate(R"("30/0")"), forms + R"("30/0")");
    EXPECT_EQ(Rate(R"("30")"), forms + R"("30")");
    EXPECT_EQ(Rate("29.97"), forms + "29.97");
    EXPECT_EQ(Rate("0"), "value 0 is outside the valid range 1 to 1000");
}

}  // namespace
}  // namespace tv
