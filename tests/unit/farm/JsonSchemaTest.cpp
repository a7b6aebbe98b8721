// The --json documents of render, validate, info and effects against the schemas published in
// docs/schema, checked by a small validator of the keywords those schemas use.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/RunShell.h"

namespace tv {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// The keywords the published schemas use: type (one or a list), const, enum, minimum,
// required, properties, additionalProperties (false), items, anyOf and local $ref.
class SchemaCheck {
  public:
    explicit SchemaCheck(json root) : root_(std::move(root)) {}

    // Empty when the document fits; otherwise the first misfit found, with its JSON path.
    std::string Check(const json& doc) const { return Check(root_, doc, "$"); }

  private:
    static bool HasType(const json& v, const std::string& t) {
        if (t == "object") return v.is_object();
        if (t == "array") return v.is_array();
        if (t == "string") return v.is_string();
        if (t == "boolean") return v.is_boolean();
        if (t == "null") return v.is_null();
        if (t == "integer") return v.is_number_integer();
        if (t == "number") return v.is_number();
        return false;
    }

    const json& Resolve(const std::string& ref) const {
        // Only "#/$defs/name" references are used.
        const std::string prefix = "#/$defs/";
        if (ref.rfind(prefix, 0) != 0) throw std::runtime_error("unsupported $ref " + ref);
        return root_.at("$defs").at(ref.substr(prefix.size()));
    }

    std::string Check(const json& s, const json& v, const std::string& at) const {
        if (s.contains("$ref")) return Check(Resolve(s["$ref"]), v, at);
        if (s.contains("anyOf")) {
            std::string why;
            for (const json& branch : s["anyOf"]) {
                const std::string e = Check(branch, v, at);
                if (e.empty()) return "";
                why += (why.empty() ? "" : " | ") + e;
            }
            return at + ": fits no branch (" + why + ")";
        }
        if (s.contains("type")) {
            bool fits = false;
            if (s["type"].is_array()) {
                for (const json& t : s["type"]) fits = fits || HasType(v, t);
            } else {
                fits = HasType(v, s["type"]);
            }
            if (!fits) return at + ": not of type " + s["type"].dump();
        }
        if (s.contains("const") && v != s["const"]) return at + ": is not " + s["const"].dump();
        if (s.contains("enum")) {
            bool listed = false;
            for (const json& e : s["enum"]) listed = listed || e == v;
            if (!listed) return at + ": " + v.dump() + " is not one of " + s["enum"].dump();
        }
        if (s.contains("minimum") && v.is_number() && v.get<double>() < s["minimum"].get<double>())
            return at + ": below " + s["minimum"].dump();
        if (v.is_object()) {
            for (const json& key : s.value("required", json::array()))
                if (!v.contains(key.get<std::string>())) return at + ": lacks " + key.dump();
            const json props = s.value("properties", json::object());
            for (auto it = v.begin(); it != v.end(); ++it) {
                if (props.contains(it.key())) {
                    const std::string e = Check(props[it.key()], it.value(), at + "." + it.key());
                    if (!e.empty()) return e;
                } else if (s.contains("additionalProperties") && !s["additionalProperties"]) {
                    return at + ": unexpected key \"" + it.key() + "\"";
                }
            }
        }
        if (v.is_array() && s.contains("items")) {
            for (size_t i = 0; i < v.size(); ++i) {
                const std::string e = Check(s["items"], v[i], at + "[" + std::to_string(i) + "]");
                if (!e.empty()) return e;
            }
        }
        return "";
    }

    json root_;
};

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
