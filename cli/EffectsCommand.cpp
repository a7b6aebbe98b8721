#include "cli/EffectsCommand.h"
#include "cli/Print.h"

#include <fmt/format.h>

#include <cstdio>

#include "cli/JsonOutput.h"
#include "resources/EffectTable.h"
#include "standalone/Document.h"
#include "standalone/EmbeddedHost.h"
#include "standalone/ParamText.h"

namespace tv::cli {

namespace {

void PrintTable(const standalone::InstalledEffect& effect) {
    Print("{}  ({})\n", effect.displayName, effect.matchName);
    if (effect.params.size() <= 1) {
        Print("  no parameters yet\n");
        return;
    }
    Print("  {:>5}  {:>4}  {:<8}  {:<36}  {}\n", "index", "disk", "kind", "name",
          "default / range");
    for (const ParamSpec& spec : effect.params) {
        if (spec.index == 0) continue;
        Print("  {:>5}  {:>4}  {:<8}  {:<36}  {}\n", spec.index, spec.diskId,
              standalone::ParamKindName(spec.type), spec.name,
              standalone::DescribeParamRange(spec));
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
                        standalone::NearestNames(name, names));
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
                     {"params", TableJson(*installed)}}},
                   {"exitCode", 0}});
        return 0;
    }
    // The about text is the effect's own, several lines long.
    fmt::print("{}\n", standalone::EscapeControlCharacters(host.aboutText(installed->key), true));
    Print("role: {}; {}\n\n", RoleName(info->role), info->built ? "built" : "not built yet");
    PrintTable(*installed);
    return 0;
}

}  // namespace tv::cli
