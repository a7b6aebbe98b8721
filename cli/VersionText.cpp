#include "cli/VersionText.h"

#include <CLI/Version.hpp>
#include <GL/glew.h>
#include <OpenImageIO/oiioversion.h>
#include <fmt/format.h>
#include <oneapi/tbb/version.h>

#include <nlohmann/json.hpp>

#include "cli/BuildCommit.h"
#include "engines/gl/GlContext.h"

namespace tv::cli {

namespace {

std::string GlText(GLenum name) {
    const auto* text = reinterpret_cast<const char*>(glGetString(name));
    return text ? text : "?";
}

// The renderer and version of a context made here: the GL path's context, made and dropped.
std::string GlLine() {
    if (!gl::ContextUnavailableReason().empty())
        return "no GL context (" + gl::ContextUnavailableReason() + ")";
    gl::GlContext* context = gl::CreateContext(nullptr);
    if (!context) return "no GL context (it could not be made)";
    gl::MakeCurrent(context);
    const std::string line = GlText(GL_RENDERER) + ", OpenGL " + GlText(GL_VERSION);
    gl::MakeCurrent(nullptr);
    gl::DestroyContext(context);
    gl::ReleaseThread();
    return line;
}

}  // namespace

std::string VersionText() {
    return fmt::format(
        "tavrin {}\ncommit {}\nGL: {}\nlibraries: fmt {}.{}.{}, CLI11 {}, nlohmann/json {}.{}.{}, "
        "oneTBB {}, OpenImageIO {}\n",
        TAVRIN_VERSION, TAVRIN_COMMIT, GlLine(), FMT_VERSION / 10000, FMT_VERSION / 100 % 100,
        FMT_VERSION % 100, CLI11_VERSION, NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR,
        NLOHMANN_JSON_VERSION_PATCH, TBB_runtime_version(), OIIO_VERSION_STRING);
}

}  // namespace tv::cli
