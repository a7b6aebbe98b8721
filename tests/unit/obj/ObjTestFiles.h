// Small OBJ files written to a per-test temporary folder.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace tv::objtest {

inline std::filesystem::path TempFolder() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "tavrin-obj-tests" /
                                      (std::string(info->test_suite_name()) + "." + info->name());
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

inline std::string WriteFile(const std::filesystem::path& dir, const std::string& name,
                             const std::string& text) {
    const std::filesystem::path file = dir / name;
    std::ofstream(file, std::ios::binary) << text;
    return file.string();
}

}  // namespace tv::objtest
