#include "engines/gl/GlContext.h"

#include <GL/glew.h>
#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <algorithm>
#include <mutex>

#include "engines/gl/GlLog.h"

namespace tv::gl {

namespace {

struct DisplayState {
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLConfig config = nullptr;
    bool hasConfig = false;
    std::string failure;
};

bool HasExtension(const char* list, const char* name) {
    if (!list) return false;
    const std::string all = std::string(" ") + list + " ";
    return all.find(std::string(" ") + name + " ") != std::string::npos;
}

// The first display that initialises: Mesa's surfaceless platform (no X or Wayland needed),
// then the first EGL device (a vendor driver on a GPU machine), then the default display.
EGLDisplay OpenDisplay(std::string& failure) {
    const char* clientExts = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    EGLint major = 0, minor = 0;
    if (getPlatformDisplay && HasExtension(clientExts, "EGL_MESA_platform_surfaceless")) {
        EGLDisplay d =
            getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (d != EGL_NO_DISPLAY && eglInitialize(d, &major, &minor)) return d;
    }
    auto queryDevices =
        reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    if (getPlatformDisplay && queryDevices && HasExtension(clientExts, "EGL_EXT_platform_device")) {
        EGLDeviceEXT devices[8];
        EGLint count = 0;
        if (queryDevices(8, devices, &count))
            for (EGLint i = 0; i < count; ++i) {
                EGLDisplay d = getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr);
                if (d != EGL_NO_DISPLAY && eglInitialize(d, &major, &minor)) return d;
            }
    }
    EGLDisplay d = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (d != EGL_NO_DISPLAY && eglInitialize(d, &major, &minor)) return d;
    failure = clientExts ? "no EGL display could be opened (surfaceless, device or default)"
                         : "no EGL client library answered";
    return EGL_NO_DISPLAY;
}

DisplayState& Display() {
    static DisplayState state;
    static std::once_flag once;
    std::call_once(once, [] {
        state.display = OpenDisplay(state.failure);
        if (state.display == EGL_NO_DISPLAY) return;
        for (EGLint surfaceType : {EGLint(EGL_PBUFFER_BIT), EGLint(0)}) {
            const EGLint attribs[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE,
                                      surfaceType, EGL_NONE};
            EGLint n = 0;
            if (eglChooseConfig(state.display, attribs, &state.config, 1, &n) && n > 0) {
                state.hasConfig = true;
                break;
            }
        }
        if (!state.hasConfig) state.failure = "the EGL display offers no OpenGL configuration";
    });
    return state;
}

// GLEW as built by Debian looks for GLX after it has loaded every entry point; without an X
// display it answers GLEW_ERROR_NO_GLX_DISPLAY, which is a success for a context made by EGL.
bool InitGlew() {
    glewExperimental = GL_TRUE;
    const GLenum r = glewInit();
    glGetError();  // glewInit may leave GL_INVALID_ENUM from a core-profile query
    return r == GLEW_OK || r == 4 /* GLEW_ERROR_NO_GLX_DISPLAY */;
}

}  // namespace

const std::string& ContextUnavailableReason() {
    return Display().failure;
}

GlContext* CreateContext(const GlContext* share) {
    // GLEW keeps its entry points and extension flags in globals: one context is made at a time.
    static std::mutex creating;
    std::lock_guard lock(creating);
    DisplayState& d = Display();
    if (d.display == EGL_NO_DISPLAY || !d.hasConfig) {
        Log("Cannot create Drawing Context.\n");
        return nullptr;
    }
    if (!eglBindAPI(EGL_OPENGL_API)) {
        Log("Cannot create OPENGL Context.\n");
        return nullptr;
    }
    // A throwaway context first, so that the loader has entry points to fetch.
    EGLContext temp = eglCreateContext(d.display, d.config, EGL_NO_CONTEXT, nullptr);
    if (temp == EGL_NO_CONTEXT) {
        Log("Cannot create OPENGL Context.\n");
        return nullptr;
    }
    if (!eglMakeCurrent(d.display, EGL_NO_SURFACE, EGL_NO_SURFACE, temp)) {
        Log("Cannot Make Temp Context Current.\n");
        eglDestroyContext(d.display, temp);
        return nullptr;
    }
    if (!InitGlew()) {
        Log("Glew isn't initialized.\n");
        eglMakeCurrent(d.display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(d.display, temp);
        return nullptr;
    }
    const EGLint attribs[] = {EGL_CONTEXT_MAJOR_VERSION,
                              3,
                              EGL_CONTEXT_MINOR_VERSION,
                              2,
                              EGL_CONTEXT_OPENGL_PROFILE_MASK,
                              EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                              EGL_NONE};
    EGLContext shareContext = share && share->context ? share->context : EGL_NO_CONTEXT;
    EGLContext core = eglCreateContext(d.display, d.config, shareContext, attribs);
    eglMakeCurrent(d.display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroyContext(d.display, temp);
    if (core == EGL_NO_CONTEXT) {
        Log("OpenGL 4.1/3.2 Ctx can't be initialized.\n");
        return nullptr;
    }
    if (!eglMakeCurrent(d.display, EGL_NO_SURFACE, EGL_NO_SURFACE, core) || !InitGlew()) {
        Log("Core Profile Glew isn't initialized.\n");
        eglMakeCurrent(d.display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(d.display, core);
        return nullptr;
    }
    auto* ctx = new GlContext;
    ctx->display = d.display;
    ctx->context = core;
    return ctx;
}

void MakeCurrent(const GlContext* ctx) {
    DisplayState& d = Display();
    if (!ctx || !ctx->context) {
        if (d.display != EGL_NO_DISPLAY)
            eglMakeCurrent(d.display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        return;
    }
    eglBindAPI(EGL_OPENGL_API);
    if (!eglMakeCurrent(ctx->display, ctx->surface, ctx->surface, ctx->context))
        Log("Cannot Set OpenGL Context");
}

GlContext* WrapCurrent() {
    eglBindAPI(EGL_OPENGL_API);
    auto* ctx = new GlContext;
    ctx->display = eglGetCurrentDisplay();
    ctx->context = eglGetCurrentContext();
    ctx->surface = eglGetCurrentSurface(EGL_DRAW);
    if (ctx->display == EGL_NO_DISPLAY) ctx->display = nullptr;
    if (ctx->context == EGL_NO_CONTEXT) ctx->context = nullptr;
    if (ctx->surface == EGL_NO_SURFACE) ctx->surface = nullptr;
    ctx->wrapped = true;
    return ctx;
}

void ReleaseThread() {
    if (eglGetCurrentContext() == EGL_NO_CONTEXT) eglReleaseThread();
}

void DestroyContext(GlContext* ctx) {
    if (!ctx) return;
    if (!ctx->wrapped && ctx->context) {
        if (eglGetCurrentContext() == ctx->context)
            eglMakeCurrent(ctx->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        if (!eglDestroyContext(ctx->display, ctx->context)) Log("GL Context Destruction Failed");
    }
    delete ctx;
}

FrameLimit LargestFrame() {
    GLint texture = 0, renderbuffer = 0, viewport[2] = {0, 0};
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &texture);
    glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE, &renderbuffer);
    glGetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport);
    const int side = std::min(texture, renderbuffer);
    return {std::min(side, int(viewport[0])), std::min(side, int(viewport[1]))};
}

}  // namespace tv::gl
