// docs/schema/document.schema.json: made from the parameter tables (the committed file must be
// what the tables make now), and every example fits it.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "standalone/DocumentSchema.h"
#include "tests/support/RunShell.h"
#include "tests/support/SchemaCheck.h"

namespace tv {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const fs::path kRoot = fs::path(TAVRIN_TEST_DATA) / "..";

std::string ReadText(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

test::SchemaCheck Schema() {
    return test::SchemaCheck(json::parse(ReadText(kRoot / "docs/schema/document.schema.json")));
}

TEST(DocumentSchema, TheCommittedFileIsWhatTheTablesMake) {
    const std::string made = standalone::DocumentSchema().dump(2) + "\n";
    EXPECT_TRUE(made == ReadText(kRoot / "docs/schema/document.schema.json"))
        << "docs/schema/document.schema.json is stale: run "
           "`cmake --build build --target document_schema` and commit it";
}

TEST(DocumentSchema, NamesEveryEffectAndItsParameters) {
    const json schema = json::parse(ReadText(kRoot / "docs/schema/document.schema.json"));
    const json& effects = schema["properties"]["comps"]["items"]["properties"]["layers"]["items"]
                                ["properties"]["effects"]["items"]["anyOf"];
    ASSERT_EQ(effects.size(), 21u);
    // A popup lists its entries, separators left out; a slider its valid range; a repeated name
    // its second row as "Name#2".
    bool sawPrimitives = false;
    for (const json& e : effects) {
        const json& names = e["properties"]["effect"]["enum"];
        if (names[0] == "Tavrin") {
            const json& params = e["properties"]["params"]["properties"];
            EXPECT_TRUE(params.contains("Depth of Field#2"));
            EXPECT_FALSE(params.contains("Depth of Field"));  // the group takes no value
            EXPECT_EQ(params["Render Quality"]["anyOf"][0]["anyOf"][0]["enum"][3], "4x");
        }
        if (names[0] == "Tavrin Primitives Object") {
            sawPrimitives = true;
            EXPECT_EQ(e["properties"]["params"]["properties"]["Primitive Type"]["anyOf"][0]["anyOf"]
                       [0]["enum"]
                           .size(),
                      e["properties"]["params"]["properties"]["Primitive Type"]["anyOf"][0]["anyOf"]
                       [1]["maximum"]
                           .get<size_t>())
                << "no separators in this popup";
        }
    }
    EXPECT_TRUE(sawPrimitives);
}

TEST(DocumentSchema, EveryExampleFits) {
    const test::SchemaCheck schema = Schema();
    size_t checked = 0;
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / "examples")) {
        if (entry.path().extension() != ".json") continue;
        ++checked;
        EXPECT_EQ(schema.Check(json::parse(ReadText(entry.path()))), "") << entry.path();
    }
    EXPECT_GT(checked, 5u);
}

TEST(DocumentSchema, MisfitsAreFoundWhereTheyAre) {
    const test::SchemaCheck schema = Schema();
    auto doc = [](const std::string& effect) {
        return json::parse(R"({"tavrin": 1, "comps": [{"layers": [{"solid": {}, "effects": [)" +
                           effect + "]}]}]}");
    };
    EXPECT_EQ(schema.Check(doc(R"({"effect": "Tavrin", "params": {"Render Quality": "4x",
        "Shading Radius": 20, "Use Lights for Shading": true, "#11": 2}})")),
              "");
    EXPECT_NE(schema.Check(doc(R"({"effect": "Tavrin", "params": {"Render Qualty": "4x"}})")), "");
    EXPECT_NE(schema.Check(doc(R"({"effect": "Tavrin", "params": {"Render Quality": "9x"}})")), "");
    EXPECT_NE(schema.Check(doc(R"({"effect": "Tavrin", "params": {"Shading Radius": -1}})")), "");
    EXPECT_NE(schema.Check(doc(R"({"effect": "Tavrin Nois Effector"})")), "");
    // Keyframes in place of a value.
    EXPECT_EQ(schema.Check(doc(R"({"effect": "Tavrin", "params": {"Shading Radius":
        {"keys": [{"t": 0, "v": 10}, {"t": 1, "v": 20}]}}})")),
              "");
}

// The line an editor needs is accepted by the loader.
TEST(DocumentSchema, ADocumentMayNameTheSchema) {
    const fs::path dir = fs::temp_directory_path() / ("tavrin-schema-" + std::to_string(getpid()));
    fs::create_directories(dir);
    const fs::path doc = dir / "named.json";
    std::ofstream(doc) << R"({"$schema": "../docs/schema/document.schema.json", "tavrin": 1,
      "comps": [{"layers": [{"solid": {}, "effects": [{"effect": "Tavrin"}]}]}]})";
    const test::CliRun r =
        test::RunShell(std::string("'") + TAVRIN_BINARY + "' validate '" + doc.string() + "' 2>&1");
    EXPECT_EQ(r.code, 0) << r.out;
    fs::remove_all(dir);
}

}  // namespace
}  // namespace tv
