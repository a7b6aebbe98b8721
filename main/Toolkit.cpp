// "Tavrin Toolkit": adds sources, effectors and renderers to its layer from three menus. A choice
// is queued for idle time (a host lets no effect change its layer's stack inside a parameter
// change), lands after the last effect of its kind, and the menu returns to "None".
#include "host/IdleSuiteAccess.h"
#include "main/Toolkit.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "host/EffectTemplate.h"
#include "host/Gather.h"
#include "host/ParamBuilders.h"
#include "host/SuiteCache.h"
#include "main/MainEntries.h"
#include "resources/EffectTable.h"

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

// The choices of each menu as the effect table lists them: the table `tavrin effects` shows.
const std::string& TableChoices(int32_t menu) {
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
        params::Doc(params::Popup(1, 1, "Add Geometry", TableChoices(0).c_str(), 1, kParamFlagsSup),
                    "Pick a source to add it to this layer, in its place in the stack."),
        params::Doc(params::Popup(2, 2, "Add Effector", TableChoices(1).c_str(), 1, kParamFlagsSup),
                    "Pick an effector to add it to this layer, in its place in the stack."),
        params::Doc(params::Popup(3, 3, "Add Renderer", TableChoices(2).c_str(), 1, kParamFlagsSup),
                    "Pick a renderer to add it to this layer, in its place in the stack."),
    };
    return table;
}

// The keys of the installed effects whose match names begin with `prefix`, in the host's order.
std::vector<AEGP_InstalledEffectKey> FindInstalledEffects(HostServices& host, const char* prefix) {
    std::vector<AEGP_InstalledEffectKey> keys;
    for (AEGP_InstalledEffectKey k = host.nextInstalledEffect(0); k;
         k = host.nextInstalledEffect(k))
        if (host.effectMatchName(k).rfind(prefix, 0) == 0) keys.push_back(k);
    return keys;
}

// The global handle: the installed keys of each menu (sources, effectors, renderers) and their
// counts, found at GLOBAL_SETUP and freed at GLOBAL_SETDOWN.
struct ToolkitGlobals {
    AEGP_InstalledEffectKey* keys[3];
    uint32_t counts[3];
};
constexpr uint64_t kGlobalsBytes = 64;
static_assert(sizeof(ToolkitGlobals) <= kGlobalsBytes);
// Globals order: effectors, sources, renderers; menus (parameters 1, 2, 3) order: sources,
// effectors, renderers.
constexpr int32_t kGlobalsSlot[3] = {1, 0, 2};

PF_Err GlobalSetup(PF_InData* in, PF_OutData* out) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const PF_Handle handle = host.newHandle(kGlobalsBytes);
    auto* globals = handle ? static_cast<ToolkitGlobals*>(host.lockHandle(handle)) : nullptr;
    if (!globals) {
        if (handle) host.disposeHandle(handle);
        return PF_Err_OUT_OF_MEMORY;
    }
    for (int32_t menu = 0; menu < 3; ++menu) {
        const auto keys = FindInstalledEffects(host, kMenuPrefixes[menu]);
        const int32_t slot = kGlobalsSlot[menu];
        globals->counts[slot] = uint32_t(keys.size());
        globals->keys[slot] = keys.empty() ? nullptr : new AEGP_InstalledEffectKey[keys.size()];
        std::copy(keys.begin(), keys.end(), globals->keys[slot]);
    }
    host.unlockHandle(handle);
    out->global_data = handle;
    return PF_Err_NONE;
}

PF_Err GlobalSetdown(PF_InData* in) {
    if (!in->global_data) return PF_Err_NONE;
    SuiteCache suites(in);
    HostServices& host = suites.host();
    if (auto* globals = static_cast<ToolkitGlobals*>(host.lockHandle(in->global_data))) {
        for (AEGP_InstalledEffectKey*& keys : globals->keys) {
            delete[] keys;
            keys = nullptr;
        }
        host.unlockHandle(in->global_data);
    }
    host.disposeHandle(in->global_data);
    return PF_Err_NONE;
}

// The installed keys of a menu (0 sources, 1 effectors, 2 renderers) from the global handle.
std::vector<AEGP_InstalledEffectKey> MenuKeys(HostServices& host, PF_Handle global, int32_t menu) {
    std::vector<AEGP_InstalledEffectKey> keys;
    const auto* globals =
        global ? static_cast<const ToolkitGlobals*>(host.lockHandle(global)) : nullptr;
    if (!globals) return keys;
    const int32_t slot = kGlobalsSlot[menu];
    if (globals->keys[slot])
        keys.assign(globals->keys[slot], globals->keys[slot] + globals->counts[slot]);
    host.unlockHandle(global);
    return keys;
}

// A menu's text, kept for as long as the module is loaded (the host holds on to it).
const char* KeptText(const std::string& text) {
    static std::mutex mutex;
    static std::set<std::string> kept;
    std::lock_guard lock(mutex);
    return kept.insert(text).first->c_str();
}

// The parameters, each menu listing "None" and then the installed effects of its kind.
PF_Err ParamsSetup(PF_InData* in, PF_OutData* out) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    ParamSpec table[4];
    std::copy(Table(), Table() + 4, table);
    for (int32_t menu = 0; menu < 3; ++menu) {
        std::string text = "None";
        for (AEGP_InstalledEffectKey key : MenuKeys(host, in->global_data, menu))
            text.append("|").append(ToolkitMenuName(host.effectMatchName(key)));
        table[menu + 1].text = KeptText(text);
    }
    return SetupParams(in, out, ParamTable(table, 4));
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
    // The idle suite is fetched on every change, so that a host without one is told so
    // whatever the menus hold.
    IdleSuite* idle = host.acquireIdleSuite();
    if (!idle) {
        host.diagnostic(kIdleSuiteLoadError);
        std::snprintf(out->return_msg, sizeof(out->return_msg), "%s", kIdleSuiteMissing);
    } else {
        const AEGP_EffectRefH self = host.effectFromInstance(0, in->effect_ref);
        const AEGP_LayerH layer = host.effectLayer(self);
        host.disposeEffect(self);
        for (const auto& [index, value] : chosen) {
            const auto keys = MenuKeys(host, in->global_data, index - 1);
            if (size_t(value - 2) >= keys.size()) continue;
            const AEGP_InstalledEffectKey key = keys[size_t(value - 2)];
            HostServices* h = &host;
            idle->queueTask([h, layer, key] { AddToStack(*h, layer, key); });
        }
        ReleaseIdleSuite(host, idle);
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
                             PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    if (cmd < 0 || cmd >= PF_Cmd_NUM_CMDS) return PF_Err_NONE;
    const EffectInfo& info = kTavrKitInfo;
    try {
        switch (cmd) {
            case PF_Cmd_ABOUT:
                WriteAbout(out_data, info.displayName, info.description);
                return PF_Err_NONE;
            case PF_Cmd_GLOBAL_SETUP:
                out_data->my_version = kEffectVersionWord;
                out_data->out_flags = info.outFlags;
                out_data->out_flags2 = info.outFlags2;
                return GlobalSetup(in_data, out_data);
            case PF_Cmd_GLOBAL_SETDOWN:
                return GlobalSetdown(in_data);
            case PF_Cmd_PARAMS_SETUP:
                return ParamsSetup(in_data, out_data);
            case PF_Cmd_USER_CHANGED_PARAM:
                return UserChanged(in_data, out_data, params, extra);
            case PF_Cmd_RENDER:
            case PF_Cmd_SMART_PRE_RENDER:
            case PF_Cmd_SMART_RENDER:
                // It draws nothing: a plain copy of its input, through the shared handlers.
                return SubEffectEntry(info, SubEffectHandlers{}, cmd, in_data, out_data, params,
                                      output, extra);
            default:
                return PF_Err_NONE;
        }
    } catch (const HostErrorCode& e) {
        return e.code;
    }
}

// The effect's row in the module's effect table.
const EffectInfo kTavrKitInfo{
    11,
    "Tavrin Toolkit",
    "KDL TAVRKIT",
    "TavrKitEntryPointFunc",
    &TavrKitEntryPointFunc,
    0x208000,
    0x1400,
    EffectRole::Toolkit,
    "Utility to add New Objects and Effectors.",
    true,
    &TavrKitParams,
    "A helper that adds the other Tavrin effects to a layer from three menus (sources, effectors, "
    "renderers), each in its right place in the stack.",
    "Apply it to a layer and pick an effect in Add Geometry, Add Effector or Add Renderer to add "
    "it to the layer. It draws nothing itself; a document usually lists the effects it wants "
    "directly."};

}  // namespace tv
