#include "python/DocumentState.h"

#include <stdexcept>

#include "standalone/Document.h"
#include "standalone/DocumentNotes.h"

namespace tv::python {

namespace {

using Json = nlohmann::ordered_json;

std::string NameOf(const Json& object, const char* key) {
    const auto it = object.find(key);
    return it != object.end() && it->is_string() ? it->get<std::string>() : std::string();
}

const Json& ArrayAt(const Json& object, const char* key, const std::string& path) {
    static const Json kEmpty = Json::array();
    if (!object.is_object()) throw std::invalid_argument(path + " is not an object");
    const auto it = object.find(key);
    if (it == object.end()) return kEmpty;
    if (!it->is_array()) throw std::invalid_argument(path + "." + key + " is not an array");
    return *it;
}

// The index of the entry of `array` whose `key` is `name`; an error listing the names there.
size_t IndexByName(const Json& array, const char* key, const std::string& name,
                   const std::string& what, const std::string& path) {
    std::vector<std::string> names;
    for (size_t i = 0; i < array.size(); ++i) {
        const std::string n = NameOf(array[i], key);
        if (n == name) return i;
        names.push_back(n);
    }
    throw std::invalid_argument("no " + what + " named \"" + name + "\" at " + path + "; " +
                                standalone::NearestNames(name, names));
}

}  // namespace

void Reload(DocumentState& state, Json json) {
    auto host = std::make_unique<standalone::EmbeddedHost>();
    standalone::LoadDocumentText(json.dump(), state.file, *host);
    state.notes = standalone::InertValueNotes(host->project(), state.file);
    state.json = std::move(json);
    state.host = std::move(host);
}

size_t CompIndex(const Json& json, const std::string& comp) {
    const Json& comps = ArrayAt(json, "comps", "$");
    if (comps.empty()) throw std::invalid_argument("the document has no comp");
    return comp.empty() ? 0 : IndexByName(comps, "name", comp, "comp", "$.comps");
}

size_t LayerIndex(const Json& json, size_t comp, const std::string& layer) {
    const std::string path = "$.comps[" + std::to_string(comp) + "]";
    return IndexByName(ArrayAt(json["comps"][comp], "layers", path), "name", layer, "layer",
                       path + ".layers");
}

EffectPlace FindEffect(const Json& json, const std::string& comp, const std::string& layer,
                       const std::string& effect) {
    EffectPlace place;
    place.comp = CompIndex(json, comp);
    place.layer = LayerIndex(json, place.comp, layer);
    const std::string path =
        "$.comps[" + std::to_string(place.comp) + "].layers[" + std::to_string(place.layer) + "]";
    const Json& effects =
        ArrayAt(json["comps"][place.comp]["layers"][place.layer], "effects", path);
    // "Name#2" is the second effect of that name on the layer.
    std::string name = effect;
    size_t occurrence = 1;
    if (const size_t hash = effect.rfind('#');
        hash != std::string::npos && hash + 1 < effect.size()) {
        try {
            occurrence = std::stoul(effect.substr(hash + 1));
            name = effect.substr(0, hash);
        } catch (const std::exception&) {
        }
    }
    std::vector<std::string> names;
    for (size_t i = 0; i < effects.size(); ++i) {
        names.push_back(NameOf(effects[i], "effect"));
        if (names.back() == name && --occurrence == 0) {
            place.effect = i;
            place.path = path + ".effects[" + std::to_string(i) + "]";
            return place;
        }
    }
    throw std::invalid_argument("no effect \"" + effect + "\" at " + path + ".effects; " +
                                standalone::NearestNames(effect, names));
}

}  // namespace tv::python
