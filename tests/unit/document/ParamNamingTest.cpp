// One parameter named two ways in one effect, and popups given a value of the wrong kind.
#include <gtest/gtest.h>

#include "standalone/Document.h"

namespace tv {
namespace {

using standalone::DocumentError;
using standalone::EmbeddedHost;

std::pair<std::string, std::string> Error(const std::string& params) {
    EmbeddedHost host;
    try {
        standalone::LoadDocumentText(
            R"({"tavrin": 1, "comps": [{"layers": [{"solid": {}, "effects": [
                {"effect": "Tavrin", "params": )" +
                params + "}]}]}]}",
            "n.json", host);
    } catch (const DocumentError& e) {
        return {e.jsonPath(), e.message()};
    }
    return {"", "(loaded)"};
}

const std::string kParams = "$.comps[0].layers[0].effects[0].params.";

TEST(ParamNaming, TheSameParameterTwiceIsRefused) {
    // Keys are read in sorted order, so "#6" comes first.
    EXPECT_EQ(Error(R"({"Shading Radius": 10, "#6": 20})"),
              std::make_pair(kParams + "Shading Radius",
                             std::string("\"Shading Radius\" and \"#6\" name the same "
                                         "parameter; give one")));
    EXPECT_EQ(Error(R"({"Depth of Field#2": 2, "#11": 1})"),
              std::make_pair(kParams + "Depth of Field#2",
                             std::string("\"Depth of Field#2\" and \"#11\" name the same "
                                         "parameter; give one")));
    EXPECT_EQ(Error(R"({"Shading Radius": 10, "Shading Radius#1": 20})"),
              std::make_pair(kParams + "Shading Radius#1",
                             std::string("\"Shading Radius#1\" and \"Shading Radius\" name the "
                                         "same parameter; give one")));
    // Different parameters side by side still load.
    EXPECT_EQ(
        Error(R"({"Shading Radius": 10, "#7": 20, "Depth of Field#2": "Camera Settings"})").second,
        "(loaded)");
}

TEST(ParamNaming, PopupOfTheWrongKindListsItsEntries) {
    EXPECT_EQ(Error(R"({"Shading Mode": true})"),
              std::make_pair(kParams + "Shading Mode",
                             std::string("expected an entry of \"Shading Mode\" (\"One Side\", "
                                         "\"Both Sides\") or its number 1 to 2, found true")));
    EXPECT_EQ(Error(R"({"Shading Mode": 1.5})"),
              std::make_pair(kParams + "Shading Mode",
                             std::string("expected a whole number, found 1.5")));
    EXPECT_EQ(Error(R"({"Shading Mode": 3})"),
              std::make_pair(kParams + "Shading Mode",
                             std::string("value 3 is outside the valid range 1 to 2")));
}

}  // namespace
}  // namespace tv
