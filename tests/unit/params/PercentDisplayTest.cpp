// Sliders that read as a percentage carry the percent display, and the listing shows it.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "resources/EffectTable.h"
#include "standalone/ParamText.h"

namespace tv {
namespace {

const ParamSpec* Find(const std::string& effect, const std::string& name) {
    for (const EffectInfo& fx : EffectTable())
        if (effect == fx.displayName)
            for (const ParamSpec& s : fx.params())
                if (name == s.name) return &s;
    return nullptr;
}

TEST(PercentDisplay, ScalesTimesAndRangesShowPercent) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> percent = {
        {"Tavrin Spherical Field", {"Scale Factor"}},
        {"Tavrin Transform", {"X Scale", "Y Scale", "Z Scale"}},
        {"Tavrin Container", {"X Scale", "Y Scale", "Z Scale"}},
        {"Tavrin OBJ Object", {"OBJ X Scale", "OBJ Y Scale", "OBJ Z Scale"}},
        {"Tavrin Beams Renderer", {"Time", "Range Start", "Range End", "Range Offset"}},
    };
    for (const auto& [effect, names] : percent) {
        for (const std::string& name : names) {
            const ParamSpec* s = Find(effect, name);
            ASSERT_NE(s, nullptr) << effect << " / " << name;
            EXPECT_EQ(s->unit, ParamUnit::Percent) << effect << " / " << name;
            EXPECT_NE(standalone::DescribeParamRange(*s).find("%;"), std::string::npos) << name;
        }
    }
    // A plain slider stays plain.
    const ParamSpec* seed = Find("Tavrin Beams Renderer", "Random Seed");
    ASSERT_NE(seed, nullptr);
    EXPECT_EQ(seed->unit, ParamUnit::None);
}

}  // namespace
}  // namespace tv
