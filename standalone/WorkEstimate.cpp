#include "standalone/WorkEstimate.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <map>

namespace tv::standalone {

namespace {

// The largest value a parameter takes: its static value or any of its keys.
double Largest(const EmbeddedHost& host, const EffectInstance& e, const std::string& name) {
    const InstalledEffect* fx = host.installedEffect(e.key);
    if (!fx) return 0;
    for (const ParamSpec& spec : fx->params) {
        if (name != spec.name || size_t(spec.index) >= e.params.size()) continue;
        const ParamState& p = e.params[size_t(spec.index)];
        double v = ParamToNumbers(p.value)[0];
        for (const Key& k : p.keys) v = std::max(v, k.v[0]);
        return v;
    }
    return 0;
}

int32_t LayerParam(const EmbeddedHost& host, const EffectInstance& e, const std::string& name) {
    const InstalledEffect* fx = host.installedEffect(e.key);
    if (!fx) return 0;
    for (const ParamSpec& spec : fx->params)
        if (name == spec.name && size_t(spec.index) < e.params.size())
            return e.params[size_t(spec.index)].value.u.layerId;
    return 0;
}

struct Estimator {
    const EmbeddedHost& host;
    const Comp& comp;
    WorkEstimate out;
    std::map<const Layer*, double> memo;
    std::vector<const Layer*> stack;  // layers being counted, against loops

    const Layer* byId(int32_t id) const {
        for (const auto& l : comp.layers)
            if (int32_t(l->id) == id) return l.get();
        return nullptr;
    }

    std::string where(const Layer& layer, const EffectInstance& e) const {
        const InstalledEffect* fx = host.installedEffect(e.key);
        return fmt::format("comp \"{}\", layer \"{}\", \"{}\"", comp.name, layer.name,
                           fx ? fx->displayName : std::string("?"));
    }

    void add(const Layer& layer, const EffectInstance& e, const std::string& what, double count,
             double bytesEach) {
        out.items.push_back({where(layer, e), what, count, count * bytesEach});
    }

    void buffers();

    // The vertices the layer's sources make, and its renderers' pairs as items.
    double vertices(const Layer& layer) {
        if (const auto it = memo.find(&layer); it != memo.end()) return it->second;
        if (std::find(stack.begin(), stack.end(), &layer) != stack.end()) return 0;
        stack.push_back(&layer);
        double n = 0;
        for (const auto& ep : layer.effects) {
            const EffectInstance& e = *ep;
            if (!e.active) continue;
            const InstalledEffect* fx = host.installedEffect(e.key);
            if (!fx) continue;
            const std::string& m = fx->matchName;
            auto P = [&](const char* name) { return Largest(host, e, name); };
            double made = 0;
            std::string what;
            if (m == "KDL TAVRSRC Primitives") {
                if (P("Primitive Type") >= 2) {
                    made = P("Sphere Slices") * (P("Sphere Stacks") + 1) * P("Sphere Layers");
                    what = fmt::format(
                        "\"Sphere Slices\" {} x (\"Sphere Stacks\" {} + 1) x \"Sphere Layers\" {}",
                        P("Sphere Slices"), P("Sphere Stacks"), P("Sphere Layers"));
                } else {
                    made = P("X Points") * P("Y Points") * P("Z Points");
                    what = fmt::format("\"X Points\" {} x \"Y Points\" {} x \"Z Points\" {}",
                                       P("X Points"), P("Y Points"), P("Z Points"));
                }
            } else if (m == "KDL TAVRSRC Paths") {
                double paths = double(layer.masks.size());
                if (layer.kind == LayerKind::Text) paths += 4.0 * double(layer.text.size());
                made = paths * P("Points on Each Mask") * P("Total No. Copies");
                what =
                    fmt::format("{} paths x \"Points on Each Mask\" {} x \"Total No. Copies\" {}",
                                paths, P("Points on Each Mask"), P("Total No. Copies"));
            } else if (m == "KDL TAVRSRC Lights") {
                made = (double(comp.layers.size()) + P("Num of Vertices")) * P("Total No. Copies");
                what = fmt::format("(layers + \"Num of Vertices\" {}) x \"Total No. Copies\" {}",
                                   P("Num of Vertices"), P("Total No. Copies"));
            } else if (m == "KDL TAVRSRC OBJ") {
                // An OBJ vertex line takes at least 8 bytes ("v 0 0 0\n").
                const Layer* file = byId(LayerParam(host, e, "OBJ Layer"));
                double bytes = 0;
                if (file)
                    for (const std::string& f : file->objFiles) {
                        std::error_code ec;
                        const auto size = std::filesystem::file_size(f, ec);
                        if (!ec) bytes = std::max(bytes, double(size));
                    }
                made = bytes / 8;
                what = fmt::format("an OBJ file of {} bytes", bytes);
            } else if (m == "KDL TAVRSRC Instances") {
                const Layer* inst = byId(LayerParam(host, e, "Instance Layer"));
                const double each = inst ? vertices(*inst) : 0;
                made = each * P("Num of Instances");
                what = fmt::format("\"Num of Instances\" {} x {} vertices of \"{}\"",
                                   P("Num of Instances"), each, inst ? inst->name : "");
            } else if (m == "KDL TAVRSRC Tracer") {
                const Layer* from = byId(LayerParam(host, e, "From Mesh Layer"));
                made = from ? vertices(*from) : 0;
                what = "the vertices of the From Mesh Layer";
            }
            if (made > 0) {
                n += made;
                add(layer, e, what + fmt::format(" = {} vertices", made), made, kBytesPerVertex);
            }
        }
        // The searches keep up to K pairs per vertex.
        for (const auto& ep : layer.effects) {
            const EffectInstance& e = *ep;
            if (!e.active) continue;
            const InstalledEffect* fx = host.installedEffect(e.key);
            if (!fx) continue;
            const char* k = fx->matchName == "KDL TAVRREN Lines" ? "Max No. of Vertices to Search"
                            : fx->matchName == "KDL TAVRREN Triangles"
                                ? "Max No. of Triangles Per Vertex"
                            : fx->matchName == "KDL TAVRUS" ? "Max No. of Points to Search"
                                                            : nullptr;
            if (!k || n <= 0) continue;
            const double pairs = n * std::max(1.0, Largest(host, e, k));
            add(layer, e,
                fmt::format("{} vertices x \"{}\" {} = {} pairs", n, k, Largest(host, e, k), pairs),
                pairs, kBytesPerPair);
        }
        stack.pop_back();
        memo[&layer] = n;
        return n;
    }
};

// Buffers a frame holds besides its geometry. Pixels, in bytes of float RGBA: the comp's frame and
// the copy its layers are laid over, and (one layer at a time) the largest layer's source and its
// effects' output. Image footage adds its decoded pixels; audio layers their samples.
void Estimator::buffers() {
    constexpr double kPixelBytes = 16;
    constexpr double kAudioEffectRate = 16000;  // the sound effector's rate
    const double frame = double(comp.width) * double(comp.height);
    double largest = 0;
    const Layer* largestLayer = nullptr;
    for (const auto& l : comp.layers) {
        double bytes = 2 * double(l->width) * double(l->height) * kPixelBytes;
        if (l->kind == LayerKind::Image)
            bytes += double(l->imageWidth) * double(l->imageHeight) *
                     double(std::max(l->imageChannels, 4)) * 4;
        if (bytes > largest) largest = bytes, largestLayer = l.get();
        // Audio is read whole: its interleaved floats, their mono mix, and the mix resampled to
        // the effects' rate, held for the process.
        if (l->kind == LayerKind::Audio && l->audioRate > 0) {
            const double frames = double(l->audioFrames);
            const double resampled = frames / l->audioRate * kAudioEffectRate;
            const double audioBytes = 4 * (frames * (l->audioChannels + 1) + resampled);
            out.items.push_back({fmt::format("comp \"{}\", layer \"{}\"", comp.name, l->name),
                                 fmt::format("an audio file of {} sample frames in {} channels",
                                             frames, l->audioChannels),
                                 frames, audioBytes});
        }
    }
    const double count = 2 * frame;
    std::string what = fmt::format("the pixel buffers of the {}x{} frame", comp.width, comp.height);
    if (largestLayer)
        what += fmt::format(" and of its largest layer \"{}\" ({}x{}{})", largestLayer->name,
                            largestLayer->width, largestLayer->height,
                            largestLayer->kind == LayerKind::Image
                                ? fmt::format(", an image of {}x{}", largestLayer->imageWidth,
                                              largestLayer->imageHeight)
                                : std::string());
    out.items.push_back(
        {fmt::format("comp \"{}\"", comp.name), what, count, count * kPixelBytes + largest});
}

// Comp renders one render of `comp` expands to through its precomp layers, each comp counted
// once (memo) so that a wide fan-out costs its comps, not its expansion; `chain` names the path
// that expands the most.
struct PrecompCount {
    double renders = 1;
    std::string chain;
    int levels = 0;  // precomp levels below this comp at the deepest
    std::string deepChain;
};
PrecompCount PrecompRenders(const EmbeddedHost& host, const Comp& comp, int depth,
                            std::map<const Comp*, PrecompCount>& memo) {
    if (const auto it = memo.find(&comp); it != memo.end()) return it->second;
    PrecompCount out;
    if (depth > 64) return out;
    double deepest = 0;
    // What each layer draws from other comps: a precomp layer its comp once; a points renderer
    // whose sprite is a precomp layer that comp once per sampled time.
    struct Use {
        const Comp* inner;
        double times;
        std::string via;
    };
    std::vector<Use> uses;
    for (const auto& l : comp.layers) {
        if (l->kind == LayerKind::Precomp)
            if (const Comp* inner = host.compByUid(l->sourceComp)) uses.push_back({inner, 1, ""});
        for (const auto& ep : l->effects) {
            const InstalledEffect* fx = ep->active ? host.installedEffect(ep->key) : nullptr;
            if (!fx || (fx->matchName != "KDL TAVRREN Points" && fx->matchName != "KDL TAVRUS"))
                continue;
            const int32_t spriteId = LayerParam(host, *ep, "Textured Sprite");
            for (const auto& sprite : comp.layers) {
                if (int32_t(sprite->id) != spriteId || sprite->kind != LayerKind::Precomp) continue;
                const Comp* inner = host.compByUid(sprite->sourceComp);
                // "Current Time" samples one time; the random choices up to "Max No. of Samples".
                const bool sampled = fx->matchName == "KDL TAVRREN Points" &&
                                     Largest(host, *ep, "Time Sampling") > 1;
                const double times =
                    sampled ? std::max(1.0, Largest(host, *ep, "Max No. of Samples")) : 1;
                if (inner)
                    uses.push_back(
                        {inner, times,
                         fmt::format("sprites of \"{}\" ({} times) in ", sprite->name, times)});
            }
        }
    }
    for (const Use& use : uses) {
        const Comp* inner = use.inner;
        const PrecompCount sub = PrecompRenders(host, *inner, depth + 1, memo);
        out.renders += use.times * sub.renders;
        const std::string name = use.via + "\"" + inner->name + "\"";
        if (use.times * sub.renders > deepest) {
            deepest = use.times * sub.renders;
            out.chain = name + (sub.chain.empty() ? "" : " > " + sub.chain);
        }
        if (sub.levels + 1 > out.levels) {
            out.levels = sub.levels + 1;
            out.deepChain = name + (sub.deepChain.empty() ? "" : " > " + sub.deepChain);
        }
    }
    memo[&comp] = out;
    return out;
}

WorkEstimate EstimateOne(const EmbeddedHost& host, const Comp& comp,
                         std::map<const Comp*, WorkEstimate>& memo) {
    if (const auto it = memo.find(&comp); it != memo.end()) return it->second;
    memo[&comp] = WorkEstimate{};  // a loop of precomps counts once
    Estimator e{host, comp, {}, {}, {}};
    for (const auto& l : comp.layers) e.vertices(*l);
    e.buffers();
    // Layers render one after another: the frame's need is the largest layer's.
    std::map<std::string, double> perLayer;
    for (const WorkItem& item : e.out.items) {
        const std::string layer = item.where.substr(0, item.where.rfind(", \""));
        perLayer[layer] += item.bytes;
    }
    for (const auto& [layer, bytes] : perLayer) e.out.bytes = std::max(e.out.bytes, bytes);
    // Precomps render in full inside the frame, one at a time.
    for (const auto& l : comp.layers) {
        if (l->kind != LayerKind::Precomp) continue;
        const Comp* inner = host.compByUid(l->sourceComp);
        if (!inner || memo.count(inner)) continue;
        const WorkEstimate sub = EstimateOne(host, *inner, memo);
        e.out.bytes = std::max(e.out.bytes, sub.bytes);
        e.out.items.insert(e.out.items.end(), sub.items.begin(), sub.items.end());
    }
    memo[&comp] = e.out;
    return e.out;
}

}  // namespace

WorkEstimate EstimateFrameWork(const EmbeddedHost& host, const Comp& comp) {
    std::map<const Comp*, WorkEstimate> memo;
    WorkEstimate out = EstimateOne(host, comp, memo);
    std::map<const Comp*, PrecompCount> counts;
    const PrecompCount c = PrecompRenders(host, comp, 0, counts);
    out.precompRenders = c.renders - 1;
    out.precompWhere = c.chain;
    out.precompDepth = c.levels;
    out.precompDeepest = c.deepChain;
    return out;
}

void CheckWorkBudget(const EmbeddedHost& host, const Comp& comp, double limitBytes) {
    const WorkEstimate w = EstimateFrameWork(host, comp);
    if (w.precompRenders > kMaxPrecompRenders)
        throw WorkLimitError(fmt::format(
            "comp \"{}\": its precomps expand to {} comp renders per frame (through {}); at "
            "most {} are rendered: nest fewer precomp layers or sample fewer sprite times",
            comp.name, w.precompRenders, w.precompWhere, kMaxPrecompRenders));
    if (w.precompDepth > kMaxPrecompDepth)
        throw WorkLimitError(fmt::format(
            "comp \"{}\": its precomps nest {} levels deep (through {}); at most {} levels are "
            "rendered: nest fewer precomp layers",
            comp.name, w.precompDepth, w.precompDeepest, kMaxPrecompDepth));
    for (const WorkItem& item : w.items)
        if (item.bytes > limitBytes)
            throw WorkLimitError(fmt::format(
                "{}: {} need about {} for one frame, over the memory limit of {} (set with "
                "--memory-limit); lower the numbers",
                item.where, item.what, FormatBytes(item.bytes), FormatBytes(limitBytes)));
    if (w.bytes > limitBytes)
        throw WorkLimitError(fmt::format(
            "comp \"{}\": one frame needs about {}, over the memory limit of {} (set with "
            "--memory-limit)",
            comp.name, FormatBytes(w.bytes), FormatBytes(limitBytes)));
}

double DefaultMemoryLimit() {
    const long pages = sysconf(_SC_PHYS_PAGES), size = sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || size <= 0) return 4.0 * (1ull << 30);
    return 0.75 * double(pages) * double(size);
}

std::string FormatBytes(double bytes) {
    const char* units[] = {"bytes", "KB", "MB", "GB", "TB", "PB", "EB"};
    int u = 0;
    while (bytes >= 1024 && u < 6) bytes /= 1024, ++u;
    return u == 0 ? fmt::format("{:.0f} bytes", bytes) : fmt::format("{:.1f} {}", bytes, units[u]);
}

double ParseBytes(const std::string& text) {
    if (text.empty()) return -1;
    size_t used = 0;
    double v = 0;
    try {
        v = std::stod(text, &used);
    } catch (const std::exception&) {
        return -1;
    }
    if (!(v > 0) || !std::isfinite(v)) return -1;
    std::string unit = text.substr(used);
    for (char& c : unit) c = char(std::tolower(static_cast<unsigned char>(c)));
    if (unit.empty() || unit == "b") return v;
    if (unit == "k" || unit == "kb") return v * 1024;
    if (unit == "m" || unit == "mb") return v * 1024 * 1024;
    if (unit == "g" || unit == "gb") return v * 1024 * 1024 * 1024;
    if (unit == "t" || unit == "tb") return v * 1024.0 * 1024 * 1024 * 1024;
    return -1;
}

}  // namespace tv::standalone
