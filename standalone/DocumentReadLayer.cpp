// A layer in a document: its one kind (whose body the kind's reader takes), then what every
// layer has: 3D, transform, parent, masks, switches, timing and effects.
#include <algorithm>

#include "standalone/DocumentRead.h"

namespace tv::standalone::docread {

namespace {

using BodyReader = void (*)(const Reader& r, const json& body, const std::string& kpath,
                            Layer& layer, const Comp& comp);

// The kinds of layer by their document key, in the order a layer's keys are looked for.
struct KindReader {
    const char* key;
    LayerKind kind;
    BodyReader read;
};

const KindReader kKinds[] = {
    {"solid", LayerKind::Solid, ReadSolidBody},       {"null", LayerKind::Null, ReadNullBody},
    {"image", LayerKind::Image, ReadImageBody},       {"obj", LayerKind::Obj, ReadObjBody},
    {"audio", LayerKind::Audio, ReadAudioBody},       {"text", LayerKind::Text, ReadTextBody},
    {"precomp", LayerKind::Precomp, ReadPrecompBody}, {"camera", LayerKind::Camera, ReadCameraBody},
    {"light", LayerKind::Light, ReadLightBody},
};

const std::vector<std::string> kLayerKeys = {
    "name",     "solid",     "null",     "image",      "obj",     "audio",    "text",  "precomp",
    "camera",   "light",     "enabled",  "solo",       "threeD",  "parent",   "masks", "inPoint",
    "outPoint", "startTime", "collapse", "motionBlur", "effects", "transform"};

void ReadTransform(const Reader& r, const json& t, const std::string& tpath, Layer& layer,
                   const Comp& comp) {
    const bool scene = layer.kind == LayerKind::Camera || layer.kind == LayerKind::Light;
    const std::vector<std::string> sceneKeys = {"orientation", "xRotation", "yRotation",
                                                "zRotation"};
    const std::vector<std::string> flatKeys = {"anchorPoint", "position",  "scale",
                                               "rotation",    "zRotation", "opacity"};
    const std::vector<std::string> allKeys = {"anchorPoint", "position",    "scale",
                                              "rotation",    "orientation", "xRotation",
                                              "yRotation",   "zRotation",   "opacity"};
    if (!t.is_object())
        r.fail(tpath, "expected an object {...}, found " + std::string(t.type_name()));
    for (const auto& [key, value] : t.items()) {
        const bool known = std::find(allKeys.begin(), allKeys.end(), key) != allKeys.end();
        if (known && scene && std::find(sceneKeys.begin(), sceneKeys.end(), key) == sceneKeys.end())
            r.fail(tpath + "." + key, "cameras and lights take \"" + key +
                                          "\" in their own body; their transform takes " +
                                          "\"orientation\", \"xRotation\", \"yRotation\" and " +
                                          "\"zRotation\"");
        if (known && !layer.is3D &&
            std::find(flatKeys.begin(), flatKeys.end(), key) == flatKeys.end())
            r.fail(tpath + "." + key,
                   "\"" + key + "\" needs a 3D layer: set \"threeD\": true on the layer");
    }
    r.checkKeys(t, tpath, scene ? sceneKeys : layer.is3D ? allKeys : flatKeys);
    if (t.contains("rotation") && t.contains("zRotation"))
        r.fail(tpath + ".zRotation", "\"rotation\" and \"zRotation\" are the same value; give one");
    Transform2D& x = layer.transform;
    x.set = true;
    x.anchor.value = {layer.width / 2.0, layer.height / 2.0, 0, 0};
    if (layer.kind == LayerKind::Null) x.anchor.value = {0, 0, 0, 0};  // a null's corner
    x.position.value = {comp.width / 2.0, comp.height / 2.0, 0, 0};
    x.scale.value = {100, 100, 100, 0};
    x.opacity.value = {100, 0, 0, 0};
    if (t.contains("anchorPoint"))
        ReadAnimated23(r, t["anchorPoint"], tpath + ".anchorPoint", layer.is3D, -1e6, 1e6, 0,
                       x.anchor);
    if (t.contains("position"))
        ReadAnimated23(r, t["position"], tpath + ".position", layer.is3D, -1e6, 1e6, 0, x.position);
    if (t.contains("scale"))
        ReadAnimated23(r, t["scale"], tpath + ".scale", layer.is3D, -1e5, 1e5, 100, x.scale);
    for (const char* key : {"rotation", "zRotation"})
        if (t.contains(key)) ReadAnimated(r, t[key], tpath + "." + key, 1, -1e6, 1e6, x.rotation);
    if (t.contains("xRotation"))
        ReadAnimated(r, t["xRotation"], tpath + ".xRotation", 1, -1e6, 1e6, x.rotationX);
    if (t.contains("yRotation"))
        ReadAnimated(r, t["yRotation"], tpath + ".yRotation", 1, -1e6, 1e6, x.rotationY);
    if (t.contains("orientation"))
        ReadAnimated(r, t["orientation"], tpath + ".orientation", 3, -360, 360, x.orientation);
    if (t.contains("opacity"))
        ReadAnimated(r, t["opacity"], tpath + ".opacity", 1, 0, 100, x.opacity);
}

}  // namespace

void ReadLayer(const Reader& r, const json& l, const std::string& path, Comp& comp) {
    r.checkKeys(l, path, kLayerKeys);
    std::vector<const KindReader*> kinds;
    for (const KindReader& k : kKinds)
        if (l.contains(k.key)) kinds.push_back(&k);
    if (kinds.size() != 1)
        r.fail(path, kinds.empty() ? "a layer needs one kind: \"solid\", \"null\", \"image\", "
                                     "\"obj\", \"audio\", \"text\", \"precomp\", \"camera\" or "
                                     "\"light\""
                                   : "a layer has one kind, found " + std::to_string(kinds.size()));
    const KindReader& kind = *kinds[0];
    const std::string name = l.contains("name") ? r.text(l["name"], path + ".name") : kind.key;
    Layer& layer = r.host.addLayer(comp, name, kind.kind);
    kind.read(r, l[kind.key], path + "." + kind.key, layer, comp);
    if (l.contains("threeD")) {
        const bool threeD = r.boolean(l["threeD"], path + ".threeD");
        if (!threeD && layer.is3D) r.fail(path + ".threeD", "cameras and lights are always 3D");
        if (threeD && layer.kind == LayerKind::Audio)
            r.fail(path + ".threeD", "audio layers have no picture to place in 3D");
        layer.is3D = threeD;
    }
    if (l.contains("transform")) ReadTransform(r, l["transform"], path + ".transform", layer, comp);
    if (l.contains("parent"))
        r.parents.push_back(
            {&layer, r.text(l["parent"], path + ".parent"), path + ".parent", &comp});
    if (l.contains("masks")) ReadMasks(r, l["masks"], path + ".masks", layer);
    if (l.contains("enabled")) layer.enabled = r.boolean(l["enabled"], path + ".enabled");
    if (l.contains("solo")) layer.solo = r.boolean(l["solo"], path + ".solo");
    if (l.contains("collapse")) layer.collapse = r.boolean(l["collapse"], path + ".collapse");
    if (l.contains("motionBlur"))
        layer.motionBlur = r.boolean(l["motionBlur"], path + ".motionBlur");
    if (l.contains("startTime"))
        layer.startTime = r.number(l["startTime"], path + ".startTime", -1e6, 1e6);
    if (l.contains("inPoint")) layer.inPoint = r.number(l["inPoint"], path + ".inPoint", -1e6, 1e6);
    if (l.contains("outPoint"))
        layer.outPoint = r.number(l["outPoint"], path + ".outPoint", -1e6, 1e6);
    if (layer.outPoint <= layer.inPoint)
        r.fail(path + ".outPoint", "the out point must come after the in point");
    if (l.contains("effects")) {
        const json& effects = l["effects"];
        if (!effects.is_array()) r.fail(path + ".effects", "expected a list of effects");
        for (size_t i = 0; i < effects.size(); ++i)
            ReadEffect(r, effects[i], path + ".effects[" + std::to_string(i) + "]", layer, comp);
    }
}

}  // namespace tv::standalone::docread
