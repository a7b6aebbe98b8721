// Links a document makes by name, resolved once every comp is read: the comp a precomp layer
// shows, each layer's parent, the layer a layer parameter names; and no cycles among them.
// Every step is linear in the number of layers and comps (maps by name, walks with their own
// stacks), so a document of a hundred thousand layers or a chain of as many precomps is checked
// in moments and cannot exhaust the stack.
#include <map>
#include <unordered_map>

#include "standalone/DocumentRead.h"
#include "standalone/Transform.h"
#include "standalone/WorkEstimate.h"

namespace tv::standalone::docread {

namespace {

// The layers of a comp by name, with how many share each name.
struct NamedLayers {
    std::unordered_map<std::string, std::pair<Layer*, size_t>> byName;
    std::vector<std::string> names;
};

NamedLayers LayersByName(const Comp& comp) {
    NamedLayers out;
    out.names.reserve(comp.layers.size());
    for (const auto& l : comp.layers) {
        out.names.push_back(l->name);
        auto& entry = out.byName[l->name];
        entry.first = l.get();
        ++entry.second;
    }
    return out;
}

// Named layers per comp, made when a comp is first asked for.
class LayerNames {
  public:
    const NamedLayers& of(const Comp& comp) {
        auto it = cache_.find(&comp);
        if (it == cache_.end()) it = cache_.emplace(&comp, LayersByName(comp)).first;
        return it->second;
    }

  private:
    std::unordered_map<const Comp*, NamedLayers> cache_;
};

}  // namespace

void ResolvePrecomps(const Reader& r, const std::vector<std::string>& compNames) {
    std::unordered_map<std::string, Comp*> byName;
    for (const auto& c : r.host.project().comps) byName.emplace(c->name, c.get());
    for (const PendingPrecomp& p : r.precomps) {
        const auto found = byName.find(p.comp);
        if (found == byName.end())
            r.fail(p.path, "no comp named \"" + p.comp + "\"; " + NearestNames(p.comp, compNames));
        const Comp* source = found->second;
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
    LayerNames names;
    for (const PendingParent& p : r.parents) {
        const NamedLayers& named = names.of(*p.comp);
        const auto it = named.byName.find(p.parent);
        // The layer itself does not count when it bears the name it asks for.
        const bool selfNamed = p.layer->name == p.parent;
        const size_t count = it == named.byName.end() ? 0 : it->second.second - (selfNamed ? 1 : 0);
        if (selfNamed && count == 0) r.fail(p.path, "a layer cannot be its own parent");
        if (count == 0) {
            std::vector<std::string> others;
            for (const auto& l : p.comp->layers)
                if (l.get() != p.layer) others.push_back(l->name);
            r.fail(p.path, "no layer named \"" + p.parent + "\" in this comp; " +
                               NearestNames(p.parent, others));
        }
        if (count > 1) r.fail(p.path, "several layers are named \"" + p.parent + "\"; rename one");
        const Layer* found = it->second.first;
        if (found == p.layer)
            for (const auto& l : p.comp->layers)
                if (l->name == p.parent && l.get() != p.layer) found = l.get();
        if (found->kind == LayerKind::Audio) r.fail(p.path, "an audio layer cannot be a parent");
        p.layer->parent = found->id;
    }
    // Each layer's chain of parents walked once: 0 not seen, 1 on the walk, 2 known to end.
    std::unordered_map<const Comp*, bool> checked;
    for (const PendingParent& p : r.parents) {
        if (checked[p.comp]) continue;
        checked[p.comp] = true;
        std::unordered_map<uint32_t, const Layer*> byId;
        for (const auto& l : p.comp->layers) byId.emplace(l->id, l.get());
        std::unordered_map<const Layer*, int> state;
        for (const auto& start : p.comp->layers) {
            std::vector<const Layer*> walk;
            const Layer* at = start.get();
            while (at && state[at] == 0) {
                state[at] = 1;
                walk.push_back(at);
                const auto parent = byId.find(at->parent);
                at = at->parent == 0 || parent == byId.end() ? nullptr : parent->second;
            }
            if (at && state[at] == 1) {
                // The walk came back to a layer on it: name the loop from there.
                std::string chain;
                size_t from = 0;
                while (walk[from] != at) ++from;
                for (size_t i = from; i < walk.size(); ++i)
                    chain += "\"" + walk[i]->name + "\" -> ";
                chain += "\"" + at->name + "\"";
                std::string where = p.path;
                for (const PendingParent& q : r.parents)
                    if (q.layer == at) where = q.path;
                r.fail(where, "parenting forms a cycle: " + chain);
            }
            for (const Layer* l : walk) state[l] = 2;
        }
    }
}

void CheckPrecompCycles(const Reader& r, const Project& project) {
    // Precomps deeper than this are refused here; rendering stops at kMaxPrecompDepth levels,
    // and the frame budget names that limit for chains between the two.
    constexpr size_t kMaxLoadedDepth = 2 * kMaxPrecompDepth;
    std::unordered_map<uint64_t, const Comp*> byUid;
    for (const auto& c : project.comps) byUid.emplace(c->uid, c.get());
    // Depth-first over "comp shows comp" edges with an explicit stack: 0 new, 1 on the path,
    // 2 done.
    std::unordered_map<const Comp*, int> state;
    struct Frame {
        const Comp* comp;
        size_t next;  // the next layer to look at
    };
    const auto trailText = [](const std::vector<Frame>& stack, const Comp* last) {
        std::string chain;
        for (const Frame& f : stack) chain += "\"" + f.comp->name + "\" -> ";
        return chain + "\"" + last->name + "\"";
    };
    for (const auto& root : project.comps) {
        if (state[root.get()] != 0) continue;
        std::vector<Frame> stack{{root.get(), 0}};
        state[root.get()] = 1;
        while (!stack.empty()) {
            Frame& top = stack.back();
            if (top.next == top.comp->layers.size()) {
                state[top.comp] = 2;
                stack.pop_back();
                continue;
            }
            const Layer& l = *top.comp->layers[top.next++];
            if (l.kind != LayerKind::Precomp) continue;
            const auto inner = byUid.find(l.sourceComp);
            if (inner == byUid.end()) continue;
            const Comp* other = inner->second;
            if (state[other] == 1)
                r.fail("$.comps", "precomps form a cycle: " + trailText(stack, other));
            if (state[other] == 2) continue;
            if (stack.size() >= kMaxLoadedDepth)
                r.fail("$.comps", "precomps nest more than " + std::to_string(kMaxLoadedDepth) +
                                      " levels deep (" + trailText(stack, other) + "); at most " +
                                      std::to_string(kMaxPrecompDepth) +
                                      " levels are rendered: nest fewer precomp layers");
            state[other] = 1;
            stack.push_back({other, 0});
        }
    }
}

void ResolveLayerParams(const Reader& r) {
    LayerNames names;
    for (const PendingLayerParam& p : r.layerParams) {
        const NamedLayers& named = names.of(*p.comp);
        const auto it = named.byName.find(p.layerName);
        if (it == named.byName.end())
            r.fail(p.path, "no layer named \"" + p.layerName + "\" in this comp; " +
                               NearestNames(p.layerName, named.names));
        p.instance->params[size_t(p.index)].value.u.layerId = int32_t(it->second.first->id);
    }
}

}  // namespace tv::standalone::docread
