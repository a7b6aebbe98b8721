#include "standalone/DocumentSchema.h"

#include <string>

#include "resources/EffectTable.h"
#include "standalone/DocumentRead.h"
#include "standalone/DocumentText.h"
#include "standalone/EmbeddedHost.h"
#include "standalone/ParamText.h"

namespace tv::standalone {

namespace {

using Json = nlohmann::ordered_json;

Json Number(const ParamSpec& spec, const char* type) {
    return {{"type", type}, {"minimum", spec.validMin}, {"maximum", spec.validMax}};
}

Json ColorValue() {
    return {{"anyOf", Json::array({{{"type", "string"}, {"pattern", "^#[0-9a-fA-F]{6}$"}},
                                   {{"type", "array"},
                                    {"items", {{"type", "number"}, {"minimum", 0}, {"maximum", 1}}},
                                    {"minItems", 3},
                                    {"maxItems", 3}}})}};
}

Json PopupValue(const ParamSpec& spec) {
    Json entries = Json::array();
    const int32_t n = PopupEntryCount(spec);
    for (int32_t i = 1; i <= n; ++i)
        if (PopupEntry(spec, i) != "(-") entries.push_back(std::string(PopupEntry(spec, i)));
    return {{"anyOf", Json::array({{{"enum", entries}},
                                   {{"type", "integer"}, {"minimum", 1}, {"maximum", n}}})}};
}

// Whether a document can give the parameter a value: groups, buttons and data other than texts,
// curves and gradients cannot.
bool DocumentSets(const ParamSpec& spec) {
    if (!docread::Settable(spec)) return false;
    if (spec.type != PF_Param_ARBITRARY_DATA) return true;
    return IsTextParam(spec) || IsCurveParam(spec) || IsGradientParam(spec);
}

// The value a document may give: the static form, and for kinds that animate, keys of it.
Json ParamValue(const ParamSpec& spec) {
    Json value;
    switch (spec.type) {
        case PF_Param_FLOAT_SLIDER:
        case PF_Param_FIX_SLIDER:
            value = Number(spec, "number");
            break;
        case PF_Param_SLIDER:
            value = Number(spec, "integer");
            break;
        case PF_Param_ANGLE:
            value = {{"type", "number"}, {"minimum", -1e6}, {"maximum", 1e6}};
            break;
        case PF_Param_CHECKBOX:
            value = {{"type", "boolean"}};
            break;
        case PF_Param_COLOR:
            value = ColorValue();
            break;
        case PF_Param_POINT:
            value = {{"type", "array"},
                     {"items", {{"type", "number"}}},
                     {"minItems", 2},
                     {"maxItems", 2}};
            break;
        case PF_Param_POPUP:
            value = PopupValue(spec);
            break;
        case PF_Param_LAYER:
            return {{"type", Json::array({"string", "null"})},
                    {"description", "the name of a layer of the same comp, or null for none"}};
        case PF_Param_ARBITRARY_DATA:
            if (IsTextParam(spec))
                return {{"type", "string"}, {"description", "the start of the names to take"}};
            if (IsGradientParam(spec))
                return {{"type", "array"}, {"description", "stops {position, color, alpha}"}};
            return {{"anyOf", Json::array({{{"enum", {"falling", "flat"}}},
                                           {{"type", "array"}},
                                           {{"type", "object"}}})}};  // a curve
        default:
            break;
    }
    return {{"anyOf", Json::array({value, {{"$ref", "#/$defs/keys"}}})}};
}

Json EffectSchema(const EffectInfo& info, const InstalledEffect& installed) {
    Json params = Json::object();
    for (const ParamSpec& spec : installed.params) {
        if (!DocumentSets(spec)) continue;
        int32_t occurrence = 0;
        for (const ParamSpec& other : installed.params)
            if (other.index > 0 && other.index <= spec.index &&
                std::string_view(other.name) == spec.name)
                ++occurrence;
        const std::string key = occurrence > 1
                                    ? std::string(spec.name) + "#" + std::to_string(occurrence)
                                    : std::string(spec.name);
        Json value = ParamValue(spec);
        // What an editor shows on hover: the row's own line, and its unit.
        const std::string unit = ParamUnitText(spec);
        if (*spec.doc)
            value["description"] = std::string(spec.doc) + (unit.empty() ? "" : " (" + unit + ")");
        params[key] = std::move(value);
    }
    return {{"type", "object"},
            {"description", info.purpose},
            {"required", {"effect"}},
            {"additionalProperties", false},
            {"properties",
             {{"effect", {{"enum", {info.displayName, info.matchName}}}},
              {"enabled", {{"type", "boolean"}}},
              {"params",
               {{"type", "object"},
                {"properties", params},
                {"patternProperties", {{"^#[0-9]+$", Json::object()}}},
                {"additionalProperties", false}}},
              {"sequence", {{"type", "string"}}},
              {"dialogs", {{"type", "array"}}}}}};
}

}  // namespace

Json DocumentSchema() {
    EmbeddedHost host;
    Comp& comp = host.addComp("schema", 16, 16);
    Json effects = Json::array();
    for (const EffectInfo& info : EffectTable()) {
        // The table as a host sees it: the effect's own parameter setup run on a probe layer.
        Layer& layer = host.addLayer(comp, info.displayName, LayerKind::Solid);
        host.applyEffectInstance(layer, info.matchName, true);
        effects.push_back(EffectSchema(info, *host.findInstalledByMatchName(info.matchName)));
    }
    Json keys = {{"type", "object"},
                 {"required", {"keys"}},
                 {"properties", {{"keys", {{"type", "array"}, {"items", {{"type", "object"}}}}}}}};
    Json effect = {{"anyOf", effects}};
    Json layer = {{"type", "object"},
                  {"properties", {{"effects", {{"type", "array"}, {"items", effect}}}}}};
    Json compSchema = {{"type", "object"},
                       {"properties", {{"layers", {{"type", "array"}, {"items", layer}}}}}};
    return {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
            {"$id", "tavrin/document.schema.json"},
            {"title", "Tavrin composition document"},
            {"description",
             "Written by the tavrin_schema tool from the effects' parameter tables; do not edit. "
             "It checks the effects and their parameters; tavrin validate checks the rest."},
            {"type", "object"},
            {"required", {"tavrin", "comps"}},
            {"properties",
             {{"$schema", {{"type", "string"}}},
              {"tavrin", {{"const", 1}}},
              {"comps", {{"type", "array"}, {"minItems", 1}, {"items", compSchema}}}}},
            {"$defs", {{"keys", keys}}}};
}

}  // namespace tv::standalone
