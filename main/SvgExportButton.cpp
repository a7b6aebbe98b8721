#include "main/SvgExportButton.h"

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "engines/SVGEngine.h"
#include "main/FrameDriver.h"
#include "host/ObjectMessage.h"
#include "host/ScriptBridge.h"
#include "host/SuiteCache.h"

namespace tv {

namespace {

// The layer times of the frames to export: the current time, or every 1 / fps seconds of the
// comp or its work area.
std::vector<A_Time> ExportTimes(HostServices& host, const PF_InData* in, AEGP_LayerH layer,
                                const SvgExportAnswer& answer) {
    if (!answer.sequence) return {A_Time{in->current_time, in->time_scale}};
    const AEGP_CompH comp = host.layerParentComp(layer);
    A_Time start{0, 1}, duration = host.compDuration(comp);
    if (answer.workArea) host.compWorkArea(comp, &start, &duration);
    const double from = double(start.value) / start.scale;
    const double to = from + double(duration.value) / duration.scale;
    const uint32_t scale = duration.scale ? duration.scale : 1;
    std::vector<A_Time> times;
    for (int64_t i = 0;; ++i) {
        const double seconds = from + double(i) / answer.fps;
        if (seconds >= to - 1e-9) break;
        const A_Time compTime{int32_t(std::llround(seconds * scale)), scale};
        times.push_back(host.convertCompToLayerTime(layer, compTime));
    }
    return times;
}

// One frame's shapes through the export pass; false when the pass failed.
bool FrameShapes(HostServices& host, AEGP_EffectRefH self, const A_Time& time,
                 std::string& shapes) {
    SvgPass pass;
    PF_Err err = PF_Err_NONE;
    {
        ScopedObjectMessage m;
        if (m.status()) return false;
        m->svgContext = reinterpret_cast<uint64_t>(&pass);
        try {
            err = host.effectCallGeneric(0, self, time, PF_Cmd_COMPLETELY_GENERAL, &*m);
        } catch (const HostErrorCode& e) {
            err = e.code;
        }
    }
    shapes = std::move(pass.shapes);
    return err == PF_Err_NONE;
}

}  // namespace

PF_Err RunSvgExport(PF_InData* in_data) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    const auto answer = ParseSvgExportAnswer(RunScript(host, "%s", SvgExportScript().c_str()));
    if (!answer) return PF_Err_NONE;
    std::ofstream out(answer->path, std::ios::binary | std::ios::trunc);
    if (!out) return PF_Err_NONE;
    const AEGP_EffectRefH self = host.effectFromInstance(0, in_data->effect_ref);
    const AEGP_LayerH layer = host.effectLayer(self);
    const std::vector<A_Time> times = ExportTimes(host, in_data, layer, *answer);
    std::vector<std::string> frames;
    for (const A_Time& t : times) {
        std::string shapes;
        if (!FrameShapes(host, self, t, shapes)) break;
        frames.push_back(std::move(shapes));
    }
    host.disposeEffect(self);
    // The pass draws at the output's size (the layer's at the host's downsample); the file is
    // that size too.
    const OutputSize size = DownsampledOutputSize(in_data);
    out << SvgDocument(size.width, size.height, frames, answer->fps, answer->sequence);
    return PF_Err_NONE;
}

}  // namespace tv
