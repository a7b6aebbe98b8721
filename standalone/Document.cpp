// Loading a composition document: its version, then each comp's settings and layers (each layer
// by its kind's reader, DocumentRead*.cpp), then the links by name, then what a host does when it
// opens a project.
#include "standalone/Document.h"

#include "host/FileBytes.h"
#include "standalone/ImageModule.h"

#include <fmt/format.h>

#include <climits>
#include <cmath>
#include <cstdint>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "standalone/DocumentParse.h"
#include "standalone/DocumentRead.h"

namespace tv::standalone {

using namespace docread;

namespace {

// Frame rates: a whole number (30) or an exact rational text ("30000/1001").
void ReadFps(const Reader& r, const json& v, const std::string& path, Comp& comp) {
    if (v.is_number_integer()) {
        comp.fpsNum = r.integer(v, path, 1, 1000);
        comp.fpsDen = 1;
        return;
    }
    if (v.is_string()) {
        const std::string s = v.get<std::string>();
        const auto slash = s.find('/');
        try {
            if (slash != std::string::npos) {
                size_t used = 0, usedDen = 0;
                const int num = std::stoi(s.substr(0, slash), &used);
                const int den = std::stoi(s.substr(slash + 1), &usedDen);
                // Every character must be a digit of the two numbers: "30/1x" is not a rate.
                const bool whole = used == slash && slash + 1 + usedDen == s.size() &&
                                   std::isdigit(uint8_t(s[0])) &&
                                   std::isdigit(uint8_t(s[slash + 1]));
                if (whole && num > 0 && den > 0 && den <= 100000 && num <= 10000000) {
                    comp.fpsNum = num;
                    comp.fpsDen = den;
                    return;
                }
            }
        } catch (const std::exception&) {
        }
    }
    r.fail(path, "expected a frame rate such as 30 or \"30000/1001\", found " + Excerpt(v));
}

// Effects take times as 32-bit tick counts over a 32-bit scale of at least 1000 ticks a frame:
// a frame rate or a duration whose ticks those cannot hold is refused, never wrapped.
void CheckTimeRange(const Reader& r, const std::string& path, const Comp& comp) {
    const int64_t den = std::max(comp.fpsDen, 1);
    const int64_t scale = int64_t(std::max(comp.fpsNum, 1)) * ((1000 + den - 1) / den);
    const double fps = double(comp.fpsNum) / double(den);
    if (scale > int64_t(UINT32_MAX))
        r.fail(path + ".fps",
               fmt::format("{} frames per second need {} ticks a second, past "
                           "the {} that effects' time scale holds; at most {:g} "
                           "frames per second",
                           Plain(fps), scale, UINT32_MAX, std::floor(double(UINT32_MAX) / 1000.0)));
    const double lastTick = std::ceil(comp.duration * double(scale));
    if (lastTick > double(INT32_MAX))
        r.fail(path + ".duration",
               fmt::format("{} s at {} frames per second reach {:.0f} ticks, past the {} that "
                           "effects' 32-bit times hold; at this frame rate a comp lasts at most "
                           "{:.0f} s",
                           Plain(comp.duration), Plain(fps), lastTick, INT32_MAX,
                           std::floor(double(INT32_MAX) / double(scale))));
}

// "$schema" lets an editor find docs/schema/document.schema.json; the loader passes it over.
const std::vector<std::string> kDocumentKeys = {"tavrin", "comps", "$schema"};
const std::vector<std::string> kCompKeys = {
    "name",       "width",       "height",      "fps",          "duration",
    "workArea",   "pixelAspect", "background",  "shutterAngle", "shutterPhase",
    "motionBlur", "layers",      "workingSpace"};

// A comp's settings and layers; its name must differ from the comps' before it (`names`).
void ReadComp(const Reader& r, const json& c, size_t ci, std::set<std::string>& names) {
    const std::string path = "$.comps[" + std::to_string(ci) + "]";
    r.checkKeys(c, path, kCompKeys);
    const std::string name =
        c.contains("name") ? r.text(c["name"], path + ".name") : "Comp " + std::to_string(ci + 1);
    if (!names.insert(name).second) r.fail(path + ".name", "two comps are named \"" + name + "\"");
    const int32_t w = c.contains("width") ? r.integer(c["width"], path + ".width", 1, 30000) : 1920;
    const int32_t h =
        c.contains("height") ? r.integer(c["height"], path + ".height", 1, 30000) : 1080;
    Comp& comp = r.host.addComp(name, w, h);
    if (c.contains("fps")) ReadFps(r, c["fps"], path + ".fps", comp);
    if (c.contains("duration"))
        comp.duration = r.number(c["duration"], path + ".duration", 1e-3, 86400);
    CheckTimeRange(r, path, comp);
    if (c.contains("workingSpace")) {
        // A colour space of the colour configuration (OCIO, else the built-in one).
        const std::string space = r.text(c["workingSpace"], path + ".workingSpace");
        try {
            comp.workingSpace = ResolveColorSpace(space);
        } catch (const std::runtime_error& e) {
            r.fail(path + ".workingSpace", e.what());
        }
    }
    if (c.contains("workArea")) {
        const json& w = c["workArea"];
        const std::string wpath = path + ".workArea";
        if (!w.is_array() || w.size() != 2)
            r.fail(wpath, "expected [start, end] in seconds, found " + Excerpt(w));
        comp.workStart = r.number(w[0], wpath + "[0]", 0, comp.duration);
        comp.workEnd = r.number(w[1], wpath + "[1]", 0, comp.duration);
        if (comp.workEnd <= comp.workStart)
            r.fail(wpath + "[1]", "the work area must end after it starts");
    }
    if (c.contains("pixelAspect"))
        comp.pixelAspect = r.number(c["pixelAspect"], path + ".pixelAspect", 0.01, 100);
    if (c.contains("background"))
        r.colorAlpha(c["background"], path + ".background", comp.background, comp.backgroundAlpha);
    if (c.contains("shutterAngle"))
        comp.shutterAngle = r.number(c["shutterAngle"], path + ".shutterAngle", 0, 720);
    if (c.contains("shutterPhase"))
        comp.shutterPhase = r.number(c["shutterPhase"], path + ".shutterPhase", -360, 360);
    if (c.contains("motionBlur"))
        comp.motionBlur = r.boolean(c["motionBlur"], path + ".motionBlur");
    if (!c.contains("layers")) return;
    if (!c["layers"].is_array()) r.fail(path + ".layers", "expected a list of layers");
    for (size_t li = 0; li < c["layers"].size(); ++li)
        ReadLayer(r, c["layers"][li], path + ".layers[" + std::to_string(li) + "]", comp);
}

}  // namespace

void LoadDocumentText(const std::string& text, const std::string& file, EmbeddedHost& host) {
    Reader r{file, std::filesystem::path(file).parent_path(), host, {}, {}, {}, {}, {}, {}, {}};
    host.setProjectPath(std::filesystem::absolute(file).lexically_normal().string());
    const json doc = ParseDocumentJson(text, file);
    r.checkKeys(doc, "$", kDocumentKeys);
    if (!doc.contains("tavrin") || doc["tavrin"] != 1)
        r.fail("$.tavrin", "missing or unknown format version: write \"tavrin\": 1");
    if (!doc.contains("comps") || !doc["comps"].is_array() || doc["comps"].empty())
        r.fail("$.comps", "expected a non-empty list of comps");
    std::set<std::string> names;
    for (size_t ci = 0; ci < doc["comps"].size(); ++ci) ReadComp(r, doc["comps"][ci], ci, names);
    ResolvePrecomps(r, std::vector<std::string>(names.begin(), names.end()));
    ResolveParents(r);
    CheckPrecompCycles(r, host.project());
    ResolveLayerParams(r);
    FinishLoading(r);
}

void LoadDocumentFile(const std::string& file, EmbeddedHost& host) {
    // Read as any input file is: a folder, a pipe or a device is named as such, never read; the
    // size is checked before a byte is read.
    std::error_code ec;
    const auto size = std::filesystem::file_size(file, ec);
    if (!ec && size > kMaxDocumentBytes)
        throw DocumentError(file, "",
                            "the document is " + std::to_string(size) +
                                " bytes; documents of at most " +
                                std::to_string(kMaxDocumentBytes) + " bytes are read");
    FileBytes bytes;
    if (!LoadFileBytes(file, bytes, false)) {
        std::string why = bytes.error;
        if (why.rfind(file + ": ", 0) == 0) why.erase(0, file.size() + 2);
        throw DocumentError(file, "", "cannot read the document: " + why);
    }
    LoadDocumentText(std::string(bytes.bytes), file, host);
}

}  // namespace tv::standalone
