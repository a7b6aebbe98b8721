// Thin wrappers over GL objects: textures, framebuffers, buffers, uniforms, attributes and draws.
// Every wrapper reports a fault and goes on with id 0; nothing here throws.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tv::gl {

struct GlTexture {
    int32_t width = 0, height = 0, depth = 1;
    uint32_t internalFormat = 0;
    uint32_t id = 0;
    uint32_t target = 0;
    bool owned = true;
};

struct GlFramebuffer {
    uint32_t id = 0;
    GlTexture depthTexture;
    GlTexture colorTexture;
    std::vector<GlTexture> extras;  // colour attachments 1 on
    int32_t samples = 1;            // per pixel; more than 1 for a multisampled target
};

enum class UniformKind : int32_t {
    Uint = 0,
    Int = 1,
    IVec2 = 2,
    IVec3 = 3,
    IVec4 = 4,
    Float = 5,
    Vec2 = 6,
    Vec3 = 7,
    Vec4 = 8,
    Mat2 = 9,
    Mat3 = 10,
    Mat4 = 11,
    Texture1D = 12,
    Texture2D = 13,
    Texture2DArray = 14,
    Texture2DMultisample = 15,
    TextureBuffer = 16,
};

struct GlUniform {
    UniformKind kind = UniformKind::Float;
    union {
        uint32_t u;
        int32_t i[4];
        float f[16];
        uint32_t texture;
    } value{};

    static GlUniform Int(int32_t v);
    static GlUniform Uint(uint32_t v);
    static GlUniform Float(float v);
    static GlUniform Vec(const float* v, int32_t n);
    static GlUniform Mat4(const float m[16]);
    static GlUniform Texture(UniformKind kind, uint32_t id);
};

struct GlAttribute {
    uint32_t buffer = 0;
    int32_t components = 0;
    uint32_t type = 0;  // GL_FLOAT, or an integer type for the integer form
    int32_t stride = 0;
    uintptr_t offset = 0;
    uint32_t divisor = 0;
};

// Family markers a drawable names instead of a program.
enum ProgramFamily : int32_t {
    kFamilyCircle = -1,
    kFamilySprite = -2,
    kFamilyPlain = -3,
    kFamilyFlat = -4,
};

struct GlDrawable {
    uint32_t primitive = 0;
    int32_t vertexCount = 0;
    int32_t instanceCount = 0;
    uint32_t indexBuffer = 0;  // 0: glDrawArrays
    bool primitiveRestart = false;
    int32_t program = 0;    // a program id, or a family marker
    uint32_t cullMode = 0;  // 0: the engine's
    // Billboards (discs, line strips, sprites) always face the camera: no cull mode applies.
    bool facesCamera = false;
    // Front faces wind clockwise in the target, as in a view whose y is flipped.
    bool clockwiseFront = false;
    std::map<std::string, GlUniform> uniforms;
    std::map<std::string, GlAttribute> attributes;
    std::vector<uint32_t> ownedBuffers;
};

// Blend and depth modes of the draw tables.
enum BlendMode : int32_t {
    kBlendOff = 0,
    kBlendAlpha = 1,
    kBlendAddAlpha = 2,
    kBlendAdd = 3,
    kBlendConstant = 4,
    kBlendZero = 5,
    kBlendKeep = 6,
    kBlendReplace = 7,
    kBlendTransmit = 8,
};
enum DepthMode : int32_t {
    kDepthOff = 0,
    kDepthAlways = 1,
    kDepthLess = 2,
    kDepthLessEqual = 3,
    kDepthTestOnly = 4,
};

// Whether a driver of `glVersion` (major * 10 + minor) can serve the GPU path at all (3.2), and
// whether it compiles a multisample row (4.1, for gl_SampleMask in the stochastic test).
inline bool HasGpuPath(int32_t glVersion) {
    return glVersion >= 32;
}
inline bool CompilesMultisampleRows(int32_t glVersion) {
    return glVersion >= 41;
}

uint32_t CompileProgram(const std::vector<std::pair<uint32_t, std::string>>& stages,
                        const std::string& prefix, int32_t version);

GlTexture MakeTexture(int32_t width, int32_t height, uint32_t internalFormat);
void DeleteTexture(GlTexture& t);
uint32_t MakeFramebuffer(const GlTexture* colour, const GlTexture* depth,
                         const std::vector<GlTexture>& extras);
GlFramebuffer MakePlainFramebuffer(int32_t width, int32_t height, uint32_t colourFormat,
                                   uint32_t depthFormat);
GlFramebuffer MakeMultisampleFramebuffer(int32_t samples, int32_t width, int32_t height,
                                         uint32_t colourFormat, uint32_t depthFormat);
void DeleteFramebuffer(GlFramebuffer& f);
// The name printed for a framebuffer status.
const char* FramebufferStatusName(uint32_t status);

void ClearFramebuffer(uint32_t fbo, const float rgba[4]);
void ClearColorOnly(uint32_t fbo, const float rgba[4]);
void ClearDepth(uint32_t fbo);
void BlitFramebuffer(uint32_t from, uint32_t to, int32_t width, int32_t height, bool colour,
                     bool depth);
void ReadPixels(uint32_t fbo, uint32_t attachment, int32_t x, int32_t y, int32_t width,
                int32_t height, int32_t rowLength, uint32_t format, uint32_t type, void* out);

uint32_t CreateBuffer(const void* data, size_t bytes, uint32_t target, uint32_t usage);
void DeleteBuffer(uint32_t id);
void DeleteBuffers(std::vector<uint32_t>& ids);

void SetAttributes(uint32_t vao, uint32_t program,
                   const std::map<std::string, GlAttribute>& attributes);
void SetUniforms(uint32_t program, const std::map<std::string, GlUniform>& uniforms);
// Draws through `program` (a resolved id); blendFactor serves blend mode 4. sampleShading 0
// turns it off, 1 on, anything else leaves it.
void DrawToFramebuffer(uint32_t fbo, const int32_t viewport[4], const GlDrawable& drawable,
                       uint32_t program, int32_t blend, int32_t depth, int32_t sampleShading,
                       float blendFactor = 1.0f);

}  // namespace tv::gl
