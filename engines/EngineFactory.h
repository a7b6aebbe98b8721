// Which engines draw a frame for each path: the software pair, the SVG engine, or the GL engine.
// The frame driver asks here and then talks to the engines only through TV_Base_Render (and
// TV_Pass_Render for an engine that draws in passes), so a new engine plugs in here alone.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engines/RenderEngine.h"

namespace tv {

namespace gl {
struct GlGlobals;
class ScopedLogSink;
}  // namespace gl

enum class EnginePath {
    kSoftware,  // points by KDLRender; lines, beams and triangles by AGGEngine, into the output
    kSvg,       // one SVGEngine keeping shapes for the whole frame
    kUnified,   // one GL engine drawing everything in passes, read back into the output
};

// What the engines are made for. The software and GL paths draw into `output` at `bitDepth`;
// the SVG path keeps shapes for a frame of width x height; the GL path needs the globals.
struct EngineRequest {
    EnginePath path = EnginePath::kSoftware;
    HostServices* host = nullptr;
    PF_EffectWorld* output = nullptr;
    int32_t bitDepth = 8;
    int32_t width = 0, height = 0;
    const gl::GlGlobals* globals = nullptr;
};

// The engines of one frame by slot: points and sprites, lines and beams, triangles and facets.
// One engine may fill several slots. A GL path whose thread has no usable context has none.
struct FrameEngines {
    FrameEngines();
    FrameEngines(FrameEngines&&) noexcept;
    FrameEngines& operator=(FrameEngines&&) noexcept;
    ~FrameEngines();

    // The GL layer's reports go to the host's diagnostics while the GL engine lives (made first,
    // so it goes last).
    std::unique_ptr<gl::ScopedLogSink> logSink;
    std::vector<std::unique_ptr<TV_Base_Render>> owned;
    TV_Base_Render* points = nullptr;
    TV_Base_Render* lines = nullptr;
    TV_Base_Render* triangles = nullptr;
    TV_Pass_Render* passes = nullptr;     // the GL path's engine
    const std::string* shapes = nullptr;  // the SVG path's shapes so far, one element a line
    std::string api;                      // the GL path's API and version ("OpenGL 4.5")

    bool empty() const { return points == nullptr; }
};

FrameEngines MakeFrameEngines(const EngineRequest& request);

}  // namespace tv
