// The unified engine's drawables: points and sprites as billboards, lines as capped strips,
// triangles and beams (tubes) as plain geometry, each in interleaved vertex buffers that every
// pass of the frame draws again.
#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "engines/TVGLEngine.h"
#include "engines/TubeBuilder.h"

namespace tv {

namespace {

using gl::GlAttribute;
using gl::GlDrawable;
using gl::GlUniform;
using gl::UniformKind;

// Interleaved vertex of the circle and sprite families.
struct BillboardVertex {
    float position[3];
    float color[4];
    float idx;
    float offset[2];
    float tex[3];
};
// Interleaved vertex of the plain family.
struct PlainVertex {
    float position[3];
    float color[4];
    float idx;
};

template <class Vertex>
void AddCommonAttributes(GlDrawable& d, uint32_t buffer) {
    const auto stride = int32_t(sizeof(Vertex));
    d.attributes["vertex"] = GlAttribute{buffer, 3, GL_FLOAT, stride, offsetof(Vertex, position)};
    d.attributes["color"] = GlAttribute{buffer, 4, GL_FLOAT, stride, offsetof(Vertex, color)};
    d.attributes["idx"] = GlAttribute{buffer, 1, GL_FLOAT, stride, offsetof(Vertex, idx)};
}

template <class Vertex>
GlDrawable MakeDrawable(const std::vector<Vertex>& vertices, const std::vector<uint32_t>& indices,
                        uint32_t primitive, int32_t family) {
    GlDrawable d;
    d.primitive = primitive;
    d.program = family;
    const uint32_t vb = gl::CreateBuffer(vertices.data(), vertices.size() * sizeof(Vertex),
                                         GL_ARRAY_BUFFER, GL_STATIC_DRAW);
    d.ownedBuffers.push_back(vb);
    AddCommonAttributes<Vertex>(d, vb);
    if (!indices.empty()) {
        // Buffers have no type of their own: the index list binds as elements at draw time.
        d.indexBuffer = gl::CreateBuffer(indices.data(), indices.size() * sizeof(uint32_t),
                                         GL_ARRAY_BUFFER, GL_STATIC_DRAW);
        d.ownedBuffers.push_back(d.indexBuffer);
        d.vertexCount = int32_t(indices.size());
        d.primitiveRestart = true;
    } else {
        d.vertexCount = int32_t(vertices.size());
    }
    return d;
}

void CopyColor(const float in[4], float out[4]) {
    std::memcpy(out, in, sizeof(float) * 4);
}

// Billboards (discs, beams, sprites): strips of corner vertices with their offsets from the
// centre and texture coordinates of `texComponents`, drawn by `family` with one texture.
GlDrawable MakeBillboards(const std::vector<BillboardVertex>& vertices,
                          const std::vector<uint32_t>& indices, int32_t family,
                          int32_t texComponents, const char* textureName,
                          const GlUniform& texture) {
    GlDrawable d = MakeDrawable(vertices, indices, GL_TRIANGLE_STRIP, family);
    const auto stride = int32_t(sizeof(BillboardVertex));
    const uint32_t vb = d.ownedBuffers.front();
    d.attributes["offset"] =
        GlAttribute{vb, 2, GL_FLOAT, stride, offsetof(BillboardVertex, offset)};
    d.attributes["texCoord"] =
        GlAttribute{vb, texComponents, GL_FLOAT, stride, offsetof(BillboardVertex, tex)};
    d.uniforms[textureName] = texture;
    d.facesCamera = true;
    return d;
}

}  // namespace

void TVGLEngine::viewOf(const double p[3], double out[3]) const {
    const double q[3] = {p[0] / normalize_[0], p[1] / normalize_[1], p[2] / normalize_[2]};
    for (int r = 0; r < 3; ++r)
        out[r] = modelView2_[r] * q[0] + modelView2_[4 + r] * q[1] + modelView2_[8 + r] * q[2] +
                 modelView2_[12 + r];
}

PF_Err TVGLEngine::drawPoints(std::vector<DrawPoint>& points) {
    if (points.empty() || !valid()) return PF_Err_NONE;
    gl::MakeCurrent(thread_->context);
    std::vector<BillboardVertex> vertices;
    std::vector<uint32_t> indices;
    vertices.reserve(points.size() * 4);
    indices.reserve(points.size() * 5);
    static constexpr float kCorner[4][2] = {{-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
    static constexpr float kTex[4][2] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
    for (const DrawPoint& p : points) {
        const float size = p.size;
        const float idx = primitiveIndex_++;
        const auto base = uint32_t(vertices.size());
        for (int k = 0; k < 4; ++k) {
            BillboardVertex v{};
            v.position[0] = float(p.x), v.position[1] = float(p.y), v.position[2] = float(p.z);
            CopyColor(p.color, v.color);
            v.idx = idx;
            v.offset[0] = kCorner[k][0] * size, v.offset[1] = kCorner[k][1] * size;
            v.tex[0] = kTex[k][0], v.tex[1] = kTex[k][1];
            vertices.push_back(v);
            indices.push_back(base + uint32_t(k));
        }
        indices.push_back(kRestartIndex);
    }
    drawables_.push_back(
        MakeBillboards(vertices, indices, gl::kFamilyCircle, 2, "circle_tex",
                       GlUniform::Texture(UniformKind::Texture2D, thread_->circleTexture)));
    return PF_Err_NONE;
}

PF_Err TVGLEngine::drawSprites(std::vector<DrawSprite>& sprites) {
    if (sprites.empty() || !valid() || !spriteTexture_) return PF_Err_NONE;
    gl::MakeCurrent(thread_->context);
    std::vector<BillboardVertex> vertices;
    std::vector<uint32_t> indices;
    vertices.reserve(sprites.size() * 4);
    indices.reserve(sprites.size() * 5);
    static constexpr float kCorner[4][2] = {{-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
    // Row 0 of a sprite frame is its top, which lies at +y in the passes' view before the flip.
    static constexpr float kTex[4][2] = {{0, 1}, {1, 1}, {0, 0}, {1, 0}};
    for (const DrawSprite& s : sprites) {
        const float w = s.width, h = s.height;
        float layer = 0;
        for (size_t i = 0; i < spriteTimes_.size(); ++i)
            if (spriteTimes_[i] == uint32_t(s.time)) {
                layer = float(i);
                break;
            }
        const float idx = primitiveIndex_++;
        const auto base = uint32_t(vertices.size());
        for (int k = 0; k < 4; ++k) {
            BillboardVertex v{};
            v.position[0] = float(s.x), v.position[1] = float(s.y), v.position[2] = float(s.z);
            CopyColor(s.color, v.color);
            v.idx = idx;
            v.offset[0] = kCorner[k][0] * w, v.offset[1] = kCorner[k][1] * h;
            v.tex[0] = kTex[k][0], v.tex[1] = kTex[k][1], v.tex[2] = layer;
            vertices.push_back(v);
            indices.push_back(base + uint32_t(k));
        }
        indices.push_back(kRestartIndex);
    }
    drawables_.push_back(
        MakeBillboards(vertices, indices, gl::kFamilySprite, 3, "sprite_tex",
                       GlUniform::Texture(UniformKind::Texture2DArray, spriteTexture_)));
    spriteTexture_ = 0;  // the next draw needs its own prepareSprites
    return PF_Err_NONE;
}

PF_Err TVGLEngine::drawLines(std::vector<DrawLine>& lines) {
    if (lines.empty() || !valid()) return PF_Err_NONE;
    gl::MakeCurrent(thread_->context);
    std::vector<BillboardVertex> vertices;
    std::vector<uint32_t> indices;
    vertices.reserve(lines.size() * 8);
    indices.reserve(lines.size() * 9);
    for (const DrawLine& l : lines) {
        const float sa = l.startSize, sb = l.endSize;
        // The direction on screen: view positions divided by their depth (perspective).
        double va[3], vb[3];
        viewOf(l.start, va);
        viewOf(l.end, vb);
        double ax = va[0], ay = va[1], bx = vb[0], by = vb[1];
        if (!orthographic_ && va[2] < 0 && vb[2] < 0) {
            ax /= -va[2], ay /= -va[2], bx /= -vb[2], by /= -vb[2];
        }
        double dx = bx - ax, dy = by - ay;
        const double len = std::hypot(dx, dy);
        if (len > 0) {
            dx /= len, dy /= len;
        } else {
            dx = 1, dy = 0;  // coincident ends still have a direction
        }
        const double nx = -dy, ny = dx;
        const float idx = primitiveIndex_++;
        const auto base = uint32_t(vertices.size());
        // Four pairs along the line: cap, start, end, cap; u runs 0, 0.5, 0.5, 1 so the caps
        // take the two halves of the circle texture.
        struct Pair {
            const double* at;
            const float* color;
            float size;
            double along;
            float u;
        };
        const Pair pairs[4] = {{l.start, l.startColor, sa, -1, 0.0f},
                               {l.start, l.startColor, sa, 0, 0.5f},
                               {l.end, l.endColor, sb, 0, 0.5f},
                               {l.end, l.endColor, sb, 1, 1.0f}};
        for (const Pair& p : pairs)
            for (int side : {1, -1}) {
                BillboardVertex v{};
                v.position[0] = float(p.at[0]), v.position[1] = float(p.at[1]);
                v.position[2] = float(p.at[2]);
                CopyColor(p.color, v.color);
                v.idx = idx;
                v.offset[0] = float((dx * p.along + nx * side) * p.size);
                v.offset[1] = float((dy * p.along + ny * side) * p.size);
                v.tex[0] = p.u, v.tex[1] = side > 0 ? 1.0f : 0.0f;
                vertices.push_back(v);
            }
        for (uint32_t k = 0; k < 8; ++k) indices.push_back(base + k);
        indices.push_back(kRestartIndex);
    }
    drawables_.push_back(
        MakeBillboards(vertices, indices, gl::kFamilyCircle, 2, "circle_tex",
                       GlUniform::Texture(UniformKind::Texture2D, thread_->circleTexture)));
    return PF_Err_NONE;
}

PF_Err TVGLEngine::drawTriangles(std::vector<DrawTriangle>& triangles) {
    if (triangles.empty() || !valid()) return PF_Err_NONE;
    gl::MakeCurrent(thread_->context);
    std::vector<PlainVertex> vertices;
    vertices.reserve(triangles.size() * 3);
    for (const DrawTriangle& t : triangles) {
        const float idx = primitiveIndex_++;
        for (int k = 0; k < 3; ++k) {
            PlainVertex v{};
            for (int c = 0; c < 3; ++c) v.position[c] = float(t.corners[k][c]);
            CopyColor(t.colors[k], v.color);
            v.idx = idx;
            vertices.push_back(v);
        }
    }
    drawables_.push_back(MakeDrawable(vertices, {}, GL_TRIANGLES, gl::kFamilyPlain));
    return PF_Err_NONE;
}

PF_Err TVGLEngine::drawBeams(std::vector<BeamPath>& beams) {
    if (beams.empty() || !valid()) return PF_Err_NONE;
    gl::MakeCurrent(thread_->context);
    TubeMesh mesh;
    std::vector<float> idxOfVertex;
    for (const BeamPath& path : beams) {
        if (path.size() < 2) continue;
        const std::vector<float>& radii = path.radii;
        const size_t before = mesh.positions.size() / 3;
        BuildTube(path, radii, mesh);
        idxOfVertex.resize(mesh.positions.size() / 3, primitiveIndex_);
        if (mesh.positions.size() / 3 > before) primitiveIndex_ += 1;
    }
    for (const std::string& w : mesh.warnings) diagnostic(w);
    if (mesh.indices.empty()) return PF_Err_NONE;
    std::vector<PlainVertex> vertices(mesh.positions.size() / 3);
    for (size_t i = 0; i < vertices.size(); ++i) {
        std::memcpy(vertices[i].position, &mesh.positions[3 * i], sizeof(float) * 3);
        std::memcpy(vertices[i].color, &mesh.colors[4 * i], sizeof(float) * 4);
        vertices[i].idx = idxOfVertex[i];
    }
    drawables_.push_back(MakeDrawable(vertices, mesh.indices, GL_TRIANGLE_STRIP, gl::kFamilyPlain));
    return PF_Err_NONE;
}

}  // namespace tv
