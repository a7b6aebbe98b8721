#include "studio/GeometryJson.h"

namespace tv::studio {

nlohmann::ordered_json GeometryJson(const GeometryStore& s, const HostCameraMatrix& camera) {
    using Json = nlohmann::ordered_json;
    Json positions = Json::array(), colors = Json::array(), faces = Json::array();
    for (const Vec3f& p : s.positions) {
        positions.push_back(p.x);
        positions.push_back(p.y);
        positions.push_back(p.z);
    }
    for (const Color4f& c : s.colors) {
        colors.push_back(c.r);
        colors.push_back(c.g);
        colors.push_back(c.b);
        colors.push_back(c.a);
    }
    // A face's corners count from the first vertex of the source that made it.
    const int64_t vertices = int64_t(s.positions.size());
    for (const ObjectRange& r : s.ranges)
        for (uint32_t f = r.faceStart; f < r.faceStart + r.faceCount && f < s.faces.size(); ++f) {
            const Vec3i& v = s.faces[f];
            const int64_t a = v.x + int64_t(r.vertexStart), b = v.y + int64_t(r.vertexStart),
                          c = v.z + int64_t(r.vertexStart);
            if (a < 0 || b < 0 || c < 0 || a >= vertices || b >= vertices || c >= vertices)
                continue;
            faces.push_back(a);
            faces.push_back(b);
            faces.push_back(c);
        }
    Json matrix = Json::array();
    for (double m : camera.matrix) matrix.push_back(m);
    return {{"positions", positions},
            {"colors", colors},
            {"faces", faces},
            {"camera",
             {{"matrix", matrix},
              {"zoom", camera.imagePlaneDistance},
              {"width", camera.imagePlaneWidth},
              {"height", camera.imagePlaneHeight}}}};
}

}  // namespace tv::studio
