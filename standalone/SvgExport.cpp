#include "standalone/SvgExport.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "main/MainParams.h"
#include "standalone/Document.h"
#include "standalone/WholeFile.h"
#include "resources/EffectTable.h"

namespace tv::standalone {

namespace {

namespace fs = std::filesystem;

bool IsMainEffect(EmbeddedHost& host, const EffectInstance& instance) {
    const InstalledEffect* fx = host.installedEffect(instance.key);
    return fx && fx->matchName == EffectTable()[0].matchName;
}

// The "Tavrin" instance that exports, and the report naming its layer and the others.
EffectInstance& ExportingInstance(EmbeddedHost& host, const Comp& comp, const std::string& name,
                                  SvgExportReport& report) {
    EffectInstance* chosen = nullptr;
    std::vector<std::string> carrying;
    for (const auto& layer : comp.layers)
        for (const auto& instance : layer->effects) {
            if (!IsMainEffect(host, *instance)) continue;
            carrying.push_back(layer->name);
            if (!chosen && (name.empty() || layer->name == name)) {
                chosen = instance.get();
                report.layer = layer->name;
            } else if (layer->name != report.layer) {
                report.otherLayers.push_back(layer->name);
            }
            break;
        }
    if (carrying.empty()) {
        std::string others;
        for (const std::string& n : CompsCarryingExport(host))
            others += (others.empty() ? "\"" : ", \"") + n + "\"";
        throw std::runtime_error("no layer of comp \"" + comp.name +
                                 "\" carries the \"Tavrin\" effect: nothing to export" +
                                 (others.empty()
                                      ? std::string("; no comp of the document carries it")
                                      : "; comps that carry it: " + others + " (--comp NAME)"));
    }
    if (!chosen)
        throw std::runtime_error("--layer: no layer named \"" + name +
                                 "\" carries the \"Tavrin\" effect; " +
                                 NearestNames(name, carrying));
    return *chosen;
}

}  // namespace

bool CompCarriesExport(EmbeddedHost& host, const Comp& comp) {
    for (const auto& layer : comp.layers)
        for (const auto& instance : layer->effects)
            if (IsMainEffect(host, *instance)) return true;
    return false;
}

std::vector<std::string> CompsCarryingExport(EmbeddedHost& host) {
    std::vector<std::string> names;
    for (const auto& comp : host.project().comps)
        if (CompCarriesExport(host, *comp)) names.push_back(comp->name);
    return names;
}

SvgExportReport ExportSvgFile(EmbeddedHost& host, const Comp& comp, const SvgExportOptions& o,
                              const std::string& path) {
    SvgExportReport report;
    EffectInstance& instance = ExportingInstance(host, comp, o.layer, report);
    const Layer* layer = host.layerOfInstance(instance.uid);
    const double compFps = double(comp.fpsNum) / std::max(comp.fpsDen, 1);
    const auto frameCount = std::max<int64_t>(1, int64_t(comp.duration * compFps));
    if (!o.sequence && (o.frame < 0 || o.frame >= frameCount))
        throw std::runtime_error("--frame " + std::to_string(o.frame) +
                                 " is outside the comp, which has frames 0-" +
                                 std::to_string(frameCount - 1));
    if (o.sequence) {
        // Each frame of a sequence is drawn and held as shapes until the file is written: a day
        // at 1000 frames a second is refused here, before the first frame.
        const int32_t fps = o.fps > 0 ? o.fps : std::max<int32_t>(1, int32_t(std::lround(compFps)));
        const double seconds = o.workArea && comp.workEnd > 0
                                   ? std::max(0.0, comp.workEnd - comp.workStart)
                                   : comp.duration;
        const double frames = std::ceil(seconds * fps);
        if (frames > double(kMaxSvgSequenceFrames))
            throw std::runtime_error(fmt::format(
                "--sequence: {:.0f} s at {} frames per second make {:.0f} frames; one SVG file "
                "holds at most {}: lower --fps or export the work area (--range work)",
                seconds, fps, frames, kMaxSvgSequenceFrames));
    }
    // An export killed mid-way (Ctrl-C) left its temporary folder: removed first.
    RemoveStaleTemporaries(path);
    // The effect writes the file whole through its dialog: the temporary's name ends in "svg",
    // so the dialog's rule keeps it.
    WriteWholeFile(
        path,
        [&](const std::string& temp) {
            // The dialog's answer: the path alone, or path, range and frames per second.
            std::string answer = temp;
            if (o.sequence) {
                const int32_t fps =
                    o.fps > 0 ? o.fps : std::max<int32_t>(1, int32_t(std::lround(compFps)));
                answer += std::string("\n") + (o.workArea ? "1" : "0") + "\n" + std::to_string(fps);
            }
            host.queueDialogAnswer("Export SVG", answer);
            const A_Time time =
                host.convertCompToLayerTime(layer->uid, comp.frameTime(o.sequence ? 0 : o.frame));
            PF_UserChangedParamExtra extra;
            extra.param_index = kMainExportSvg;
            const PF_Err err = host.callEffect(instance, PF_Cmd_USER_CHANGED_PARAM, time, &extra);
            if (host.pendingDialogAnswers())
                throw std::runtime_error("the \"Export SVG\" button of layer \"" + report.layer +
                                         "\" asked no question (host code " + std::to_string(err) +
                                         ")");
            if (!fs::is_regular_file(temp))
                throw std::runtime_error("the export could not write " + temp);
        },
        ".svg");
    return report;
}

std::string ExportSvg(EmbeddedHost& host, const Comp& comp, const SvgExportOptions& o) {
    // A folder only this process can name, so no link planted in the shared temporary folder
    // can redirect the export.
    const PrivateTemporaryFolder folder;
    const fs::path file = fs::path(folder.path()) / "export.svg";
    ExportSvgFile(host, comp, o, file.string());
    std::ifstream in(file, std::ios::binary);
    return std::string{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace tv::standalone
