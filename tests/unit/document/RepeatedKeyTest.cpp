// A key given twice in one object is an error at its exact path, however deep it sits.
#include <gtest/gtest.h>

#include "standalone/Document.h"

namespace tv {
namespace {

using standalone::DocumentError;
using standalone::EmbeddedHost;

std::pair<std::string, std::string> Error(const std::string& text) {
    EmbeddedHost host;
    try {
        standalone::LoadDocumentText(text, "r.json", host);
    } catch (const DocumentError& e) {
        return {e.jsonPath(), e.message()};
    }
    return {"", "(loaded)"};
}

TEST(RepeatedKey, AtTheTop) {
    EXPECT_EQ(Error(R"({"tavrin": 1, "tavrin": 1, "comps": [{}]})"),
              std::make_pair(std::string("$.tavrin"),
                             std::string("the key \"tavrin\" is given twice in this object; "
                                         "keep one")));
}

TEST(RepeatedKey, PathsCountEveryEarlierElementIncludingNestedLists) {
    // Layer 0 holds lists within lists (a mask path); the repeat sits in layer 1's transform.
    const std::string text = R"({"tavrin": 1, "comps": [{"name": "A"}, {"name": "B", "layers": [
        {"null": {}, "masks": [{"path": [[0, 0], [10, 0], [10, 10]]}]},
        {"null": {}, "transform": {"position": [1, 2], "opacity": 50, "position": [3, 4]}}]}]})";
    EXPECT_EQ(Error(text),
              std::make_pair(std::string("$.comps[1].layers[1].transform.position"),
                             std::string("the key \"position\" is given twice in this object; "
                                         "keep one")));
}

TEST(RepeatedKey, InEffectParametersAndKeys) {
    const std::string params = R"({"tavrin": 1, "comps": [{"layers": [{"solid": {}, "effects": [
        {"effect": "Tavrin", "params": {"Shading Radius": 1, "Shading Radius": 2}}]}]}]})";
    EXPECT_EQ(Error(params).first, "$.comps[0].layers[0].effects[0].params.Shading Radius");
    const std::string keys = R"({"tavrin": 1, "comps": [{"layers": [{"null": {}, "transform":
        {"opacity": {"keys": [{"t": 0, "v": 1}, {"t": 1, "v": 2, "t": 3}]}}}]}]})";
    EXPECT_EQ(Error(keys).first, "$.comps[0].layers[0].transform.opacity.keys[1].t");
}

TEST(RepeatedKey, TheSameKeyInSiblingObjectsIsFine) {
    EXPECT_EQ(Error(R"({"tavrin": 1, "comps": [{"name": "A"}, {"name": "B"}]})").second,
              "(loaded)");
}

TEST(RepeatedKey, SyntaxErrorsStillSayNotValidJson) {
    const auto [path, message] = Error(R"({"tavrin": 1,)");
    EXPECT_EQ(path, "");
    EXPECT_EQ(message.rfind("not valid JSON: ", 0), 0u) << message;
}

}  // namespace
}  // namespace tv
