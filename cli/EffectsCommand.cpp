#include "cli/EffectsCommand.h"
#include "cli/Print.h"

#include <fmt/format.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "cli/JsonOutput.h"
#include "resources/EffectTable.h"
#include "standalone/Document.h"
#include "standalone/EmbeddedHost.h"
#include "standalone/ParamText.h"

namespace tv::cli {

namespace {

// Words laid into lines of at most `width` characters.
std::vector<std::string> Wrap(std::string_view text, size_t width) {
    std::vector<std::string> lines;
    std::string line;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find(' ', start);
        if (end == std::string_view::npos) end = text.size();
        const std::string_view word = text.substr(start, end - start);
        if (!line.empty() && line.size() + 1 + word.size() > width) {
            lines.push_back(line);
            line.clear();
        }
        if (!line.empty()) line += ' ';
        line += word;
        start = end + 1;
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

// A paragraph after a blank line, wrapped for a terminal.
void PrintParagraph(const std::string& text) {
    Print("\n");
    for (const std::string& line : Wrap(text, 96)) Print("{}\n", line);
}

// One block per parameter: index, kind, name; then default, range and unit; then the line
// saying what it does. Group rows show as headings.
void PrintTable(const standalone::InstalledEffect& effect) {
    Print("{}  ({})\n", effect.displayName, effect.matchName);
    if (effect.params.size() <= 1) {
        Print("  no parameters yet\n");
        return;
    }
    for (const ParamSpec& spec : effect.params) {
        if (spec.index == 0) continue;
        if (spec.type == PF_Param_GROUP_END) {
            Print("\n");
            continue;
        }
        if (spec.type == PF_Param_GROUP_START) {
            if (!(spec.uiFlags & PF_PUI_INVISIBLE)) Print("\n  [{}]\n", spec.name);
            continue;
        }
        Print("  {:>3}  {:<6}  {}\n", spec.index, standalone::ParamKindName(spec.type), spec.name);
        const std::string def = standalone::ParamDefaultText(spec);
        const std::string unit = standalone::ParamUnitText(spec);
        Print("               default {}; range {}{}\n", def.empty() ? "-" : def,
              standalone::ParamRangeText(spec), unit.empty() ? "" : "; unit " + unit);
        if (*spec.doc) Print("               {}\n", spec.doc);
    }
}

Json TableJson(const standalone::InstalledEffect& effect) {
    Json params = Json::array();
    for (const ParamSpec& spec : effect.params) {
        if (spec.index == 0) continue;
        params.push_back({{"index", spec.index},
                          {"diskId", spec.diskId},
                          {"kind", standalone::ParamKindName(spec.type)},
                          {"name", spec.name},
                          {"default", standalone::ParamDefaultText(spec)},
                          {"validRange", standalone::ParamRangeText(spec)},
                          {"unit", standalone::ParamUnitText(spec)},
                          {"description", spec.doc},
                          {"range", standalone::DescribeParamRange(spec)}});
    }
    return params;
}

}  // namespace

int RunEffectsCommand(const std::string& name, bool json) {
    standalone::EmbeddedHost host;
    if (name.empty()) {
        if (json) {
            Json effects = Json::array();
            for (const EffectInfo& info : EffectTable())
                effects.push_back({{"name", info.displayName},
                                   {"matchName", info.matchName},
                                   {"role", RoleName(info.role)},
                                   {"built", info.built}});
            PrintJson(
                {{"command", "effects"}, {"ok", true}, {"effects", effects}, {"exitCode", 0}});
            return 0;
        }
        Print("{:<32}  {:<30}  {:<9}  {}\n", "effect", "match name", "role", "state");
        for (const EffectInfo& info : EffectTable())
            Print("{:<32}  {:<30}  {:<9}  {}\n", info.displayName, info.matchName,
                  RoleName(info.role), info.built ? "built" : "not built yet");
        return 0;
    }
    const EffectInfo* info = FindEffectByDisplayName(name);
    if (!info) info = FindEffectByMatchName(name);
    if (!info) {
        std::vector<std::string> names;
        for (const EffectInfo& e : EffectTable()) names.push_back(e.displayName);
        const std::string message =
            fmt::format("no effect named \"{}\"; {} (`tavrin effects` lists them)", name,
                        standalone::NearestNames(name, names, true));
        Print(stderr, "tavrin effects: {}\n", message);
        if (json) PrintJson(JsonFailure("effects", message, 2));
        return 2;
    }
    // Build the effect's table the way a host does: by running its parameter setup.
    auto& comp = host.addComp("effects", 16, 16);
    auto& layer = host.addLayer(comp, "probe", standalone::LayerKind::Solid);
    host.applyEffectInstance(layer, info->matchName, true);
    const auto* installed = host.findInstalledByMatchName(info->matchName);
    if (json) {
        PrintJson({{"command", "effects"},
                   {"ok", true},
                   {"effect",
                    {{"name", installed->displayName},
                     {"matchName", installed->matchName},
                     {"role", RoleName(info->role)},
                     {"built", info->built},
                     {"about", host.aboutText(installed->key)},
                     {"purpose", info->purpose},
                     {"howTo", info->howTo},
                     {"params", TableJson(*installed)}}},
                   {"exitCode", 0}});
        return 0;
    }
    // The about text is the effect's own, several lines long.
    fmt::print("{}\n", standalone::EscapeControlCharacters(host.aboutText(installed->key), true));
    Print("role: {}; {}\n", RoleName(info->role), info->built ? "built" : "not built yet");
    if (*info->purpose) PrintParagraph(info->purpose);
    if (*info->howTo) PrintParagraph(std::string("How to use it: ") + info->howTo);
    Print("\n");
    PrintTable(*installed);
    return 0;
}

}  // namespace tv::cli
