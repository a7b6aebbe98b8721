// Caps of the path source through the GLU tessellator, in a file of its own because its header
// brings in the GL declarations. The combine callback fires exactly when the tessellation would
// need a vertex that is not one of the outline's points (outlines that cross): that is the
// vertex-count check, and such outlines get no caps.
#include <GL/glu.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "sources/PathGenerate.h"

namespace tv {

namespace {

struct TessState {
    std::vector<int32_t> corners;  // input point indices, three per triangle
    bool newVertexNeeded = false;
    bool failed = false;
};

#ifndef CALLBACK
#define CALLBACK
#endif

void CALLBACK OnBegin(GLenum, void*) {}
void CALLBACK OnEdgeFlag(GLboolean, void*) {}  // its presence makes the output plain triangles
void CALLBACK OnVertex(void* vertex, void* data) {
    static_cast<TessState*>(data)->corners.push_back(
        static_cast<int32_t>(reinterpret_cast<intptr_t>(vertex)));
}
void CALLBACK OnEnd(void*) {}
void CALLBACK OnCombine(GLdouble[3], void* neighbours[4], GLfloat[4], void** out, void* data) {
    static_cast<TessState*>(data)->newVertexNeeded = true;
    *out = neighbours[0];  // any existing point keeps the tessellator going; the result is dropped
}
void CALLBACK OnError(GLenum, void* data) {
    static_cast<TessState*>(data)->failed = true;
}

using Callback = void(CALLBACK*)();

}  // namespace

void PathCaps(const PathSettings& s, PathObject& object) {
    if (object.contours.empty() || object.capOutline.empty()) return;
    // Where each contour's points start in the outline, which holds every contour's points.
    std::vector<uint32_t> starts;
    uint32_t offset = 0;
    for (const PathContour& c : object.contours) {
        starts.push_back(offset);
        offset += c.pointsPerCopy;
    }
    std::vector<GLdouble> coords;
    coords.reserve(object.capOutline.size() / 2 * 3);
    for (size_t i = 0; i + 1 < object.capOutline.size(); i += 2) {
        coords.push_back(GLdouble(float(object.capOutline[i])));
        coords.push_back(GLdouble(float(object.capOutline[i + 1])));
        coords.push_back(0);
    }
    size_t added = 0;
    for (const PathContour& c : object.contours)
        if (c.isClosed) added += c.pointsPerCopy;
    if (added < 3) return;

    TessState state;
    GLUtesselator* tess = gluNewTess();
    if (!tess) {
        object.messages.push_back("Tessellation Failed");
        return;
    }
    gluTessCallback(tess, GLU_TESS_BEGIN_DATA, reinterpret_cast<Callback>(&OnBegin));
    gluTessCallback(tess, GLU_TESS_EDGE_FLAG_DATA, reinterpret_cast<Callback>(&OnEdgeFlag));
    gluTessCallback(tess, GLU_TESS_VERTEX_DATA, reinterpret_cast<Callback>(&OnVertex));
    gluTessCallback(tess, GLU_TESS_END_DATA, reinterpret_cast<Callback>(&OnEnd));
    gluTessCallback(tess, GLU_TESS_COMBINE_DATA, reinterpret_cast<Callback>(&OnCombine));
    gluTessCallback(tess, GLU_TESS_ERROR_DATA, reinterpret_cast<Callback>(&OnError));
    gluTessProperty(tess, GLU_TESS_WINDING_RULE, GLU_TESS_WINDING_ODD);
    gluTessBeginPolygon(tess, &state);
    for (size_t k = 0; k < object.contours.size(); ++k) {
        const PathContour& c = object.contours[k];
        if (!c.isClosed) continue;
        gluTessBeginContour(tess);
        for (uint32_t i = 0; i < c.pointsPerCopy; ++i) {
            const uint32_t index = starts[k] + i;
            gluTessVertex(tess, &coords[size_t(index) * 3],
                          reinterpret_cast<void*>(static_cast<intptr_t>(index)));
        }
        gluTessEndContour(tess);
    }
    gluTessEndPolygon(tess);
    gluDeleteTess(tess);

    if (state.failed) {
        object.messages.push_back("Tessellation Failed");
        return;
    }
    if (state.newVertexNeeded) {
        object.messages.push_back("Vertex count check failed");
        return;
    }
    const int32_t copies = std::max(s.copies, 1);
    std::vector<Vec3i> front;
    for (size_t t = 0; t + 2 < state.corners.size(); t += 3) {
        int32_t f[3];
        bool ok = true;
        for (int j = 0; j < 3; ++j) {
            const auto point = static_cast<uint32_t>(state.corners[t + size_t(j)]);
            const size_t k =
                size_t(std::upper_bound(starts.begin(), starts.end(), point) - starts.begin()) - 1;
            if (k >= object.contours.size()) {
                ok = false;
                break;
            }
            f[j] = int32_t(object.contours[k].vertexBase + (point - starts[k]));
        }
        if (ok) front.push_back({f[0], f[1], f[2]});
    }
    auto& faces = object.v.faces;
    faces.insert(faces.end(), front.begin(), front.end());
    if (copies > 1) {
        for (const Vec3i& f : front) {
            auto back = [&](int32_t i) {
                // The back copy of a point of contour k sits pointsPerCopy * (copies - 1) on.
                const size_t k =
                    size_t(std::upper_bound(
                               object.contours.begin(), object.contours.end(), uint32_t(i),
                               [](uint32_t v, const PathContour& c) { return v < c.vertexBase; }) -
                           object.contours.begin()) -
                    1;
                return i + int32_t(object.contours[k].pointsPerCopy) * (copies - 1);
            };
            faces.push_back({back(f.x), back(f.y), back(f.z)});
        }
    }
}

}  // namespace tv
