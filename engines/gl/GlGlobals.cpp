#include "engines/gl/GlGlobals.h"

#include <GL/glew.h>

#include <atomic>
#include <cstdlib>
#include <vector>

#include "engines/gl/GlLog.h"
#include "engines/gl/TextureData.h"
#include "engines/shaders/Shaders.h"

namespace tv::gl {

namespace {

using Stages = std::vector<std::pair<uint32_t, std::string>>;

std::atomic<int32_t> gThreadContexts{0};
std::atomic<bool> gGpuAllowed{true};

// The vertex source of a family: its switches, then the shared body.
std::string FamilyVertex(int32_t familyIndex) {
    // Circle, Sprite, Plain, Flat
    static const char* const switches[4] = {
        "#define FAMILY_OFFSET 1\n#define FAMILY_TEXTURED 1\n#define TEX_TYPE vec2\n"
        "#define FAMILY_VIEW_SPACE 0\n",
        "#define FAMILY_OFFSET 1\n#define FAMILY_TEXTURED 1\n#define TEX_TYPE vec3\n"
        "#define FAMILY_VIEW_SPACE 0\n",
        "#define FAMILY_OFFSET 0\n#define FAMILY_TEXTURED 0\n#define FAMILY_VIEW_SPACE 0\n",
        "#define FAMILY_OFFSET 0\n#define FAMILY_TEXTURED 0\n#define FAMILY_VIEW_SPACE 1\n",
    };
    return std::string(switches[familyIndex]) + shaders::family_vert;
}

const char* FamilyFragment(int32_t familyIndex) {
    switch (familyIndex) {
        case 0:
            return shaders::circle_frag;
        case 1:
            return shaders::sprite_frag;
        default:
            return shaders::plain_frag;
    }
}

uint32_t FrameProgram(const char* fragment, const std::string& defines) {
    const Stages stages = {{GL_VERTEX_SHADER, shaders::fullscreen_vert},
                           {GL_FRAGMENT_SHADER, fragment}};
    return CompileProgram(stages, defines, 150);
}

std::string FrameDefines(int depthCull, int oneMinusAlpha, int multisample, int alphaCorrection) {
    return "#define DEPTH_CULL_MODE " + std::to_string(depthCull) +
           " \n#define ONE_MINUS_ALPHA_MODE " + std::to_string(oneMinusAlpha) +
           " \n#define MULTISAMPLE " + std::to_string(multisample) +
           " \n#define ALPHA_CORRECTION " + std::to_string(alphaCorrection) + " \n";
}

void CompilePrograms(GlGlobals& g) {
    for (int32_t family = 0; family < 4; ++family)
        for (int32_t row = 0; row < kRowCount; ++row) {
            const bool multisample = row == kRowMsaaStochastic || row == kRowOpaqueMsaaStochastic;
            if (multisample && !CompilesMultisampleRows(g.glVersion)) continue;
            const Stages stages = {{GL_VERTEX_SHADER, FamilyVertex(family)},
                                   {GL_FRAGMENT_SHADER, FamilyFragment(family)},
                                   {GL_FRAGMENT_SHADER, shaders::stochastic_frag}};
            g.families[family][row] =
                CompileProgram(stages, RowPrefix(FamilyRow(row)), multisample ? 410 : 150);
        }
    g.framePlain = FrameProgram(shaders::frame_frag, FrameDefines(0, 0, 0, 0));
    g.frameDepthCull = FrameProgram(shaders::frame_frag, FrameDefines(1, 0, 0, 0));
    g.transmittanceSum = FrameProgram(shaders::transmittance_frag, "");
    g.frameMsaaAlphaCorrection = FrameProgram(shaders::frame_frag, FrameDefines(0, 0, 1, 1));
    g.frameOneMinusAlphaMsaa = FrameProgram(shaders::frame_frag, FrameDefines(0, 1, 1, 0));
    g.stochasticComposite = FrameProgram(shaders::composite_frag, "#define MULTISAMPLE 0 \n");
    g.layerCopy = FrameProgram(shaders::layercopy_frag, "");
    g.depthMap = FrameProgram(shaders::depthmap_frag, "");
}

void DeletePrograms(GlGlobals& g) {
    for (auto& family : g.families)
        for (uint32_t& p : family)
            if (p) glDeleteProgram(p), p = 0;
    for (uint32_t* p :
         {&g.framePlain, &g.frameDepthCull, &g.transmittanceSum, &g.frameMsaaAlphaCorrection,
          &g.frameOneMinusAlphaMsaa, &g.stochasticComposite, &g.layerCopy, &g.depthMap})
        if (*p) glDeleteProgram(*p), *p = 0;
}

// Set when the process begins to exit: worker threads that end then must not call into the
// driver, which the exit may be unloading on another thread.
std::atomic<bool> gExiting{false};
void NoteExit() {
    gExiting = true;
}

struct ThreadSlot {
    ThreadRenderState state;
    ~ThreadSlot() {
        // Thread exit frees what the thread made, unless the whole process is going.
        if (state.context && !gExiting) {
            Log("TLS GL Context Deleted");
            DestroyContext(state.context);
            state.context = nullptr;
        }
    }
};
thread_local ThreadSlot tSlot;

}  // namespace

std::string RowPrefix(FamilyRow row) {
    const int opaque = row == kRowOpaqueStochastic || row == kRowOpaqueMsaaStochastic;
    const int multisample = row == kRowMsaaStochastic || row == kRowOpaqueMsaaStochastic;
    const int stochastic = row != kRowPlain;
    return "#define OPAQUE " + std::to_string(opaque) + " \n#define MULTISAMPLE " +
           std::to_string(multisample) + " \n#define STOCHASTIC " + std::to_string(stochastic) +
           " \n";
}

uint32_t FamilyProgram(const GlGlobals& globals, int32_t family, FamilyRow row) {
    int32_t index = -1;
    switch (family) {
        case kFamilyCircle:
            index = 0;
            break;
        case kFamilySprite:
            index = 1;
            break;
        case kFamilyPlain:
            index = 2;
            break;
        case kFamilyFlat:
            index = 3;
            break;
        default:
            return family > 0 ? uint32_t(family) : 0;
    }
    return globals.families[index][row];
}

uint32_t MakeCircleTexture(int32_t size) {
    Log("Creating Circle Texture");
    // Only the alpha is sampled: one channel is a quarter of the texels to filter.
    const std::vector<float> pixels = CircleTextureData(size);
    std::vector<float> alpha(pixels.size() / 4);
    for (size_t i = 0; i < alpha.size(); ++i) alpha[i] = pixels[4 * i + 3];
    GLuint id = 0;
    glGenTextures(1, &id);
    glBindTexture(GL_TEXTURE_2D, id);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_R32F, size, size, 0, GL_RED, GL_FLOAT, alpha.data());
    glGenerateMipmap(GL_TEXTURE_2D);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    glBindTexture(GL_TEXTURE_2D, 0);
    return id;
}

GlTexture MakeRandomMaskTexture(int32_t bits, int32_t width, int32_t height) {
    const std::vector<uint8_t> texels = RandomMaskData(bits, width, height, MaskTwister());
    GlTexture t;
    t.width = width, t.height = height, t.internalFormat = GL_R8UI, t.target = GL_TEXTURE_2D;
    glGenTextures(1, &t.id);
    glBindTexture(GL_TEXTURE_2D, t.id);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_R8UI, width, height, 0, GL_RED_INTEGER, GL_UNSIGNED_BYTE,
                 texels.data());
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glBindTexture(GL_TEXTURE_2D, 0);
    return t;
}

GlGlobals* CreateGlGlobals(std::string& why) {
    GlContext* saved = WrapCurrent();
    GlContext* context = CreateContext(nullptr);
    if (!context) {
        why = ContextUnavailableReason();
        if (why.empty()) why = "no OpenGL 3.2 core context could be created";
        DestroyContext(saved);
        return nullptr;
    }
    MakeCurrent(context);
    GLint major = 0, minor = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    const int32_t version = major * 10 + minor;
    Log("GL Version: " + std::to_string(major) + " " + std::to_string(minor));
    Log("GL_VERS: " + std::to_string(version));
    if (!HasGpuPath(version)) {
        why = "OpenGL " + std::to_string(major) + "." + std::to_string(minor) +
              " is below the 3.2 the GPU path needs";
        MakeCurrent(saved);
        DestroyContext(context);
        DestroyContext(saved);
        return nullptr;
    }
    auto* g = new GlGlobals;
    g->context = context;
    g->glVersion = version;
    CompilePrograms(*g);
    g->randomMaskTexture = MakeRandomMaskTexture(8, 2048, 256);
    g->circleTexture.id = MakeCircleTexture(1024);
    g->circleTexture.width = g->circleTexture.height = 1024;
    glFinish();
    MakeCurrent(saved->context ? saved : nullptr);
    DestroyContext(saved);
    return g;
}

void DestroyGlGlobals(GlGlobals* g) {
    if (!g) return;
    GlContext* saved = WrapCurrent();
    MakeCurrent(g->context);
    DeleteTexture(g->randomMaskTexture);
    DeleteTexture(g->circleTexture);
    DeletePrograms(*g);
    MakeCurrent(saved->context ? saved : nullptr);
    DestroyContext(saved);
    DestroyContext(g->context);
    delete g;
}

bool PrepareThreadState(const GlGlobals& globals, ThreadRenderState*& state) {
    ThreadRenderState& s = tSlot.state;
    static const bool registered = std::atexit(NoteExit) == 0;
    (void)registered;
    if (!s.context) {
        Log("Setting up New CtX");
        s.context = CreateContext(globals.context);
        if (s.context) ++gThreadContexts;
    }
    if (!s.context || !s.context->context) {
        Log("No Render CTX Set");
        DestroyContext(s.context);
        s.context = nullptr;
        state = nullptr;
        return false;
    }
    MakeCurrent(s.context);
    if (!s.circleTexture) s.circleTexture = MakeCircleTexture(512);
    state = &s;
    return true;
}

void ThreadRenderSetdown() {
    Log("Thread Local Render Setdown Called");
    ThreadRenderState& s = tSlot.state;
    if (!s.context || !s.context->context) {
        Log("No Active Render CTX Found");
        s.context = nullptr;
        return;
    }
    GlContext* saved = WrapCurrent();
    MakeCurrent(s.context);
    if (s.circleTexture) glDeleteTextures(1, &s.circleTexture);
    s.circleTexture = 0;
    const bool keepSaved = saved->context && saved->context != s.context->context;
    MakeCurrent(keepSaved ? saved : nullptr);
    DestroyContext(saved);
    DestroyContext(s.context);
    s.context = nullptr;
    ReleaseThread();
}

bool ThreadHasRenderState() {
    return tSlot.state.context != nullptr;
}

void SetGpuAllowed(bool allowed) {
    gGpuAllowed = allowed;
}

const GlGlobals* FrameworkGlobals(GlFramework& framework) {
    std::call_once(framework.once, [&framework] {
        if (!gGpuAllowed) {
            framework.why = "GL is switched off for this process";
            Log("No Setup Found");
            return;
        }
        static std::string why;
        static GlGlobals* const process = CreateGlGlobals(why);
        framework.globals = process;
        framework.why = why;
        if (!framework.globals) Log("No Setup Found");
    });
    return framework.globals;
}

void DeleteGlFramework(GlFramework* framework) {
    delete framework;  // the globals stay with the process
}

int32_t ThreadContextsMade() {
    return gThreadContexts.load();
}

}  // namespace tv::gl
