// One instance of the frei0r plug-in: the parameters the host set, the document loaded into an
// embedded host of its own, and a frame drawn over the host's input (or alone, for the source).
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>

#include "standalone/CompRenderer.h"
#include "standalone/EmbeddedHost.h"

namespace tv::frei0r {

// The plug-in's parameters, in frei0r's order.
enum Frei0rParam { kDocument = 0, kComp, kLayer, kTimeOffset, kParamCount };

struct Frei0rSettings {
    std::string document;   // the composition document's path
    std::string comp;       // empty: the document's first comp
    std::string layer;      // empty: every layer of the comp
    double timeOffset = 0;  // seconds added to the host's time
    bool operator==(const Frei0rSettings&) const = default;
};

struct Frei0rInstance {
    int32_t width = 0;  // the host's frame size
    int32_t height = 0;
    Frei0rSettings settings;  // as the host last set them

    // The document as loaded: with the settings and the file's time it was loaded with. A null
    // host means the load failed and `failure` says why.
    Frei0rSettings loadedSettings;
    std::filesystem::file_time_type loadedStamp{};
    bool loadTried = false;
    std::unique_ptr<standalone::EmbeddedHost> host;
    std::unique_ptr<standalone::CompRenderer> renderer;
    standalone::Comp* comp = nullptr;
    std::string failure;

    std::set<std::string> logged;  // lines already written to the host's log
};

// Draws the frame at the host's `seconds` into `out` (width x height RGBA, 8 bits a channel,
// straight alpha): the comp over `in`, or alone when `in` is null. Whatever goes wrong is
// written to the host's log (standard error) once, and `in` is passed through unchanged
// (transparent black without one). Never throws.
void UpdateFrame(Frei0rInstance& instance, double seconds, const uint32_t* in, uint32_t* out);

}  // namespace tv::frei0r
