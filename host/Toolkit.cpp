// "Tavrin Toolkit": adds sources, effectors and renderers to its layer from three menus. A choice
// is queued for idle time (a host lets no effect change its layer's stack inside a parameter
// change), lands after the last effect of its kind, and the menu returns to "None".
#include "host/IdleSuiteAccess.h"
#include "host/Toolkit.h"

#include <string>
#include <vector>

#include "host/EffectTemplate.h"
#include "host/Gather.h"
#include "host/ParamBuilders.h"
#include "host/SuiteCache.h"
#include "resources/EntryPoints.h"

namespace tv {

namespace {

// The menu text of each match name; any other shows "Not Found".
constexpr std::pair<const char*, const char*> kMenuNames[] = {
    {"KDL TAVRSRC Lights", "Layers"},
    {"KDL TAVRSRC Paths", "Paths"},
    {"KDL TAVRSRC OBJ", "OBJ"},
    {"KDL TAVRSRC Primitives", "Primitives"},
    {"KDL TAVRSRC Instances", "Instances"},
    {"KDL TAVRSRC Tracer", "Slicer"},
    {"KDL TAVREFF Spherical Field", "Spherical Field"},
    {"KDL TAVREFF Noise", "Noise"},
    {"KDL TAVREFF Container", "Container"},
    {"KDL TAVREFF Transform", "Transform"},
    {"KDL TAVREFF Color Map", "Color Map"},
    {"KDL TAVREFF Shade Effector", "Shade Effector"},
    {"KDL TAVREFF Sound Effector", "Sound Effector"},
    {"KDL TAVRREN Points", "Points"},
    {"KDL TAVRREN Lines", "Lines"},
    {"KDL TAVRREN Triangles", "Triangulation"},
    {"KDL TAVRREN Beams", "Beams"},
    {"KDL TAVRREN Facets", "Facets"},
    {"KDL TAVRUS", "Legacy"},
};

// The menus in parameter order: geometry, effectors, renderers.
constexpr const char* kMenuPrefixes[3] = {kSourcePrefix, kEffectorPrefix, kRendererPrefix};

// The choices of each menu: "None", then the installed effects of its prefix, built once from
// the effect table this module installs.
const std::string& MenuChoices(int32_t menu) {
    static const std::vector<std::string> choices = [] {
        std::vector<std::string> all;
        for (const char* prefix : kMenuPrefixes) {
            std::string text = "None";
            for (const EffectInfo& e : EffectTable())
                if (std::string_view(e.matchName).rfind(prefix, 0) == 0)
                    text.append("|").append(ToolkitMenuName(e.matchName));
            all.push_back(text);
        }
        return all;
    }();
    return choices[size_t(menu)];
}

const ParamSpec* Table() {
    static const ParamSpec table[] = {
        params::Row(0, 0, PF_Param_LAYER, "input"),
        params::Popup(1, 1, "Add Geometry", MenuChoices(0).c_str(), 1, kParamFlagsSup),
        params::Popup(2, 2, "Add Effector", MenuChoices(1).c_str(), 1, kParamFlagsSup),
        params::Popup(3, 3, "Add Renderer", MenuChoices(2).c_str(), 1, kParamFlagsSup),
    };
    return table;
}

// The installed keys of a menu's prefix, in the host's order.
std::vector<AEGP_InstalledEffectKey> InstalledOf(HostServices& host, const char* prefix) {
    std::vector<AEGP_InstalledEffectKey> keys;
    for (AEGP_InstalledEffectKey k = host.nextInstalledEffect(0); k;
         k = host.nextInstalledEffect(k))
        if (host.effectMatchName(k).rfind(prefix, 0) == 0) keys.push_back(k);
    return keys;
}

// Where a match name stands in the stack: sources, effectors, renderers (the legacy one with
// them), then the toolkit; anything else (the main effect) first.
int32_t KindRank(const std::string& matchName) {
    if (matchName.rfind(kSourcePrefix, 0) == 0) return 1;
    if (matchName.rfind(kEffectorPrefix, 0) == 0) return 2;
    if (matchName.rfind(kRendererPrefix, 0) == 0 || matchName == kLegacyRendererName) return 3;
    if (matchName.rfind("KDL TAVRKIT", 0) == 0) return 4;
    return 0;
}

PF_Err UserChanged(PF_InData* in, PF_OutData* out, PF_ParamDef*[], void*) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    // Parameter 2 first, then 1, then 3.
    const int32_t order[3] = {2, 1, 3};
    std::vector<std::pair<int32_t, int32_t>> chosen;  // menu parameter, value
    for (int32_t index : order) {
        const int32_t value = CheckoutParam(in, index).u.popup;
        if (value >= 2) chosen.emplace_back(index, value);
    }
    if (!chosen.empty()) {
        IdleSuite* idle = host.acquireIdleSuite();
        if (!idle) {
            host.diagnostic(kIdleSuiteLoadError);
            std::snprintf(out->return_msg, sizeof(out->return_msg), "%s", kIdleSuiteMissing);
        } else {
            const AEGP_EffectRefH self = host.effectFromInstance(0, in->effect_ref);
            const AEGP_LayerH layer = host.effectLayer(self);
            host.disposeEffect(self);
            for (const auto& [index, value] : chosen) {
                const auto keys = InstalledOf(host, kMenuPrefixes[index - 1]);
                if (size_t(value - 2) >= keys.size()) continue;
                const AEGP_InstalledEffectKey key = keys[size_t(value - 2)];
                HostServices* h = &host;
                idle->queueTask([h, layer, key] { AddToStack(*h, layer, key); });
            }
            ReleaseIdleSuite(host, idle);
        }
    }
    // Every menu goes back to "None".
    for (int32_t index : {1, 2, 3})
        if (CheckoutParam(in, index).u.popup != 1) {
            PF_ParamDef none = DefaultParamValue(Table()[index]);
            if (const PF_Err err = host.setParamValue(in->effect_ref, index, none)) return err;
        }
    return PF_Err_NONE;
}

}  // namespace

const char* ToolkitMenuName(std::string_view matchName) {
    for (const auto& [name, text] : kMenuNames)
        if (matchName == name) return text;
    return "Not Found";
}

PF_Err AddToStack(HostServices& host, AEGP_LayerH layer, AEGP_InstalledEffectKey key) {
    const AEGP_EffectRefH added = host.applyEffect(0, layer, key);
    const int32_t rank = KindRank(host.effectMatchName(key));
    // After the last effect of its kind or of a kind before it: the first of a later kind.
    const int32_t n = host.layerNumEffects(layer);
    int32_t slot = n - 1;
    for (int32_t i = 0; i < n - 1; ++i) {
        const AEGP_EffectRefH e = host.layerEffectByIndex(0, layer, i);
        const int32_t r = KindRank(host.effectMatchName(host.installedKeyFromLayerEffect(e)));
        host.disposeEffect(e);
        if (r > rank) {
            slot = i;
            break;
        }
    }
    PF_Err err = PF_Err_NONE;
    if (slot != n - 1) err = host.reorderEffect(added, slot);
    host.disposeEffect(added);
    return err;
}

ParamTable TavrKitParams() {
    return ParamTable(Table(), 4);
}

PF_Err TavrKitEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                             PF_ParamDef* params[], PF_LayerDef* /*output*/, void* extra) {
    if (cmd < 0 || cmd >= PF_Cmd_NUM_CMDS) return PF_Err_NONE;
    const EffectInfo& info = EffectTable()[10];
    try {
        switch (cmd) {
            case PF_Cmd_ABOUT:
                WriteAbout(out_data, info.displayName, info.description);
                return PF_Err_NONE;
            case PF_Cmd_GLOBAL_SETUP:
                out_data->my_version = kEffectVersionWord;
                out_data->out_flags = info.outFlags;
                out_data->out_flags2 = info.outFlags2;
                return PF_Err_NONE;
            case PF_Cmd_PARAMS_SETUP:
                return SetupParams(in_data, out_data, TavrKitParams());
            case PF_Cmd_USER_CHANGED_PARAM:
                return UserChanged(in_data, out_data, params, extra);
            default:
                return PF_Err_NONE;
        }
    } catch (const HostErrorCode& e) {
        return e.code;
    }
}

}  // namespace tv
