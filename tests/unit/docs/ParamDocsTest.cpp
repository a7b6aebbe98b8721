// Every parameter a user sets says what it does, and every effect what it is for and how to use
// it; defaults, ranges and units read as words.
#include <gtest/gtest.h>

#include <string>

#include "resources/EffectTable.h"
#include "standalone/ParamText.h"

namespace tv {
namespace {

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

}  // namespace
}  // namespace tv
