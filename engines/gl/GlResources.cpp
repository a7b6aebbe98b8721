#include "engines/gl/GlResources.h"

#include <GL/glew.h>
#include <EGL/egl.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "engines/gl/GlLog.h"

namespace tv::gl {

GlUniform GlUniform::Int(int32_t v) {
    GlUniform u;
    u.kind = UniformKind::Int;
    u.value.i[0] = v;
    return u;
}
GlUniform GlUniform::Uint(uint32_t v) {
    GlUniform u;
    u.kind = UniformKind::Uint;
    u.value.u = v;
    return u;
}
GlUniform GlUniform::Float(float v) {
    GlUniform u;
    u.kind = UniformKind::Float;
    u.value.f[0] = v;
    return u;
}
GlUniform GlUniform::Vec(const float* v, int32_t n) {
    GlUniform u;
    u.kind = UniformKind(int32_t(UniformKind::Float) + n - 1);
    std::memcpy(u.value.f, v, sizeof(float) * size_t(n));
    return u;
}
GlUniform GlUniform::Mat4(const float m[16]) {
    GlUniform u;
    u.kind = UniformKind::Mat4;
    std::memcpy(u.value.f, m, sizeof(float) * 16);
    return u;
}
GlUniform GlUniform::Texture(UniformKind kind, uint32_t id) {
    GlUniform u;
    u.kind = kind;
    u.value.texture = id;
    return u;
}

uint32_t CompileProgram(const std::vector<std::pair<uint32_t, std::string>>& stages,
                        const std::string& prefix, int32_t version) {
    const std::string versionLine = "#version " + std::to_string(version) + "\n";
    std::vector<GLuint> shaders;
    for (const auto& [stage, source] : stages) {
        if (stage != GL_VERTEX_SHADER && stage != GL_FRAGMENT_SHADER) continue;
        const GLuint s = glCreateShader(stage);
        const char* parts[3] = {versionLine.c_str(), prefix.c_str(), source.c_str()};
        glShaderSource(s, 3, parts, nullptr);
        glCompileShader(s);
        GLint ok = GL_FALSE;
        glGetShaderiv(s, GL_COMPILE_STATUS, &ok);
        if (!ok) {
            char log[256] = {};
            glGetShaderInfoLog(s, sizeof log, nullptr, log);
            Log(std::string("Compile Shader Failed - ") + log + "\n");
            glDeleteShader(s);
            continue;
        }
        shaders.push_back(s);
    }
    const GLuint program = glCreateProgram();
    for (GLuint s : shaders) glAttachShader(program, s);
    glLinkProgram(program);
    GLint linked = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    auto release = [&] {
        for (GLuint s : shaders) {
            glDetachShader(program, s);
            glDeleteShader(s);
        }
    };
    if (!linked) {
        char log[256] = {};
        glGetProgramInfoLog(program, sizeof log, nullptr, log);
        Log(std::string("Link Program Failed - ") + log + "\n");
        release();
        glDeleteProgram(program);
        return 0;
    }
    if (const GLenum e = glGetError()) Log("Prog Error: " + std::to_string(e) + "\n");
    release();
    return program;
}

GlTexture MakeTexture(int32_t width, int32_t height, uint32_t internalFormat) {
    GlTexture t;
    t.width = width, t.height = height, t.internalFormat = internalFormat;
    t.target = GL_TEXTURE_2D;
    GLenum format = GL_RGBA, type = GL_FLOAT, filter = GL_LINEAR;
    if (internalFormat == GL_DEPTH_COMPONENT32F || internalFormat == GL_DEPTH_COMPONENT24) {
        format = GL_DEPTH_COMPONENT, filter = GL_NEAREST;
    } else if (internalFormat == GL_DEPTH32F_STENCIL8) {
        // A depth-and-stencil format takes its own data format; no data is given anyway.
        format = GL_DEPTH_STENCIL, type = GL_FLOAT_32_UNSIGNED_INT_24_8_REV, filter = GL_NEAREST;
    } else if (internalFormat == GL_RGBA32I) {
        Log("Image Type is INT");
        format = GL_RGBA_INTEGER, type = GL_INT, filter = GL_NEAREST;
    }
    glGenTextures(1, &t.id);
    glBindTexture(GL_TEXTURE_2D, t.id);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GLint(filter));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GLint(filter));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    glTexImage2D(GL_TEXTURE_2D, 0, GLint(internalFormat), width, height, 0, format, type, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
    return t;
}

void DeleteTexture(GlTexture& t) {
    if (t.id && t.owned) glDeleteTextures(1, &t.id);
    t.id = 0;
}

const char* FramebufferStatusName(uint32_t status) {
    switch (status) {
        case 33305:
            return "GL_FRAMEBUFFER_UNDEFINED";
        case 36054:
            return "GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT";
        case 36055:
            return "GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT";
        case 36059:
            return "GL_FRAMEBUFFER_INCOMPLETE_DRAW_BUFFER";
        case 36060:
            return "GL_FRAMEBUFFER_INCOMPLETE_READ_BUFFER";
        case 36061:
            return "GL_FRAMEBUFFER_UNSUPPORTED";
        case 36182:
            return "GL_FRAMEBUFFER_INCOMPLETE_MULTISAMPLE";
        case 36264:
            return "GL_FRAMEBUFFER_INCOMPLETE_LAYER_TARGETS";
        default:
            return "";
    }
}

uint32_t MakeFramebuffer(const GlTexture* colour, const GlTexture* depth,
                         const std::vector<GlTexture>& extras) {
    GLuint fbo = 0;
    glGenFramebuffers(1, &fbo);
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    std::vector<GLenum> buffers;
    if (colour && colour->id) {
        glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, colour->id, 0);
        buffers.push_back(GL_COLOR_ATTACHMENT0);
    }
    if (depth && depth->id) {
        const GLenum at = depth->internalFormat == GL_DEPTH32F_STENCIL8
                              ? GL_DEPTH_STENCIL_ATTACHMENT
                              : GL_DEPTH_ATTACHMENT;
        glFramebufferTexture(GL_FRAMEBUFFER, at, depth->id, 0);
    }
    for (size_t i = 0; i < extras.size(); ++i) {
        const GLenum at = GLenum(GL_COLOR_ATTACHMENT1 + i);
        glFramebufferTexture(GL_FRAMEBUFFER, at, extras[i].id, 0);
        buffers.push_back(at);
    }
    if (buffers.empty())
        glDrawBuffer(GL_NONE);
    else
        glDrawBuffers(GLsizei(buffers.size()), buffers.data());
    const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    if (status != GL_FRAMEBUFFER_COMPLETE) {
        Log(std::string("Framebuffer Error - ") + FramebufferStatusName(status) +
            " Code: " + std::to_string(status));
        glDeleteFramebuffers(1, &fbo);
        return 0;
    }
    return fbo;
}

GlFramebuffer MakePlainFramebuffer(int32_t width, int32_t height, uint32_t colourFormat,
                                   uint32_t depthFormat) {
    GlFramebuffer f;
    if (colourFormat) f.colorTexture = MakeTexture(width, height, colourFormat);
    if (depthFormat) f.depthTexture = MakeTexture(width, height, depthFormat);
    f.id = MakeFramebuffer(colourFormat ? &f.colorTexture : nullptr,
                           depthFormat ? &f.depthTexture : nullptr, f.extras);
    return f;
}

GlFramebuffer MakeMultisampleFramebuffer(int32_t samples, int32_t width, int32_t height,
                                         uint32_t colourFormat, uint32_t depthFormat) {
    GlFramebuffer f;
    GLint maxSamples = 1;
    glGetIntegerv(GL_MAX_SAMPLES, &maxSamples);
    samples = std::min<int32_t>(samples, maxSamples);  // llvmpipe offers 4, GPUs 8 or more
    auto make = [&](uint32_t format) {
        GlTexture t;
        t.width = width, t.height = height, t.internalFormat = format;
        t.target = GL_TEXTURE_2D_MULTISAMPLE;
        glGenTextures(1, &t.id);
        glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, t.id);
        glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, samples, format, width, height, GL_TRUE);
        glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, 0);
        return t;
    };
    f.colorTexture = make(colourFormat);
    f.depthTexture = make(depthFormat);
    f.samples = samples;
    f.id = MakeFramebuffer(&f.colorTexture, &f.depthTexture, f.extras);
    return f;
}

void DeleteFramebuffer(GlFramebuffer& f) {
    if (f.id) glDeleteFramebuffers(1, &f.id);
    f.id = 0;
    DeleteTexture(f.colorTexture);
    DeleteTexture(f.depthTexture);
    for (GlTexture& t : f.extras) DeleteTexture(t);
    f.extras.clear();
}

void ClearFramebuffer(uint32_t fbo, const float rgba[4]) {
    if (!fbo) return;
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    glClearColor(rgba[0], rgba[1], rgba[2], rgba[3]);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glDepthMask(GL_TRUE);
    glStencilMask(255);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void ClearColorOnly(uint32_t fbo, const float rgba[4]) {
    if (!fbo) return;
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    glClearColor(rgba[0], rgba[1], rgba[2], rgba[3]);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glDepthMask(GL_FALSE);
    glClear(GL_COLOR_BUFFER_BIT);
    glDepthMask(GL_TRUE);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void ClearDepth(uint32_t fbo) {
    if (!fbo) return;
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    glDepthMask(GL_TRUE);
    glStencilMask(255);
    glClear(GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void BlitFramebuffer(uint32_t from, uint32_t to, int32_t width, int32_t height, bool colour,
                     bool depth) {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, from);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, to);
    if (colour)
        glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_LINEAR);
    if (depth)
        glBlitFramebuffer(0, 0, width, height, 0, 0, width, height,
                          GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT, GL_NEAREST);
    glFlush();
    if (const GLenum e = glGetError()) Log("Blit FBO error: " + std::to_string(e));
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void ReadPixels(uint32_t fbo, uint32_t attachment, int32_t x, int32_t y, int32_t width,
                int32_t height, int32_t rowLength, uint32_t format, uint32_t type, void* out) {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, fbo);
    glReadBuffer(attachment);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glPixelStorei(GL_PACK_ROW_LENGTH, rowLength);
    glReadPixels(x, y, width, height, format, type, out);
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
}

uint32_t CreateBuffer(const void* data, size_t bytes, uint32_t target, uint32_t usage) {
    GLuint id = 0;
    glGenBuffers(1, &id);
    glBindBuffer(target, id);
    glBufferData(target, GLsizeiptr(bytes), data, usage);
    glBindBuffer(target, 0);
    if (const GLenum e = glGetError()) Log(" Create Buffer Error: " + std::to_string(e));
    return id;
}

void DeleteBuffer(uint32_t id) {
    if (!id) return;
    glDeleteBuffers(1, &id);
    if (const GLenum e = glGetError()) Log(" Delete Buffer Error: " + std::to_string(e));
}

void DeleteBuffers(std::vector<uint32_t>& ids) {
    if (ids.empty()) return;
    glDeleteBuffers(GLsizei(ids.size()), ids.data());
    if (const GLenum e = glGetError()) Log("Buffer Delete Error:" + std::to_string(e));
    ids.clear();
}

namespace {

bool ProgramUsable(uint32_t program) {
    if (eglGetCurrentContext() == EGL_NO_CONTEXT) {
        Log("CTX Not Valid");
        return false;
    }
    GLint linked = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (!linked) {
        Log("Program Not Linked : " + std::to_string(program));
        return false;
    }
    return true;
}

// The active names of a program's uniforms or attributes, without array suffixes.
std::vector<std::pair<std::string, GLint>> ActiveNames(uint32_t program, bool uniforms) {
    GLint count = 0;
    glGetProgramiv(program, uniforms ? GL_ACTIVE_UNIFORMS : GL_ACTIVE_ATTRIBUTES, &count);
    std::vector<std::pair<std::string, GLint>> out;
    for (GLint i = 0; i < count; ++i) {
        char name[33] = {};
        GLint size = 0;
        GLenum type = 0;
        if (uniforms)
            glGetActiveUniform(program, GLuint(i), 32, nullptr, &size, &type, name);
        else
            glGetActiveAttrib(program, GLuint(i), 32, nullptr, &size, &type, name);
        std::string n(name);
        if (const auto bracket = n.find('['); bracket != std::string::npos) n.resize(bracket);
        const GLint location = uniforms ? glGetUniformLocation(program, n.c_str())
                                        : glGetAttribLocation(program, n.c_str());
        out.emplace_back(n, location);
    }
    return out;
}

GLenum TextureTarget(UniformKind kind) {
    switch (kind) {
        case UniformKind::Texture1D:
            return GL_TEXTURE_1D;
        case UniformKind::Texture2DArray:
            return GL_TEXTURE_2D_ARRAY;
        case UniformKind::Texture2DMultisample:
            return GL_TEXTURE_2D_MULTISAMPLE;
        case UniformKind::TextureBuffer:
            return GL_TEXTURE_BUFFER;
        default:
            return GL_TEXTURE_2D;
    }
}

}  // namespace

void SetUniforms(uint32_t program, const std::map<std::string, GlUniform>& uniforms) {
    if (!ProgramUsable(program)) return;
    const auto active = ActiveNames(program, true);
    if (active.empty()) {
        Log("No Active Uniforms for prog: " + std::to_string(program));
        return;
    }
    std::vector<std::string> missing;
    GLint unit = 0;
    for (const auto& [name, location] : active) {
        const auto it = uniforms.find(name);
        if (it == uniforms.end()) {
            missing.push_back(name);
            continue;
        }
        const GlUniform& u = it->second;
        const float* f = u.value.f;
        const int32_t* i = u.value.i;
        switch (u.kind) {
            case UniformKind::Uint:
                glUniform1ui(location, u.value.u);
                break;
            case UniformKind::Int:
                glUniform1i(location, i[0]);
                break;
            case UniformKind::IVec2:
                glUniform2iv(location, 1, i);
                break;
            case UniformKind::IVec3:
                glUniform3iv(location, 1, i);
                break;
            case UniformKind::IVec4:
                glUniform4iv(location, 1, i);
                break;
            case UniformKind::Float:
                glUniform1f(location, f[0]);
                break;
            case UniformKind::Vec2:
                glUniform2fv(location, 1, f);
                break;
            case UniformKind::Vec3:
                glUniform3fv(location, 1, f);
                break;
            case UniformKind::Vec4:
                glUniform4fv(location, 1, f);
                break;
            case UniformKind::Mat2:
                glUniformMatrix2fv(location, 1, GL_FALSE, f);
                break;
            case UniformKind::Mat3:
                glUniformMatrix3fv(location, 1, GL_FALSE, f);
                break;
            case UniformKind::Mat4:
                glUniformMatrix4fv(location, 1, GL_FALSE, f);
                break;
            default:
                glActiveTexture(GLenum(GL_TEXTURE0 + unit));
                glBindTexture(TextureTarget(u.kind), u.value.texture);
                glUniform1i(location, unit);
                ++unit;
                break;
        }
        if (const GLenum e = glGetError())
            Log("Uniform Error:" + std::to_string(e) + " Uni Index:" + std::to_string(location) +
                " Uni Value:" + name);
    }
    glActiveTexture(GL_TEXTURE0);
    if (!missing.empty()) {
        std::string line = "Num Uniforms: " + std::to_string(active.size()) +
                           "\nThe Following Uniforms are not set:";
        for (const std::string& n : missing) line += "\n" + n;
        Log(line);
    }
}

void SetAttributes(uint32_t vao, uint32_t program,
                   const std::map<std::string, GlAttribute>& attributes) {
    if (!ProgramUsable(program)) return;
    const auto active = ActiveNames(program, false);
    if (active.empty()) {
        Log("No Active Attribs shader:" + std::to_string(program));
        return;
    }
    glBindVertexArray(vao);
    std::vector<std::string> missing;
    for (const auto& [name, location] : active) {
        const auto it = attributes.find(name);
        if (it == attributes.end()) {
            missing.push_back(name);
            continue;
        }
        if (location < 0) continue;
        const GlAttribute& a = it->second;
        glBindBuffer(GL_ARRAY_BUFFER, a.buffer);
        glEnableVertexAttribArray(GLuint(location));
        const void* offset = reinterpret_cast<const void*>(a.offset);
        if (a.type == GL_FLOAT)
            glVertexAttribPointer(GLuint(location), a.components, a.type, GL_FALSE, a.stride,
                                  offset);
        else
            glVertexAttribIPointer(GLuint(location), a.components, a.type, a.stride, offset);
        if (a.divisor) glVertexAttribDivisor(GLuint(location), a.divisor);
        if (const GLenum e = glGetError())
            Log("Attrib Location:" + std::to_string(location) +
                " Buff:" + std::to_string(a.buffer) + " Vertex Attrib:" + std::to_string(e));
    }
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glBindVertexArray(0);
    if (!missing.empty()) {
        std::string line = "The Following Attributes are not set:";
        for (const std::string& n : missing) line += "\n" + n;
        Log(line);
    }
}

namespace {

void ApplyBlend(int32_t mode, float factor) {
    if (mode == kBlendOff) {
        glDisable(GL_BLEND);
        return;
    }
    glEnable(GL_BLEND);
    switch (mode) {
        case kBlendAlpha:
            glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE,
                                GL_ONE_MINUS_SRC_ALPHA);
            break;
        case kBlendAddAlpha:
            glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE, GL_ONE, GL_ONE);
            break;
        case kBlendAdd:
            glBlendFuncSeparate(GL_ONE, GL_ONE, GL_ONE, GL_ONE);
            break;
        case kBlendConstant:
            glBlendColor(factor, factor, factor, factor);
            glBlendFuncSeparate(GL_CONSTANT_COLOR, GL_ONE_MINUS_CONSTANT_COLOR, GL_CONSTANT_ALPHA,
                                GL_ONE_MINUS_CONSTANT_ALPHA);
            break;
        case kBlendZero:
            glBlendFuncSeparate(GL_ZERO, GL_ZERO, GL_ZERO, GL_ZERO);
            break;
        case kBlendKeep:
            glBlendFuncSeparate(GL_ZERO, GL_ONE, GL_ZERO, GL_ONE);
            break;
        case kBlendReplace:
            glBlendFuncSeparate(GL_ONE, GL_ZERO, GL_ONE, GL_ZERO);
            break;
        case kBlendTransmit:
            // Every channel is multiplied by 1 - alpha, so that a colour mask can give each
            // channel to a pass of its own.
            glBlendFuncSeparate(GL_ZERO, GL_ONE_MINUS_SRC_ALPHA, GL_ZERO, GL_ONE_MINUS_SRC_ALPHA);
            break;
        default:
            glDisable(GL_BLEND);
            break;
    }
}

void ApplyDepth(int32_t mode) {
    switch (mode) {
        case kDepthAlways:
            glEnable(GL_DEPTH_TEST), glDepthMask(GL_TRUE), glDepthFunc(GL_ALWAYS);
            break;
        case kDepthLess:
            glEnable(GL_DEPTH_TEST), glDepthMask(GL_TRUE), glDepthFunc(GL_LESS);
            break;
        case kDepthLessEqual:
            glEnable(GL_DEPTH_TEST), glDepthMask(GL_TRUE), glDepthFunc(GL_LEQUAL);
            break;
        case kDepthTestOnly:
            glEnable(GL_DEPTH_TEST), glDepthMask(GL_FALSE), glDepthFunc(GL_LEQUAL);
            break;
        default:
            glDisable(GL_DEPTH_TEST), glDepthMask(GL_FALSE);
            break;
    }
}

}  // namespace

void DrawToFramebuffer(uint32_t fbo, const int32_t viewport[4], const GlDrawable& drawable,
                       uint32_t program, int32_t blend, int32_t depth, int32_t sampleShading,
                       float blendFactor) {
    if (!fbo || !program) return;
    ApplyBlend(blend, blendFactor);
    ApplyDepth(depth);
    if (sampleShading == 0) glDisable(GL_SAMPLE_SHADING);
    if (sampleShading == 1) glEnable(GL_SAMPLE_SHADING), glMinSampleShading(1.0f);
    GLuint vao = 0;
    glGenVertexArrays(1, &vao);
    SetAttributes(vao, program, drawable.attributes);
    glUseProgram(program);
    SetUniforms(program, drawable.uniforms);
    if (drawable.cullMode) {
        glEnable(GL_CULL_FACE);
        glCullFace(drawable.cullMode);
        glFrontFace(drawable.clockwiseFront ? GL_CW : GL_CCW);
    }
    if (drawable.primitiveRestart) {
        glEnable(GL_PRIMITIVE_RESTART);
        glPrimitiveRestartIndex(0xFFFFFFFFu);
    }
    glViewport(viewport[0], viewport[1], viewport[2], viewport[3]);
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    glBindVertexArray(vao);
    if (drawable.indexBuffer) {
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, drawable.indexBuffer);
        if (drawable.instanceCount > 0)
            glDrawElementsInstanced(drawable.primitive, drawable.vertexCount, GL_UNSIGNED_INT,
                                    nullptr, drawable.instanceCount);
        else
            glDrawElements(drawable.primitive, drawable.vertexCount, GL_UNSIGNED_INT, nullptr);
    } else if (drawable.instanceCount > 0) {
        glDrawArraysInstanced(drawable.primitive, 0, drawable.vertexCount, drawable.instanceCount);
    } else {
        glDrawArrays(drawable.primitive, 0, drawable.vertexCount);
    }
    glBindVertexArray(0);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glUseProgram(0);
    if (drawable.primitiveRestart) glDisable(GL_PRIMITIVE_RESTART);
    if (drawable.cullMode) glDisable(GL_CULL_FACE), glFrontFace(GL_CCW);
    glDisable(GL_BLEND);
    glDisable(GL_DEPTH_TEST);
    glDepthMask(GL_TRUE);
    glDeleteVertexArrays(1, &vao);
}

}  // namespace tv::gl
