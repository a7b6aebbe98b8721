// A GL context without a window: EGL on the surfaceless platform (llvmpipe on a machine without a
// GPU), the vendor's EGL device where there is one. Programs and textures are made in one global
// context and shared with one context per render thread.
#pragma once

#include <string>

namespace tv::gl {

struct GlContext {
    void* display = nullptr;  // EGLDisplay
    void* context = nullptr;  // EGLContext
    void* surface = nullptr;  // EGLSurface; null: surfaceless, drawing only into framebuffers
    bool wrapped = false;     // made by WrapCurrent: someone else's, never destroyed here
};

// A 3.2 core context (the driver may give a later one) sharing objects with `share` (may be
// null). Null on any failure, after reporting what failed.
GlContext* CreateContext(const GlContext* share);
// A null context (or one without a context) releases the thread's current context.
void MakeCurrent(const GlContext* ctx);
// The context that is current on this thread, so that it can be put back later.
GlContext* WrapCurrent();
void DestroyContext(GlContext* ctx);
// Releases the calling thread's EGL state once no context is current on it, so that a worker
// thread ending later (at process exit, say) leaves nothing for the driver to clean up.
void ReleaseThread();

// Why no context can be made on this machine, or empty when one can. Tried once per process.
const std::string& ContextUnavailableReason();

// The widest and tallest frame the current context can draw into: the least of its texture,
// renderbuffer and viewport limits.
struct FrameLimit {
    int width = 0, height = 0;
};
FrameLimit LargestFrame();

}  // namespace tv::gl
