// The "Export SVG" button at a downsampled resolution: the file's head gives the size of the
// output the pass draws into, not the layer's full size.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

#include "host/HostServices.h"
#include "main/SvgExportButton.h"

namespace tv {
namespace {

namespace fs = std::filesystem;

// A host whose export dialog answers `path` and whose passes draw nothing.
struct ExportHost : HostServices {
    std::string path;
    int32_t passes = 0;
    PF_Err executeScript(const std::string&, std::string& result, std::string&) override {
        result = path;
        return PF_Err_NONE;
    }
    AEGP_EffectRefH effectFromInstance(AEGP_PluginID, PF_ProgPtr) override { return 1; }
    AEGP_LayerH effectLayer(AEGP_EffectRefH) override { return 1; }
    PF_Err disposeEffect(AEGP_EffectRefH) override { return PF_Err_NONE; }
    PF_Err effectCallGeneric(AEGP_PluginID, AEGP_EffectRefH, const A_Time&, PF_Cmd,
                             void*) override {
        ++passes;
        return PF_Err_NONE;
    }
};

TEST(SvgExportSize, TheHeadGivesTheDownsampledOutputsSize) {
    const fs::path file =
        fs::temp_directory_path() / ("tavrin-size-" + std::to_string(getpid()) + ".svg");
    ExportHost host;
    host.path = file.string();
    PF_InData in;
    in.pica_basicP = &host;
    in.width = 100, in.height = 80;
    in.downsample_x = {1, 2}, in.downsample_y = {1, 2};
    ASSERT_EQ(RunSvgExport(&in), PF_Err_NONE);
    EXPECT_EQ(host.passes, 1);
    std::ifstream f(file);
    const std::string text((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    fs::remove(file);
    EXPECT_NE(text.find("<svg width=\"50px\" height=\"40px\""), std::string::npos) << text;
}

}  // namespace
}  // namespace tv
