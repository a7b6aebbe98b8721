// Every include of every product file goes to its own layer or one below. The table is the
// build's own (cmake/Layers.cmake and the faces' CMakeLists.txt), read here, so the test and the
// include paths the compiler gets cannot drift apart.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace tv {
namespace {

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& p) {
    std::ifstream in(p);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

struct Layer {
    std::vector<std::string> folders;  // the folders the layer compiles
    std::set<std::string> sees;        // every folder it may include from, its own too
};

// The tavrin_layer(NAME FOLDERS ... SEES ... LINKS ...) and tavrin_layer_root(NAME folders...)
// calls of one CMake file.
std::vector<Layer> LayersOf(const fs::path& cmake) {
    const std::string text = ReadAll(cmake);
    std::vector<Layer> layers;
    const std::regex call(R"(tavrin_layer(_root)?\(([^)]*)\))");
    for (auto it = std::sregex_iterator(text.begin(), text.end(), call);
         it != std::sregex_iterator(); ++it) {
        std::istringstream words((*it)[2].str());
        std::vector<std::string> w{std::istream_iterator<std::string>(words), {}};
        // Skip the functions' own definitions and the comment that shows the form.
        if (w.empty() || w[0] == "NAME" || w[0].find('$') != std::string::npos) continue;
        Layer layer;
        if ((*it)[1].matched) {  // a root only: all its folders are seen, the first compiled
            layer.folders = {w.size() > 1 ? w[1] : ""};
            layer.sees = {w.begin() + 1, w.end()};
        } else {
            std::string part;
            for (size_t i = 1; i < w.size(); ++i) {
                if (w[i] == "FOLDERS" || w[i] == "SEES" || w[i] == "LINKS") {
                    part = w[i];
                } else if (part == "FOLDERS") {
                    layer.folders.push_back(w[i]);
                    layer.sees.insert(w[i]);
                } else if (part == "SEES") {
                    layer.sees.insert(w[i]);
                }
            }
        }
        layers.push_back(layer);
    }
    return layers;
}

std::vector<Layer> BuildLayers() {
    const fs::path root(TAVRIN_SOURCE_DIR);
    std::vector<Layer> layers = LayersOf(root / "cmake" / "Layers.cmake");
    for (const char* faces : {"cli/CMakeLists.txt", "studio/CMakeLists.txt",
                              "hosts/frei0r/CMakeLists.txt", "python/CMakeLists.txt"})
        for (const Layer& l : LayersOf(root / faces)) layers.push_back(l);
    return layers;
}

// The layer that compiles a file: the one whose folder is the longest prefix of its path.
const Layer* OwnerOf(const std::vector<Layer>& layers, const std::string& rel) {
    const Layer* best = nullptr;
    size_t bestLength = 0;
    for (const Layer& l : layers)
        for (const std::string& f : l.folders)
            if (rel.rfind(f + "/", 0) == 0 && f.size() > bestLength)
                best = &l, bestLength = f.size();
    return best;
}

// An included path is allowed when some folder the layer sees is a prefix of it.
bool Sees(const Layer& layer, const std::string& included) {
    for (const std::string& f : layer.sees)
        if (included.rfind(f + "/", 0) == 0) return true;
    return false;
}

TEST(LayerIncludes, TheBuildNamesTheLayers) {
    const std::vector<Layer> layers = BuildLayers();
    std::set<std::string> folders;
    for (const Layer& l : layers) folders.insert(l.folders.begin(), l.folders.end());
    for (const char* f : {"host", "params", "engines", "sources", "effectors", "renderers", "main",
                          "resources", "standalone", "cli", "cli/farm", "studio", "hosts/frei0r", "python"})
        EXPECT_TRUE(folders.count(f)) << f;
}

TEST(LayerIncludes, EveryIncludeGoesToItsLayerOrOneBelow) {
    const std::vector<Layer> layers = BuildLayers();
    const fs::path root(TAVRIN_SOURCE_DIR);
    const std::regex include(R"(#include "([^"]+)\")");
    size_t files = 0, includes = 0;
    for (const Layer& layer : layers)
        for (const std::string& folder : layer.folders)
            for (const auto& e : fs::recursive_directory_iterator(root / folder)) {
                const std::string ext = e.path().extension().string();
                if (!e.is_regular_file() || (ext != ".cpp" && ext != ".h")) continue;
                const std::string rel = fs::relative(e.path(), root).generic_string();
                if (OwnerOf(layers, rel) != &layer) continue;  // a nested layer's file
                ++files;
                const std::string text = ReadAll(e.path());
                for (auto it = std::sregex_iterator(text.begin(), text.end(), include);
                     it != std::sregex_iterator(); ++it) {
                    ++includes;
                    const std::string included = (*it)[1].str();
                    // Generated headers live in the build tree under a folder the layer sees.
                    EXPECT_TRUE(Sees(layer, included)) << rel << " includes " << included;
                }
            }
    EXPECT_GT(files, 200u);
    EXPECT_GT(includes, 500u);
}

}  // namespace
}  // namespace tv
