#include "standalone/SvgExport.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "engines/SVGEngine.h"
#include "host/FrameDriver.h"
#include "host/ObjectMessage.h"
#include "resources/EffectTable.h"

namespace tv::standalone {

namespace {

// The shapes of one comp time: every main effect's pass, bottom layer first as the comp stacks
// them.
std::string FrameShapes(EmbeddedHost& host, const Comp& comp, const A_Time& compTime) {
    SvgPass pass;
    for (auto it = comp.layers.rbegin(); it != comp.layers.rend(); ++it) {
        Layer& layer = **it;
        for (const auto& instance : layer.effects) {
            const InstalledEffect* fx = host.installedEffect(instance->key);
            if (!fx || fx->matchName != EffectTable()[0].matchName || !instance->active) continue;
            ObjectMessage m;
            if (InitObjectMessage(m)) throw std::runtime_error("out of memory");
            m.svgContext = reinterpret_cast<uint64_t>(&pass);
            const A_Time t = host.convertCompToLayerTime(layer.uid, compTime);
            PF_OutData out;
            const PF_Err err = host.callEffect(*instance, PF_Cmd_COMPLETELY_GENERAL, t, &m, &out);
            DisposeObjectMessage(m);
            if (err)
                throw std::runtime_error("the export pass of layer \"" + layer.name +
                                         "\" failed with host code " + std::to_string(err));
        }
    }
    return pass.shapes;
}

bool HasMainEffect(EmbeddedHost& host, const Comp& comp) {
    for (const auto& layer : comp.layers)
        for (const auto& instance : layer->effects) {
            const InstalledEffect* fx = host.installedEffect(instance->key);
            if (fx && fx->matchName == EffectTable()[0].matchName) return true;
        }
    return false;
}

}  // namespace

std::string ExportSvg(EmbeddedHost& host, const Comp& comp, const SvgExportOptions& o) {
    if (!HasMainEffect(host, comp))
        throw std::runtime_error("no layer of comp \"" + comp.name +
                                 "\" carries the \"Tavrin\" effect: nothing to export");
    const double compFps = double(comp.fpsNum) / std::max(comp.fpsDen, 1);
    const auto frameCount = std::max<int64_t>(1, int64_t(comp.duration * compFps));
    if (!o.sequence) {
        if (o.frame < 0 || o.frame >= frameCount)
            throw std::runtime_error("--frame " + std::to_string(o.frame) +
                                     " is outside the comp, which has frames 0-" +
                                     std::to_string(frameCount - 1));
        return SvgDocument(int32_t(comp.width), int32_t(comp.height),
                           {FrameShapes(host, comp, comp.frameTime(o.frame))}, compFps, false);
    }
    const double fps = o.fps > 0 ? o.fps : compFps;
    double start = 0, end = comp.duration;
    if (o.workArea && comp.workEnd > comp.workStart) start = comp.workStart, end = comp.workEnd;
    const uint32_t scale = comp.timeScale();
    std::vector<std::string> frames;
    for (int64_t i = 0;; ++i) {
        const double seconds = start + double(i) / fps;
        if (seconds >= end - 1e-9) break;
        frames.push_back(
            FrameShapes(host, comp, A_Time{int32_t(std::llround(seconds * scale)), scale}));
    }
    return SvgDocument(int32_t(comp.width), int32_t(comp.height), frames, fps, true);
}

void WriteFileWhole(const std::string& path, const std::string& text) {
    namespace fs = std::filesystem;
    const fs::path target(path);
    if (target.has_parent_path()) fs::create_directories(target.parent_path());
    const fs::path temp = fs::path(path + ".tmp");
    {
        std::ofstream out(temp, std::ios::binary);
        if (!out) throw std::runtime_error("cannot write " + temp.string());
        out << text;
        if (!out) throw std::runtime_error("cannot write " + temp.string());
    }
    std::error_code ec;
    fs::rename(temp, target, ec);
    if (ec) {
        fs::remove(temp);
        throw std::runtime_error("cannot write " + path + ": " + ec.message());
    }
}

}  // namespace tv::standalone
