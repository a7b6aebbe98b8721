#include "standalone/DocumentWarnings.h"

#include <algorithm>
#include <set>

#include "resources/EffectTable.h"

namespace tv::standalone {

namespace {

// Group popups: "Group 1" to "Group 10", a separator, then "None" (sources) or "All Groups"
// (effectors and renderers).
constexpr int32_t kNoSingleGroup = 12;

// One effect of a layer as the checks see it.
struct PlacedEffect {
    const EffectInstance* instance = nullptr;
    const InstalledEffect* installed = nullptr;
    const EffectInfo* info = nullptr;
    std::string path;  // "$.comps[i].layers[j].effects[k]"

    // The row of the parameter (groups, which hold no value, left out), or -1.
    int32_t row(const std::string& name) const {
        const auto& specs = installed->params;
        for (size_t i = 0; i < specs.size() && i < instance->params.size(); ++i)
            if (specs[i].name == name && specs[i].type != PF_Param_GROUP_START &&
                specs[i].type != PF_Param_GROUP_END)
                return int32_t(i);
        return -1;
    }
    // The parameter's static value, or null when the parameter is missing or animated (its value
    // then changes over time and no single value decides).
    const PF_ParamDef* value(const std::string& name) const {
        const int32_t i = row(name);
        if (i < 0 || !instance->params[size_t(i)].keys.empty()) return nullptr;
        return &instance->params[size_t(i)].value;
    }
    int32_t popup(const std::string& name, int32_t otherwise) const {
        const PF_ParamDef* v = value(name);
        return v ? v->u.popup : otherwise;
    }
    // The JSON path of the parameter as a document addresses it: "Name#2" for a name's second
    // row.
    std::string param(const std::string& name) const {
        const int32_t i = row(name);
        int32_t occurrence = 0;
        for (int32_t j = 0; j <= i; ++j) occurrence += installed->params[size_t(j)].name == name;
        std::string address = path + ".params." + name;
        if (occurrence > 1) address.append("#").append(std::to_string(occurrence));
        return address;
    }
    std::string quoted() const { return "\"" + installed->displayName + "\""; }
};

bool Is(const PlacedEffect& e, const char* displayName) {
    return e.installed->displayName == displayName;
}

// Whether a source makes faces whatever its other settings say; false for the sources whose
// settings are known to leave them without faces.
bool MakesFaces(const PlacedEffect& source) {
    if (Is(source, "Tavrin OBJ Object")) {
        const PF_ParamDef* facets = source.value("Import Facets");
        return !facets || facets->u.checkbox != 0;
    }
    if (Is(source, "Tavrin Instances Object")) return source.popup("Facet Mode", 2) != 1;
    return true;
}

// The layers some effect's layer parameter names: their stacks are read by that effect (an
// instance's original, a container's mesh, a slicer's target), so they need no main effect.
std::set<uint32_t> ReferencedLayers(const Project& project) {
    std::set<uint32_t> ids;
    for (const auto& comp : project.comps)
        for (const auto& layer : comp->layers)
            for (const auto& instance : layer->effects)
                for (size_t i = 1; i < instance->params.size(); ++i) {
                    const ParamState& p = instance->params[i];
                    if (p.value.param_type != PF_Param_LAYER) continue;
                    if (p.value.u.layerId > 0) ids.insert(uint32_t(p.value.u.layerId));
                    for (const Key& k : p.keys)
                        if (k.v[0] > 0) ids.insert(uint32_t(k.v[0]));
                }
    return ids;
}

void CheckLayer(const std::vector<PlacedEffect>& effects, const std::string& layerPath,
                const std::string& layerName, bool referenced, std::vector<std::string>& warnings) {
    std::vector<const PlacedEffect*> mains, sources, renderers;
    for (const PlacedEffect& e : effects) {
        if (!e.instance->active) continue;
        if (e.info->role == EffectRole::Main) mains.push_back(&e);
        if (e.info->role == EffectRole::Source) sources.push_back(&e);
        if (e.info->role == EffectRole::Renderer) renderers.push_back(&e);
    }
    const bool tavrinEffects = std::any_of(effects.begin(), effects.end(), [](const auto& e) {
        return e.info->role == EffectRole::Source || e.info->role == EffectRole::Effector ||
               e.info->role == EffectRole::Renderer;
    });
    if (tavrinEffects && mains.empty() && !referenced) {
        warnings.push_back(layerPath + ": layer \"" + layerName +
                           "\" has Tavrin effects but not the main effect \"Tavrin\", which is "
                           "what draws them: the layer shows none of their geometry; add "
                           "{\"effect\": \"Tavrin\"} to its effects");
        return;
    }
    if (mains.empty()) return;

    auto sourceGroup = [](const PlacedEffect* s) { return s->popup("Group", kNoSingleGroup); };
    for (const PlacedEffect* r : renderers) {
        const int32_t group = r->popup("Effect Only Group", kNoSingleGroup);
        std::vector<const PlacedEffect*> fed;
        for (const PlacedEffect* s : sources)
            if (group == kNoSingleGroup || sourceGroup(s) == group) fed.push_back(s);
        if (fed.empty()) {
            warnings.push_back(
                (group == kNoSingleGroup ? r->path : r->param("Effect Only Group")) + ": " +
                r->quoted() +
                (group == kNoSingleGroup
                     ? " has no source on its layer: it draws nothing; add a source effect"
                     : " draws Group " + std::to_string(group) +
                           ", which no source on its layer joins: it draws nothing; set a "
                           "source's \"Group\" to it or choose \"All Groups\""));
            continue;
        }
        if (Is(*r, "Tavrin Facets Renderer") &&
            std::none_of(fed.begin(), fed.end(),
                         [](const PlacedEffect* s) { return MakesFaces(*s); }))
            for (const PlacedEffect* s : fed)
                warnings.push_back((Is(*s, "Tavrin OBJ Object") ? s->param("Import Facets")
                                                                : s->param("Facet Mode")) +
                                   ": " + s->quoted() + " makes no faces, so " + r->quoted() +
                                   " at " + r->path +
                                   " draws nothing; turn \"Import Facets\" on (OBJ) or choose a "
                                   "\"Facet Mode\" (Instances)");
    }

    for (const PlacedEffect& e : effects) {
        if (!e.instance->active || !Is(e, "Tavrin Noise Effector")) continue;
        const PF_ParamDef* amplitude = e.value("Noise Amplitude");
        const PF_ParamDef* useLights = e.value("Use Lights for Noise");
        const bool fromLights =
            !useLights || (useLights->u.checkbox != 0 && e.popup("Get Amplitude From", 2) != 1);
        if (amplitude && amplitude->u.floatValue == 0 && !fromLights)
            warnings.push_back(e.param("Noise Amplitude") + ": " + e.quoted() +
                               " has an amplitude of 0 (its default): it changes nothing; give "
                               "\"Noise Amplitude\" a value");
    }

    // A sound effector moves and scales by the sound times an amplitude ramping from start to
    // end; with both 0 only "Affect Color" (which maps 0 to the gradient's first colour) acts.
    for (const PlacedEffect& e : effects) {
        if (!e.instance->active || !Is(e, "Tavrin Sound Effector")) continue;
        const PF_ParamDef* start = e.value("Sound Start Amplitude");
        const PF_ParamDef* end = e.value("Sound End Amplitude");
        const PF_ParamDef* color = e.value("Affect Color");
        if (start && end && color && start->u.floatValue == 0 && end->u.floatValue == 0 &&
            color->u.checkbox == 0)
            warnings.push_back(e.param("Sound Start Amplitude") + ": " + e.quoted() +
                               " has start and end amplitudes of 0 (their defaults): it changes "
                               "nothing; give \"Sound Start Amplitude\" or \"Sound End "
                               "Amplitude\" a value");
    }

    // What only the GL path draws, on a layer whose main effect does not ask for it.
    const PlacedEffect& main = *mains.front();
    const PF_ParamDef* unified = main.value("Unified Rendering");
    if (!unified || unified->u.checkbox != 0) return;
    const std::string off = " is drawn only by the GL path, and \"Unified Rendering\" is off at " +
                            main.param("Unified Rendering") +
                            ": the frame leaves it out; turn it on (or render with --unified on)";
    if (main.popup("Depth of Field", 1) != 1)
        warnings.push_back(main.param("Depth of Field") + ": depth of field" + off);
    if (main.popup("Render Motion Blur", 2) == 3)
        warnings.push_back(main.param("Render Motion Blur") + ": custom motion blur" + off);
    if (main.popup("Render Quality", 1) != 1)
        warnings.push_back(main.param("Render Quality") + ": a render quality above 1x" + off);
    for (const PlacedEffect* r : renderers)
        if (Is(*r, "Tavrin Facets Renderer"))
            warnings.push_back(r->path + ": " + r->quoted() + off);
}

}  // namespace

std::vector<std::string> DrawNothingWarnings(EmbeddedHost& host, const std::string& file) {
    std::vector<std::string> warnings;
    const Project& project = host.project();
    const std::set<uint32_t> referenced = ReferencedLayers(project);
    for (size_t c = 0; c < project.comps.size(); ++c) {
        const Comp& comp = *project.comps[c];
        for (size_t l = 0; l < comp.layers.size(); ++l) {
            const Layer& layer = *comp.layers[l];
            const std::string layerPath =
                "$.comps[" + std::to_string(c) + "].layers[" + std::to_string(l) + "]";
            std::vector<PlacedEffect> effects;
            for (size_t k = 0; k < layer.effects.size(); ++k) {
                PlacedEffect e;
                e.instance = layer.effects[k].get();
                e.installed = host.installedEffect(e.instance->key);
                e.info = e.installed ? FindEffectByMatchName(e.installed->matchName) : nullptr;
                if (!e.info) continue;
                e.path = layerPath + ".effects[" + std::to_string(k) + "]";
                effects.push_back(std::move(e));
            }
            std::vector<std::string> found;
            CheckLayer(effects, layerPath, layer.name, referenced.count(layer.id) > 0, found);
            for (const std::string& w : found) warnings.push_back(file + ": " + w);
        }
    }
    return warnings;
}

}  // namespace tv::standalone
