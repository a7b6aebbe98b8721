// Links a document makes by name, resolved once every comp is read: the comp a precomp layer
// shows, each layer's parent, the layer a layer parameter names; and no cycles among them.
#include <functional>
#include <map>

#include "standalone/DocumentRead.h"
#include "standalone/Transform.h"

namespace tv::standalone::docread {

void ResolvePrecomps(const Reader& r, const std::vector<std::string>& compNames) {
    for (const PendingPrecomp& p : r.precomps) {
        Comp* source = r.host.compByName(p.comp);
        if (!source)
            r.fail(p.path, "no comp named \"" + p.comp + "\"; " + NearestNames(p.comp, compNames));
        p.layer->sourceComp = source->uid;
        // A precomp layer is the size of its comp; an anchor left at the old centre moves to
        // the new one.
        Layer& l = *p.layer;
        Transform2D& x = l.transform;
        const bool centred = x.anchor.keys.empty() && x.anchor.value[0] == l.width / 2.0 &&
                             x.anchor.value[1] == l.height / 2.0;
        l.width = source->width;
        l.height = source->height;
        if (centred) x.anchor.value = {l.width / 2.0, l.height / 2.0, 0, 0};
    }
}

// Parents by name, in the same comp; a layer cannot be its own ancestor.
void ResolveParents(const Reader& r) {
    for (const PendingParent& p : r.parents) {
        std::vector<std::string> names;
        const Layer* found = nullptr;
        size_t count = 0;
        for (const auto& l : p.comp->layers) {
            if (l.get() != p.layer) names.push_back(l->name);
            if (l->name == p.parent && l.get() != p.layer) found = l.get(), ++count;
        }
        if (p.parent == p.layer->name && !found) r.fail(p.path, "a layer cannot be its own parent");
        if (!found)
            r.fail(p.path, "no layer named \"" + p.parent + "\" in this comp; " +
                               NearestNames(p.parent, names));
        if (count > 1) r.fail(p.path, "several layers are named \"" + p.parent + "\"; rename one");
        if (found->kind == LayerKind::Audio) r.fail(p.path, "an audio layer cannot be a parent");
        p.layer->parent = found->id;
    }
    for (const PendingParent& p : r.parents) {
        std::string chain = "\"" + p.layer->name + "\"";
        const Layer* at = p.layer;
        for (size_t depth = 0; at->parent != 0; ++depth) {
            at = LayerById(*p.comp, at->parent);
            chain += " -> \"" + at->name + "\"";
            if (at == p.layer || depth > p.comp->layers.size())
                r.fail(p.path, "parenting forms a cycle: " + chain);
        }
    }
}

void CheckPrecompCycles(const Reader& r, const Project& project) {
    // Depth-first walk over "comp shows comp" edges.
    std::map<uint64_t, int> state;  // 0 new, 1 on the path, 2 done
    std::function<void(const Comp&, std::vector<std::string>&)> visit =
        [&](const Comp& c, std::vector<std::string>& trail) {
            state[c.uid] = 1;
            trail.push_back(c.name);
            for (const auto& l : c.layers) {
                if (l->kind != LayerKind::Precomp) continue;
                for (const auto& other : project.comps) {
                    if (other->uid != l->sourceComp) continue;
                    if (state[other->uid] == 1) {
                        std::string chain;
                        for (const auto& t : trail) chain += "\"" + t + "\" -> ";
                        r.fail("$.comps",
                               "precomps form a cycle: " + chain + "\"" + other->name + "\"");
                    }
                    if (state[other->uid] == 0) visit(*other, trail);
                }
            }
            trail.pop_back();
            state[c.uid] = 2;
        };
    for (const auto& c : project.comps)
        if (state[c->uid] == 0) {
            std::vector<std::string> trail;
            visit(*c, trail);
        }
}

void ResolveLayerParams(const Reader& r) {
    for (const PendingLayerParam& p : r.layerParams) {
        std::vector<std::string> layerNames;
        const Layer* found = nullptr;
        for (const auto& l : p.comp->layers) {
            layerNames.push_back(l->name);
            if (l->name == p.layerName) found = l.get();
        }
        if (!found)
            r.fail(p.path, "no layer named \"" + p.layerName + "\" in this comp; " +
                               NearestNames(p.layerName, layerNames));
        p.instance->params[size_t(p.index)].value.u.layerId = int32_t(found->id);
    }
}

}  // namespace tv::standalone::docread
