// Every parameter a user sets says what it does, every effect says what it is for and how to use
// it, and the listings print those lines with the kind, default, range and unit.
#include <gtest/gtest.h>

#include <string>

#include <nlohmann/json.hpp>

#include "resources/EffectTable.h"
#include "standalone/ParamText.h"
#include "tests/support/RunShell.h"

namespace tv {
namespace {

using test::CliRun;

CliRun Tavrin(const std::string& args, bool withErrors = true) {
    return test::RunShell(std::string(TAVRIN_BINARY) + " " + args +
                          (withErrors ? " 2>&1" : " 2>/dev/null"));
}

TEST(ParamDocs, EveryParameterOfEveryEffectHasItsLine) {
    size_t described = 0;
    for (const EffectInfo& fx : EffectTable()) {
        EXPECT_STRNE(fx.purpose, "") << fx.displayName;
        EXPECT_STRNE(fx.howTo, "") << fx.displayName;
        for (const ParamSpec& spec : fx.params()) {
            if (!standalone::IsDocumentedParam(spec)) {
                EXPECT_STREQ(spec.doc, "") << fx.displayName << " / " << spec.index;
                continue;
            }
            const std::string doc = spec.doc;
            EXPECT_FALSE(doc.empty()) << fx.displayName << " / " << spec.name;
            // One line, a sentence.
            EXPECT_EQ(doc.find('\n'), std::string::npos) << spec.name;
            if (!doc.empty()) {
                EXPECT_EQ(doc.back(), '.') << fx.displayName << " / " << spec.name;
            }
            described += !doc.empty();
        }
    }
    EXPECT_EQ(EffectTable().size(), 21u);
    EXPECT_GT(described, 360u);  // 371 when written
}

TEST(ParamDocs, GroupsAndTheInputLayerNeedNoLine) {
    ParamSpec group;
    group.index = 3;
    group.type = PF_Param_GROUP_START;
    EXPECT_FALSE(standalone::IsDocumentedParam(group));
    group.type = PF_Param_GROUP_END;
    EXPECT_FALSE(standalone::IsDocumentedParam(group));
    ParamSpec input;
    input.type = PF_Param_LAYER;
    EXPECT_FALSE(standalone::IsDocumentedParam(input));
    input.index = 12;  // a layer parameter past the input is a value
    EXPECT_TRUE(standalone::IsDocumentedParam(input));
}

TEST(ParamDocs, DefaultsRangesAndUnitsInWords) {
    const EffectInfo* points = FindEffectByDisplayName("Tavrin Points Renderer");
    ASSERT_NE(points, nullptr);
    const ParamSpec& size = points->params()[1];
    ASSERT_STREQ(size.name, "Points Size");
    EXPECT_EQ(standalone::ParamDefaultText(size), "2");
    EXPECT_EQ(standalone::ParamRangeText(size), "0..1000, slider 0..10");
    EXPECT_EQ(standalone::ParamUnitText(size), "pixels");
    const ParamSpec& color = points->params()[9];
    ASSERT_STREQ(color.name, "Points Color");
    EXPECT_EQ(standalone::ParamDefaultText(color), "#ffffff");
    const ParamSpec& group = points->params()[21];
    ASSERT_STREQ(group.name, "Effect Only Group");
    EXPECT_EQ(standalone::ParamDefaultText(group), "All Groups");
    EXPECT_EQ(standalone::ParamRangeText(group).find("(-"), std::string::npos)
        << "separators are no choice";
    const EffectInfo* primitives = FindEffectByDisplayName("Tavrin Primitives Object");
    ASSERT_NE(primitives, nullptr);
    const ParamSpec& center = primitives->params()[18];
    ASSERT_STREQ(center.name, "Center XY");
    // The default is a share of the layer; the value a document writes is in pixels.
    EXPECT_EQ(standalone::ParamDefaultText(center), "[50%, 50%] of the layer");
    EXPECT_EQ(standalone::ParamUnitText(center), "pixels");
    EXPECT_EQ(standalone::ParamUnitText(primitives->params()[20]), "degrees");
    EXPECT_EQ(standalone::ParamUnitText(primitives->params()[25]), "percent");
    EXPECT_EQ(standalone::ParamRangeText(primitives->params()[1]), "Cube | Sphere");
}

TEST(ParamDocs, EffectsNamePrintsEachParametersLine) {
    const CliRun r = Tavrin("effects \"Tavrin Points Renderer\"");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("How to use it: "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("    1  float   Points Size\n"
                         "               default 2; range 0..1000, slider 0..10; unit pixels\n"
                         "               Size of each point, at the camera's zoom distance.\n"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("\n  [Sprite Controls]\n"), std::string::npos) << r.out;
    // Every described row of the table is printed.
    for (const ParamSpec& spec : FindEffectByDisplayName("Tavrin Points Renderer")->params())
        if (standalone::IsDocumentedParam(spec)) {
            EXPECT_NE(r.out.find(spec.doc), std::string::npos) << spec.name;
        }
}

TEST(ParamDocs, AnUnknownEffectExitsTwoWithTheNearestName) {
    const CliRun r = Tavrin("effects \"Tavrin Pionts Renderer\"");
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.out,
              "tavrin effects: no effect named \"Tavrin Pionts Renderer\"; did you mean \"Tavrin "
              "Points Renderer\"? (`tavrin effects` lists them)\n");
    const CliRun lower = Tavrin("effects \"tavrin nosie effector\"");
    EXPECT_EQ(lower.code, 2);
    EXPECT_NE(lower.out.find("did you mean \"Tavrin Noise Effector\"?"), std::string::npos)
        << lower.out;
    // A misspelt or partial name is near the effect whose name holds it, not the shortest name.
    for (const char* typed : {"\"Tavrin Beems\"", "beams", "\"Beams Renderer\""}) {
        const CliRun part = Tavrin(std::string("effects ") + typed);
        EXPECT_EQ(part.code, 2) << typed;
        EXPECT_NE(part.out.find("did you mean \"Tavrin Beams Renderer\"?"), std::string::npos)
            << part.out;
    }
    const CliRun json = Tavrin("effects --json Tavrn", false);
    EXPECT_EQ(json.code, 2);
    const nlohmann::json j = nlohmann::json::parse(json.out);
    EXPECT_EQ(j["ok"], false);
    EXPECT_NE(j["error"].get<std::string>().find("did you mean \"Tavrin\"?"), std::string::npos)
        << json.out;
}

TEST(ParamDocs, JsonCarriesDescriptionUnitDefaultAndRange) {
    for (const EffectInfo& fx : EffectTable()) {
        const CliRun r = Tavrin("effects --json \"" + std::string(fx.displayName) + "\"", false);
        ASSERT_EQ(r.code, 0) << fx.displayName;
        const nlohmann::json j = nlohmann::json::parse(r.out);
        const nlohmann::json& effect = j["effect"];
        EXPECT_EQ(effect["purpose"], fx.purpose);
        EXPECT_EQ(effect["howTo"], fx.howTo);
        for (const nlohmann::json& p : effect["params"]) {
            for (const char* key : {"kind", "default", "validRange", "unit", "description"})
                EXPECT_TRUE(p.contains(key)) << fx.displayName << " / " << p["name"] << " " << key;
            if (p["kind"] != "group" && p["kind"] != "end") {
                EXPECT_NE(p["description"], "") << fx.displayName << " / " << p["name"];
            }
        }
    }
    const CliRun r = Tavrin("effects --json \"Tavrin Lines Renderer\"", false);
    const nlohmann::json j = nlohmann::json::parse(r.out);
    const nlohmann::json& distance = j["effect"]["params"][1];
    EXPECT_EQ(distance["name"], "Maximum Distance");
    EXPECT_EQ(distance["unit"], "world units");
    EXPECT_EQ(distance["default"], "100");
    EXPECT_EQ(distance["validRange"], "0..100000, slider 0..100");
    EXPECT_EQ(distance["description"], "Vertices farther apart than this are not joined.");
}

}  // namespace
}  // namespace tv
