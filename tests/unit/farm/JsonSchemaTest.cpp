// The --json documents of render, validate, info and effects against the schemas published in
// docs/schema, checked by a small validator of the keywords those schemas use.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/RunShell.h"
#include "tests/support/SchemaCheck.h"

namespace tv {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::SchemaCheck;

SchemaCheck LoadSchema(const std::string& name) {
    std::ifstream in(fs::path(TAVRIN_TEST_DATA) / ".." / "docs" / "schema" / name);
    return SchemaCheck(json::parse(in));
}

// Standard output of the tavrin binary run with `args`.
std::string TavrinOut(const std::string& args) {
    return test::RunShell(std::string("'") + TAVRIN_BINARY + "' " + args + " 2>/dev/null").out;
}

std::string Example(const std::string& name) {
    return (fs::path(TAVRIN_TEST_DATA) / ".." / "examples" / name).string();
}

TEST(JsonSchema, TheValidatorRejectsMisfits) {
    const SchemaCheck render = LoadSchema("render.schema.json");
    const json failure = {{"command", "render"}, {"ok", false}, {"error", "x"}, {"exitCode", 2}};
    EXPECT_EQ(render.Check(failure), "");
    json extra = failure;
    extra["surprise"] = 1;
    EXPECT_NE(render.Check(extra), "");
    json missing = failure;
    missing.erase("error");
    EXPECT_NE(render.Check(missing), "");
    json wrongType = failure;
    wrongType["exitCode"] = "2";
    EXPECT_NE(render.Check(wrongType), "");
    json wrongCommand = failure;
    wrongCommand["command"] = "info";
    EXPECT_NE(render.Check(wrongCommand), "");
}

TEST(JsonSchema, RenderDocumentsFitTheirSchema) {
    const fs::path dir = fs::temp_directory_path() / ("tavrin-schema-" + std::to_string(getpid()));
    fs::remove_all(dir);
    const std::string pattern = (dir / "s_####.png").string();
    const SchemaCheck schema = LoadSchema("render.schema.json");
    const std::string sphere = Example("sphere-of-points.json");

    const json ran = json::parse(
        TavrinOut("render " + sphere + " --frames 0-1 --shard 1/2 -o '" + pattern + "' --json"));
    EXPECT_EQ(schema.Check(ran), "") << ran.dump(2);
    EXPECT_EQ(ran["frames"].size(), 1u);
    const std::string drawn = std::to_string(ran["frames"][0]["frame"].get<int>());
    const json skipped = json::parse(TavrinOut("render " + sphere + " --frames " + drawn +
                                               " --skip-existing -o '" + pattern + "' --json"));
    EXPECT_EQ(schema.Check(skipped), "") << skipped.dump(2);
    EXPECT_EQ(skipped["frames"][0]["status"], "skipped");
    const json failed = json::parse(TavrinOut("render /no/such/doc.json --json"));
    EXPECT_EQ(schema.Check(failed), "") << failed.dump(2);
    EXPECT_EQ(failed["ok"], false);
    const json movie = json::parse(TavrinOut("render " + sphere + " --frames 0-1 --scale 1/8 -o '" +
                                             (dir / "s.gif").string() + "' --json"));
    EXPECT_EQ(schema.Check(movie), "") << movie.dump(2);
    EXPECT_EQ(movie["movie"]["written"], true);
    json badMovie = movie;
    badMovie["movie"]["codec"] = "MPEG-1";
    EXPECT_NE(schema.Check(badMovie), "");
    fs::remove_all(dir);

    // A frame record whose status is not one of the four is refused.
    json bad = ran;
    bad["frames"][0]["status"] = "done";
    EXPECT_NE(schema.Check(bad), "");
}

TEST(JsonSchema, ValidateInfoAndEffectsDocumentsFitTheirSchemas) {
    const SchemaCheck validate = LoadSchema("validate.schema.json");
    const SchemaCheck info = LoadSchema("info.schema.json");
    const SchemaCheck effects = LoadSchema("effects.schema.json");
    for (const char* example : {"network.json", "inset.json", "two-groups.json", "sound.json"}) {
        const json v = json::parse(TavrinOut("validate " + Example(example) + " --json"));
        EXPECT_EQ(validate.Check(v), "") << example << "\n" << v.dump(2);
        EXPECT_EQ(v["valid"], true) << example;
        const json i = json::parse(TavrinOut("info " + Example(example) + " --json"));
        EXPECT_EQ(info.Check(i), "") << example;
    }
    const json badValidate = json::parse(TavrinOut("validate /no/such/doc.json --json"));
    EXPECT_EQ(validate.Check(badValidate), "") << badValidate.dump(2);
    const json badInfo = json::parse(TavrinOut("info /no/such/doc.json --json"));
    EXPECT_EQ(info.Check(badInfo), "") << badInfo.dump(2);

    const json all = json::parse(TavrinOut("effects --json"));
    EXPECT_EQ(effects.Check(all), "") << all.dump(2);
    EXPECT_EQ(all["effects"].size(), 21u);
    const json one = json::parse(TavrinOut("effects 'Tavrin Lines Renderer' --json"));
    EXPECT_EQ(effects.Check(one), "") << one.dump(2);
    const json unknown = json::parse(TavrinOut("effects 'No Such Effect' --json"));
    EXPECT_EQ(effects.Check(unknown), "") << unknown.dump(2);
    EXPECT_EQ(unknown["ok"], false);
}

}  // namespace
}  // namespace tv
