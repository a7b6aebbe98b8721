// Names from documents never steer where files go.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "standalone/ImageOutput.h"

namespace tv {
namespace {

TEST(SafeFileName, SeparatorsDotsAndControlsBecomeUnderscores) {
    EXPECT_EQ(standalone::SafeFileName("../../escape/x"), "______escape_x");
    EXPECT_EQ(standalone::SafeFileName(".."), "__");
    EXPECT_EQ(standalone::SafeFileName("a\\b:c\td"), "a_b_c_d");
    EXPECT_EQ(standalone::SafeFileName(""), "_");
    EXPECT_EQ(standalone::SafeFileName("My Comp 1.2"), "My Comp 1.2");
}

TEST(SafeFileName, ARenderOfAHostileCompNameStaysInTheOutputFolder) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / "tavrin-safe-name";
    fs::remove_all(dir);
    fs::create_directories(dir / "work");
    std::ofstream(dir / "work" / "doc.json")
        << R"({"tavrin": 1, "comps": [{"name": "../../escape/x",
      "width": 8, "height": 8, "layers": [{"solid": {}}]}]})";
    const std::string cmd = "cd '" + (dir / "work").string() + "' && '" + TAVRIN_BINARY +
                            "' render doc.json > /dev/null 2>&1";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    EXPECT_TRUE(fs::exists(dir / "work" / "tavrin-out" / "______escape_x_0000.png"));
    EXPECT_FALSE(fs::exists(dir / "escape"));
    EXPECT_FALSE(fs::exists(dir.parent_path() / "escape"));
    fs::remove_all(dir);
}

}  // namespace
}  // namespace tv
