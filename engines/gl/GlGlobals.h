// What the GL path keeps from global setup to global setdown: the global context, the two fixed
// textures and every compiled program; and what each render thread keeps: its own context,
// sharing objects with the global one, and a circle texture.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "engines/gl/GlContext.h"
#include "engines/gl/GlResources.h"

namespace tv::gl {

// Rows of a family: which defines a program was compiled with.
enum FamilyRow : int32_t {
    kRowStochastic = 0,        // OPAQUE 0, MULTISAMPLE 0, STOCHASTIC 1
    kRowOpaqueStochastic = 1,  // OPAQUE 1, MULTISAMPLE 0, STOCHASTIC 1
    kRowMsaaStochastic = 2,    // OPAQUE 0, MULTISAMPLE 1, STOCHASTIC 1 (GL 4.1 and up)
    kRowOpaqueMsaaStochastic = 3,
    kRowPlain = 4,  // not stochastic
    kRowCount = 5,
};

struct GlGlobals {
    GlContext* context = nullptr;
    GlTexture randomMaskTexture;
    GlTexture circleTexture;  // 1024 square
    uint32_t framePlain = 0;
    uint32_t frameDepthCull = 0;
    uint32_t transmittanceSum = 0;  // four passes' transmittances, one a channel
    uint32_t frameMsaaAlphaCorrection = 0;
    uint32_t frameOneMinusAlphaMsaa = 0;
    uint32_t stochasticComposite = 0;
    uint32_t depthMap = 0;
    uint32_t layerCopy = 0;
    uint32_t families[4][kRowCount] = {};  // Circle, Sprite, Plain, Flat
    int32_t glVersion = 0;                 // major * 10 + minor
};

// Global setup: a context, the version check, the programs and textures. Null when there is no
// usable GL (no context, or a version below 3.2); `why` then says what was missing.
GlGlobals* CreateGlGlobals(std::string& why);
void DestroyGlGlobals(GlGlobals* globals);

// The main effect's hold on the GL path: made empty at global setup; the first frame or panel
// check that asks gets the process's globals, made once (so a run that never asks pays nothing).
// The globals live as long as the process: render threads keep contexts that share with the
// global one after a host closes, and a second host in the same process finds them ready.
struct GlFramework {
    std::once_flag once;
    const GlGlobals* globals = nullptr;
    std::string why;  // what was missing, when there are no globals
};
// Whether frameworks made from now on may use GL at all; a host (or a test) that must behave as
// a machine without GL turns it off. On by default.
void SetGpuAllowed(bool allowed);
// The globals, made on the first call; null when there is no usable GL.
const GlGlobals* FrameworkGlobals(GlFramework& framework);
void DeleteGlFramework(GlFramework* framework);

// The program of a family marker (ProgramFamily) in a row; 0 when it was not compiled.
uint32_t FamilyProgram(const GlGlobals& globals, int32_t family, FamilyRow row);

// The prefix of a row: its three define lines.
std::string RowPrefix(FamilyRow row);

// The calling thread's own context and circle texture (512 square), made on first use.
struct ThreadRenderState {
    GlContext* context = nullptr;
    uint32_t circleTexture = 0;
};
// Makes the thread's context (sharing with the global one) and texture if missing; false when
// the thread has no valid context. Leaves the thread's context current.
bool PrepareThreadState(const GlGlobals& globals, ThreadRenderState*& state);
// Frees the calling thread's texture and context (at the end of a sequence of renders); the
// context that was current before stays current unless it was the thread's own.
void ThreadRenderSetdown();
// Whether the calling thread holds a render context now.
bool ThreadHasRenderState();
// How many thread contexts this process has made (for tests of reuse).
int32_t ThreadContextsMade();

// A texture of the given pixels for the circle (RGBA float with mipmaps).
uint32_t MakeCircleTexture(int32_t size);
GlTexture MakeRandomMaskTexture(int32_t bits, int32_t width, int32_t height);

}  // namespace tv::gl
