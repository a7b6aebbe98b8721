#include "engines/EngineFactory.h"

#include "engines/AGGEngine.h"
#include "engines/KDLRender.h"
#include "engines/SVGEngine.h"
#include "engines/TVGLEngine.h"
#include "engines/gl/GlGlobals.h"
#include "engines/gl/GlLog.h"

namespace tv {

FrameEngines::FrameEngines() = default;
FrameEngines::FrameEngines(FrameEngines&&) noexcept = default;
FrameEngines& FrameEngines::operator=(FrameEngines&&) noexcept = default;

FrameEngines::~FrameEngines() {
    // The engines go in reverse order of making, then the log sink.
    while (!owned.empty()) owned.pop_back();
}

namespace {

FrameEngines Software(const EngineRequest& r) {
    FrameEngines f;
    auto points = std::make_unique<KDLRender>(r.host, r.output, r.bitDepth);
    auto lines = std::make_unique<AGGEngine>(r.host, r.output, r.bitDepth);
    f.points = points.get();
    f.lines = f.triangles = lines.get();
    f.owned.push_back(std::move(points));
    f.owned.push_back(std::move(lines));
    return f;
}

FrameEngines Svg(const EngineRequest& r) {
    FrameEngines f;
    auto engine = std::make_unique<SVGEngine>(r.host, r.width, r.height);
    f.points = f.lines = f.triangles = engine.get();
    f.shapes = &engine->shapes();
    f.owned.push_back(std::move(engine));
    return f;
}

FrameEngines Unified(const EngineRequest& r) {
    FrameEngines f;
    HostServices* host = r.host;
    f.logSink = std::make_unique<gl::ScopedLogSink>([host](const std::string& line) {
        if (host) host->diagnostic(line);
    });
    auto engine = std::make_unique<TVGLEngine>(r.host, r.output, r.bitDepth, r.globals);
    // Without a context the set has no slots; the engine still goes with the set, as it would
    // have gone with the caller's frame.
    if (engine->valid()) {
        f.points = f.lines = f.triangles = f.passes = engine.get();
        f.api = "OpenGL " + std::to_string(r.globals->glVersion / 10) + "." +
                std::to_string(r.globals->glVersion % 10);
    }
    f.owned.push_back(std::move(engine));
    return f;
}

}  // namespace

FrameEngines MakeFrameEngines(const EngineRequest& request) {
    switch (request.path) {
        case EnginePath::kSvg:
            return Svg(request);
        case EnginePath::kUnified:
            return Unified(request);
        case EnginePath::kSoftware:
            break;
    }
    return Software(request);
}

}  // namespace tv
