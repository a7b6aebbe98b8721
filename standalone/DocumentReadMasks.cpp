// A layer's masks in a document: name, colour, opacity, inverted and closed, and a path of
// vertices, still or keyed (every key with the same number of vertices).
#include "standalone/DocumentRead.h"

namespace tv::standalone::docread {

namespace {

// Mask vertices: [x, y] or {"point": [x, y], "in": [dx, dy], "out": [dx, dy]}.
std::vector<MaskVertex> ReadMaskPath(const Reader& r, const json& v, const std::string& path) {
    if (!v.is_array() || v.empty())
        r.fail(path,
               "expected a list of vertices: [x, y] or {\"point\": [x, y], \"in\": "
               "[dx, dy], \"out\": [dx, dy]}");
    std::vector<MaskVertex> out;
    auto pair = [&](const json& p, const std::string& ppath, double& a, double& b) {
        if (!p.is_array() || p.size() != 2)
            r.fail(ppath, "expected [x, y] in layer pixels, found " + Excerpt(p));
        a = r.number(p[0], ppath + "[0]", -1e6, 1e6);
        b = r.number(p[1], ppath + "[1]", -1e6, 1e6);
    };
    for (size_t i = 0; i < v.size(); ++i) {
        const std::string vpath = path + "[" + std::to_string(i) + "]";
        MaskVertex m;
        if (v[i].is_object()) {
            r.checkKeys(v[i], vpath, {"point", "in", "out"});
            if (!v[i].contains("point")) r.fail(vpath, "missing \"point\": the vertex [x, y]");
            pair(v[i]["point"], vpath + ".point", m.x, m.y);
            if (v[i].contains("in")) pair(v[i]["in"], vpath + ".in", m.inX, m.inY);
            if (v[i].contains("out")) pair(v[i]["out"], vpath + ".out", m.outX, m.outY);
        } else {
            pair(v[i], vpath, m.x, m.y);
        }
        out.push_back(m);
    }
    return out;
}

// One vertex outlines nothing: no segment to sample, fill or cap.
void RequireTwoVertices(const Reader& r, const std::vector<MaskVertex>& vertices,
                        const std::string& path) {
    if (vertices.size() < 2)
        r.fail(path, "a mask needs at least 2 vertices, found 1: one vertex outlines nothing");
}

}  // namespace

void ReadMasks(const Reader& r, const json& v, const std::string& path, Layer& layer) {
    if (!v.is_array()) r.fail(path, "expected a list of masks");
    for (size_t i = 0; i < v.size(); ++i) {
        const std::string mpath = path + "[" + std::to_string(i) + "]";
        const json& m = v[i];
        r.checkKeys(m, mpath, {"name", "color", "opacity", "inverted", "closed", "path"});
        Mask mask;
        mask.name = m.contains("name") ? r.text(m["name"], mpath + ".name")
                                       : "Mask " + std::to_string(i + 1);
        mask.opacity.value = {100, 0, 0, 0};
        if (m.contains("color")) r.color(m["color"], mpath + ".color", mask.color);
        if (m.contains("opacity"))
            ReadAnimated(r, m["opacity"], mpath + ".opacity", 1, 0, 100, mask.opacity);
        if (m.contains("inverted")) mask.inverted = r.boolean(m["inverted"], mpath + ".inverted");
        if (m.contains("closed")) mask.closed = r.boolean(m["closed"], mpath + ".closed");
        if (!m.contains("path")) r.fail(mpath, "missing \"path\": the mask's vertices");
        const json& p = m["path"];
        const std::string ppath = mpath + ".path";
        if (p.is_object()) {
            const json& list = KeyList(r, p, ppath);
            std::vector<Key> timing;
            for (size_t k = 0; k < list.size(); ++k) {
                const std::string kpath = ppath + ".keys[" + std::to_string(k) + "]";
                const Key key = ReadKeyTiming(r, list[k], kpath, timing);
                if (key.interp == Interp::Bezier)
                    r.fail(kpath + ".interp", "mask paths change \"linear\" or \"hold\"");
                timing.push_back(key);
                MaskPathKey pk{key.t, key.interp, ReadMaskPath(r, list[k]["v"], kpath + ".v")};
                if (!mask.keys.empty() && pk.vertices.size() != mask.keys[0].vertices.size())
                    r.fail(kpath + ".v",
                           "every key of a mask path needs the same number of "
                           "vertices (" +
                               std::to_string(mask.keys[0].vertices.size()) + ")");
                RequireTwoVertices(r, pk.vertices, kpath + ".v");
                mask.keys.push_back(std::move(pk));
            }
            mask.vertices = mask.keys.front().vertices;
        } else {
            mask.vertices = ReadMaskPath(r, p, ppath);
            RequireTwoVertices(r, mask.vertices, ppath);
        }
        layer.masks.push_back(std::move(mask));
    }
}

}  // namespace tv::standalone::docread
