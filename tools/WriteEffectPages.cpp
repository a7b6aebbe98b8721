// Writes docs/effects/: one Markdown page per effect and the README index, from the effects'
// parameter tables as their own setup adds them and the purpose and how-to lines of their table
// rows: `cmake --build build --target effect_pages`. The EffectPages test writes them again into
// the build tree and fails when the committed pages differ.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "resources/EffectTable.h"
#include "standalone/EmbeddedHost.h"
#include "standalone/ParamText.h"

namespace {

namespace fs = std::filesystem;
using namespace tv;

// The file name an effect's page, example and picture share: "Tavrin Points Renderer" is
// "tavrin-points-renderer".
std::string Slug(std::string_view displayName) {
    std::string slug;
    for (const char c : displayName) {
        if (c == ' ')
            slug += '-';
        else
            slug += char(std::tolower(static_cast<unsigned char>(c)));
    }
    return slug;
}

// A table cell: pipes escaped, nothing empty-looking left blank.
std::string Cell(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '|') out += '\\';
        out += c;
    }
    return out;
}

std::string ParamRows(const std::vector<ParamSpec>& params) {
    std::ostringstream out;
    out << "| # | Parameter | Kind | Default | Range | Unit | What it does |\n"
        << "|---|---|---|---|---|---|---|\n";
    for (const ParamSpec& spec : params) {
        if (spec.index == 0 || spec.type == PF_Param_GROUP_END) continue;
        if (spec.type == PF_Param_GROUP_START) {
            // A heading of the controls that follow, up to its end.
            if (!(spec.uiFlags & PF_PUI_INVISIBLE))
                out << "| | **" << Cell(spec.name) << "** | group | | | | |\n";
            continue;
        }
        out << "| " << spec.index << " | " << Cell(spec.name) << " | "
            << standalone::ParamKindName(spec.type) << " | "
            << Cell(standalone::ParamDefaultText(spec)) << " | "
            << Cell(standalone::ParamRangeText(spec)) << " | "
            << Cell(standalone::ParamUnitText(spec)) << " | " << Cell(spec.doc) << " |\n";
    }
    return out.str();
}

std::string Page(const EffectInfo& info, const std::vector<ParamSpec>& params) {
    const std::string slug = Slug(info.displayName);
    std::ostringstream out;
    out << "# " << info.displayName << "\n\n"
        << "<!-- Made from the effect's table by `cmake --build build --target effect_pages`: "
           "change the table, not this page. -->\n\n"
        << "Match name `" << info.matchName << "`, a " << RoleName(info.role) << ". "
        << "[All effects](README.md)\n\n"
        << info.purpose << "\n\n"
        << "## How to use it\n\n"
        << info.howTo << "\n\n"
        << "![" << info.displayName << ": a frame of the example](images/" << slug << ".png)\n\n"
        << "The picture is a frame of [`examples/effects/" << slug
        << ".json`](../../examples/effects/" << slug
        << ".json), drawn with\n`tavrin render examples/effects/" << slug
        << ".json -o docs/effects/images/" << slug << ".png`.\n\n"
        << "## Parameters\n\n"
        << "A document sets them by name in the effect's `params` (see "
           "[the document format](../document-format.md)); `tavrin effects \""
        << info.displayName << "\"` prints the same table.\n\n"
        << ParamRows(params);
    return out.str();
}

std::string Index(const std::map<std::string, std::string>& purposeBySlug) {
    std::ostringstream out;
    out << "# The effects\n\n"
        << "<!-- Made from the effects' tables by `cmake --build build --target effect_pages`. "
           "-->\n\n"
        << "Each page says what the effect is for, how to put it to work, and what each of its "
           "parameters does, with a picture drawn from a small document in "
           "[`examples/effects/`](../../examples/effects/). The main effect, "
           "[Tavrin](tavrin.md), is the one that draws: sources make vertices, effectors move "
           "and colour them, renderers say how they are drawn.\n\n"
        << "Units in the tables: *world units* measure the comp's 3D space, where one unit is "
           "one pixel at the camera's zoom distance (X right, Y down, Z away from the viewer; see "
           "[units and axes](../document-format.md)); *pixels* are sizes on the image at that "
           "distance; *percent* runs 0 to 100 unless the range says more; angles are degrees. "
           "A point's default given as a share of the layer is written in pixels in a "
           "document.\n\n";
    const std::pair<EffectRole, const char*> roles[] = {
        {EffectRole::Main, "The main effect"}, {EffectRole::Source, "Sources"},
        {EffectRole::Effector, "Effectors"},   {EffectRole::Renderer, "Renderers"},
        {EffectRole::Toolkit, "The toolkit"},
    };
    for (const auto& [role, title] : roles) {
        out << "## " << title << "\n\n| Effect | What it is for |\n|---|---|\n";
        for (const EffectInfo& info : EffectTable()) {
            if (info.role != role) continue;
            const std::string slug = Slug(info.displayName);
            out << "| [" << info.displayName << "](" << slug << ".md) | "
                << Cell(purposeBySlug.at(slug)) << " |\n";
        }
        out << "\n";
    }
    return out.str();
}

bool Write(const fs::path& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    if (!out) std::fprintf(stderr, "tavrin_effect_pages: cannot write %s\n", path.c_str());
    return bool(out);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: tavrin_effect_pages OUTPUT_FOLDER\n");
        return 2;
    }
    const fs::path folder = argv[1];
    std::error_code ec;
    fs::create_directories(folder, ec);
    // The tables as a host sees them: each effect's parameter setup run once.
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("pages", 16, 16);
    auto& layer = host.addLayer(comp, "probe", standalone::LayerKind::Solid);
    std::map<std::string, std::string> purposes;
    for (const EffectInfo& info : EffectTable()) {
        host.applyEffectInstance(layer, info.matchName, true);
        const auto* installed = host.findInstalledByMatchName(info.matchName);
        const std::string slug = Slug(info.displayName);
        purposes[slug] = info.purpose;
        if (!Write(folder / (slug + ".md"), Page(info, installed->params))) return 1;
    }
    return Write(folder / "README.md", Index(purposes)) ? 0 : 1;
}
