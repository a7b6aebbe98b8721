// Reading a composition document section by section: what the reader keeps while it walks (the
// file, the host, the links by name and the user's actions settled once every comp is read), the
// shared value readers whose errors name their place, and one reader per section and layer kind.
// Used by the document loader (standalone/Document.cpp and standalone/DocumentRead*.cpp); the
// studio's edits find a parameter by its document key through FindParam.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "standalone/Document.h"

namespace tv::standalone::docread {

using nlohmann::json;

// Links by name, resolved once every comp is read (a name may point forward).
struct PendingPrecomp {
    Layer* layer;
    std::string comp;
    std::string path;
};

struct PendingParent {
    Layer* layer;
    std::string parent;
    std::string path;
    Comp* comp;
};

struct PendingLayerParam {
    EffectInstance* instance;
    int32_t index;
    std::string layerName;
    std::string path;
    Comp* comp;
};

// A click the document makes once everything is loaded, with the dialog answer it needs.
struct DialogClick {
    EffectInstance* instance = nullptr;
    A_Time time{0, 1};
    int32_t paramIndex = 0;  // 0: the effect's options button (its own dialog)
    std::string title;
    std::string answer;
};

// What a document reader needs while it walks: the file, for messages and relative paths.
struct Reader {
    std::string file;
    std::filesystem::path base;
    EmbeddedHost& host;
    // Name filters the document gave: written again after the instances' first panel update,
    // which would otherwise replace them with their popup's word.
    mutable std::vector<std::pair<EffectInstance*, int32_t>> textsGiven;
    mutable std::vector<std::pair<EffectInstance*, int32_t>> popupsGiven;  // popups it set
    mutable std::vector<EffectInstance*> recordsGiven;  // saved instances: every value given
    mutable std::vector<DialogClick> clicks;
    mutable std::vector<PendingPrecomp> precomps;
    mutable std::vector<PendingParent> parents;
    mutable std::vector<PendingLayerParam> layerParams;

    [[noreturn]] void fail(const std::string& path, const std::string& message) const;
    void checkKeys(const json& object, const std::string& path,
                   const std::vector<std::string>& allowed) const;
    double number(const json& v, const std::string& path, double lo, double hi) const;
    int32_t integer(const json& v, const std::string& path, double lo, double hi) const;
    bool boolean(const json& v, const std::string& path) const;
    std::string text(const json& v, const std::string& path) const;
    // "#rrggbb" or [r, g, b] with components 0..1.
    void color(const json& v, const std::string& path, float out[3]) const;
    // A colour that may carry alpha: "#rrggbb", "#rrggbbaa", [r, g, b] or [r, g, b, a]. Without
    // alpha, `alpha` is left as it stands.
    void colorAlpha(const json& v, const std::string& path, float out[3], float& alpha) const;
};

// Shared value readers (DocumentReadValues.cpp).

// A bound as a person writes it: 1000000 rather than 1e+06.
std::string Plain(double d);
// A value as an error message quotes it: short and flat, never the whole of a large or deeply
// nested value ("[1, 2, [...], ... (40000 values)]", a long string cut with its length).
std::string Excerpt(const json& v);
// The timing half of a key: "t", "interp", speeds and influences; the caller reads "v".
Key ReadKeyTiming(const Reader& r, const json& k, const std::string& kpath,
                  const std::vector<Key>& before);
// The list of {"keys": [...]}, which must hold at least one key.
const json& KeyList(const Reader& r, const json& v, const std::string& path);
// A keyframable layer property: a number, a list of `n` numbers, or {"keys": [...]}.
void ReadAnimated(const Reader& r, const json& v, const std::string& path, int n, double lo,
                  double hi, AnimatedValue& out);
// A layer property of 2 or 3 numbers (2D layers take 2, 3D layers 2 or 3); a missing third
// component is `third`.
void ReadAnimated23(const Reader& r, const json& v, const std::string& path, bool is3D, double lo,
                    double hi, double third, AnimatedValue& out);
// The file a document names, relative to the document; it must exist.
std::string ExistingFile(const Reader& r, const json& v, const std::string& path);

// Effects and their parameters (DocumentReadParams.cpp, DocumentReadEffect.cpp).

// The parameter a document key names: its display name, "Name#2" for the second of a repeated
// name, or "#11" for index 11.
const ParamSpec* FindParam(const InstalledEffect& effect, const std::string& key);
// Whether a document can give the parameter a value (groups, buttons and the input cannot).
bool Settable(const ParamSpec& spec);
// A parameter's value or {"keys": [...]}; a layer parameter's name is resolved later.
void ReadParam(const Reader& r, const ParamSpec& spec, const json& v, const std::string& path,
               EffectInstance& instance, Comp& comp);
void ReadEffect(const Reader& r, const json& e, const std::string& path, Layer& layer, Comp& comp);

// Layers (DocumentReadLayer.cpp, DocumentReadMasks.cpp).
void ReadLayer(const Reader& r, const json& l, const std::string& path, Comp& comp);
void ReadMasks(const Reader& r, const json& v, const std::string& path, Layer& layer);

// The body of each kind of layer, under the kind's key at `kpath` (DocumentReadFootage.cpp,
// DocumentReadScene.cpp).
void ReadSolidBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                   const Comp& comp);
void ReadNullBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                  const Comp& comp);
void ReadImageBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                   const Comp& comp);
void ReadObjBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                 const Comp& comp);
void ReadAudioBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                   const Comp& comp);
void ReadTextBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                  const Comp& comp);
void ReadPrecompBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                     const Comp& comp);
void ReadCameraBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                    const Comp& comp);
void ReadLightBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                   const Comp& comp);

// Links by name, once every comp is read (DocumentReadLinks.cpp), in this order.
void ResolvePrecomps(const Reader& r, const std::vector<std::string>& compNames);
void ResolveParents(const Reader& r);
void CheckPrecompCycles(const Reader& r, const Project& project);
void ResolveLayerParams(const Reader& r);

// What a host does when it opens a project, and then the document's clicks
// (DocumentReadFinish.cpp).
void FinishLoading(const Reader& r);

}  // namespace tv::standalone::docread
