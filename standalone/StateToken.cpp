// The state token of a layer parameter: a hash of everything the chosen layer's pixels may
// depend on (its source, files, masks, transform, effects and their parameters, a precomp's
// comp), so that an effect's cache of those pixels is kept exactly while none of it changes.
#include <algorithm>
#include <filesystem>

#include "host/ParamHash.h"
#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

namespace {

constexpr int kMaxStateDepth = 32;  // precomps nested deeper are not followed

// A file by its name, size and time of change: a rewritten file changes the token.
void HashFile(ParamHasher& h, const std::string& path) {
    h.add(std::string_view(path));
    if (path.empty()) return;
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    h.add(uint64_t(ec ? 0 : size));
    const auto stamp = std::filesystem::last_write_time(path, ec);
    h.add(int64_t(ec ? 0 : stamp.time_since_epoch().count()));
}

void HashKeys(ParamHasher& h, const std::vector<Key>& keys) {
    h.add(uint64_t(keys.size()));
    for (const Key& k : keys) {
        h.add(k.t).add(int32_t(k.interp));
        for (double v : k.v) h.add(v);
        h.add(k.speedIn).add(k.influenceIn).add(k.speedOut).add(k.influenceOut);
    }
}

void HashAnimated(ParamHasher& h, const AnimatedValue& a) {
    for (double v : a.value) h.add(v);
    HashKeys(h, a.keys);
}

void HashVertices(ParamHasher& h, const std::vector<MaskVertex>& vertices) {
    h.add(uint64_t(vertices.size()));
    for (const MaskVertex& v : vertices)
        h.add(v.x).add(v.y).add(v.inX).add(v.inY).add(v.outX).add(v.outY);
}

void HashParam(EmbeddedHost& host, ParamHasher& h, const ParamState& p) {
    const PF_ParamDef& v = p.value;
    h.add(int32_t(v.param_type));
    switch (v.param_type) {
        case PF_Param_LAYER:
            h.add(v.u.layerId);
            break;
        case PF_Param_ARBITRARY_DATA: {
            const std::vector<uint8_t> bytes = host.handleBytes(v.u.arbData);
            h.bytes(bytes.data(), bytes.size());
            break;
        }
        case PF_Param_POINT_3D:
            for (double c : v.u.point3d) h.add(c);
            break;
        case PF_Param_PATH:
            h.add(v.u.pathId);
            break;
        default:
            for (double c : ParamToNumbers(v)) h.add(c);
            break;
    }
    HashKeys(h, p.keys);
}

void HashComp(EmbeddedHost& host, const Comp& comp, ParamHasher& h, int depth);

// Everything of a layer that its pixels, or the effects on it, may depend on.
void HashLayer(EmbeddedHost& host, const Layer& l, ParamHasher& h, int depth) {
    h.add(l.id).add(int32_t(l.kind)).add(int32_t(l.enabled)).add(int32_t(l.solo));
    h.add(int32_t(l.is3D));
    h.add(int32_t(l.motionBlur)).add(int32_t(l.collapse)).add(l.parent);
    h.add(l.inPoint).add(l.outPoint).add(l.startTime).add(l.width).add(l.height);
    for (float c : l.solidColor) h.add(c);
    HashFile(h, l.imagePath);
    HashFile(h, l.sourceFile);
    for (const std::string& f : l.objFiles) HashFile(h, f);
    h.add(std::string_view(l.objPattern)).add(l.objFirst).add(l.objLast);
    h.add(std::string_view(l.text)).add(std::string_view(l.fontFamily)).add(l.fontSize);
    for (float c : l.textColor) h.add(c);
    for (const Mask& m : l.masks) {
        h.add(std::string_view(m.name)).add(int32_t(m.inverted)).add(int32_t(m.closed));
        for (float c : m.color) h.add(c);
        HashAnimated(h, m.opacity);
        HashVertices(h, m.vertices);
        for (const MaskPathKey& k : m.keys) {
            h.add(k.t).add(int32_t(k.interp));
            HashVertices(h, k.vertices);
        }
    }
    const Transform2D& t = l.transform;
    h.add(int32_t(t.set));
    for (const AnimatedValue* a : {&t.anchor, &t.position, &t.scale, &t.rotation, &t.opacity,
                                   &t.orientation, &t.rotationX, &t.rotationY})
        HashAnimated(h, *a);
    const CameraData& c = l.camera;
    h.add(int32_t(c.oneNode)).add(c.filmSize).add(int32_t(c.orthographic));
    h.add(int32_t(c.depthOfField));
    for (const AnimatedValue* a :
         {&c.position, &c.pointOfInterest, &c.zoom, &c.focusDistance, &c.aperture, &c.blurLevel})
        HashAnimated(h, *a);
    const LightData& li = l.light;
    h.add(li.type);
    for (const AnimatedValue* a :
         {&li.position, &li.pointOfInterest, &li.coneAngle, &li.coneFeather, &li.intensity,
          &li.color, &li.shadowDarkness, &li.shadowDiffusion})
        HashAnimated(h, *a);
    h.add(uint64_t(l.effects.size()));
    for (const auto& e : l.effects) {
        h.add(e->key).add(int32_t(e->active));
        for (const ParamState& p : e->params) HashParam(host, h, p);
    }
    if (l.kind == LayerKind::Precomp && depth < kMaxStateDepth)
        if (const Comp* source = host.compByUid(l.sourceComp))
            HashComp(host, *source, h, depth + 1);
}

void HashComp(EmbeddedHost& host, const Comp& comp, ParamHasher& h, int depth) {
    h.add(comp.width).add(comp.height).add(comp.pixelAspect).add(comp.fpsNum).add(comp.fpsDen);
    h.add(comp.duration).add(comp.shutterAngle).add(comp.shutterPhase);
    h.add(int32_t(comp.motionBlur));
    for (float c : comp.background) h.add(c);
    h.add(comp.backgroundAlpha);
    h.add(uint64_t(comp.layers.size()));
    for (const auto& layer : comp.layers) HashLayer(host, *layer, h, depth);
}

}  // namespace

uint64_t EmbeddedHost::layerParamStateToken(PF_ProgPtr ref, int32_t index, const A_Time& time,
                                            int32_t timeStep) {
    const EffectInstance* instance = instanceByUid(ref);
    const Layer* own = layerOfInstance(ref);
    if (!instance || !own) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    if (index < 0 || size_t(index) >= instance->params.size())
        throw HostErrorCode{PF_Err_INVALID_INDEX};
    PF_ParamDef def;
    if (const PF_Err err = checkoutParam(ref, index, time.value, timeStep, time.scale, &def))
        throw HostErrorCode{err};
    if (def.param_type != PF_Param_LAYER) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    ParamHasher h(0x6c61796572ull);
    h.add(def.u.layerId);
    const Comp* comp = compOfLayer(*own);
    const Layer* chosen = def.u.layerId && comp
                              ? layerByUid(layerFromLayerId(comp->uid, uint32_t(def.u.layerId)))
                              : nullptr;
    if (!chosen) return h.value();  // no pixels, whatever the time
    // The span in comp time: moving the effect's layer in time moves what it sees.
    const A_Time compTime = convertLayerToCompTime(own->uid, time);
    h.add(compTime.value).add(compTime.scale).add(timeStep);
    std::lock_guard lock(paramsMutex_);
    HashLayer(*this, *chosen, h, 0);
    // Effects on the chosen layer may read the rest of its comp (cameras, lights, layers).
    const bool effects = std::any_of(chosen->effects.begin(), chosen->effects.end(),
                                     [](const auto& e) { return e->active; });
    if (effects) HashComp(*this, *comp, h, 0);
    return h.value();
}

}  // namespace tv::standalone
