#include "cli/GeometryCommand.h"
#include "cli/Print.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "host/Gather.h"
#include "host/ObjectMessage.h"
#include "standalone/Document.h"
#include "standalone/GeometryExport.h"
#include "standalone/WholeFile.h"

namespace tv::cli {

int RunGeometryCommand(const GeometryOptions& o) {
    try {
        if (o.format != "json" && o.format != "ply" && o.format != "csv")
            throw std::runtime_error("--format must be json, ply or csv");
        standalone::EmbeddedHost host;
        standalone::LoadDocumentFile(o.document, host);
        standalone::Comp* comp =
            o.comp.empty() ? host.project().comps.front().get() : host.compByName(o.comp);
        if (!comp) throw std::runtime_error("--comp: no comp named \"" + o.comp + "\"");
        standalone::Layer* layer = nullptr;
        std::vector<std::string> names;
        for (auto& l : comp->layers) {
            names.push_back(l->name);
            if (o.layer.empty() ? !l->effects.empty() && !layer : l->name == o.layer)
                layer = l.get();
        }
        if (!layer)
            throw std::runtime_error(o.layer.empty()
                                         ? "the comp has no layer with effects"
                                         : "--layer: no layer named \"" + o.layer + "\"; " +
                                               standalone::NearestNames(o.layer, names));
        const int64_t frames = int64_t(comp->duration * comp->fpsNum / comp->fpsDen);
        if (o.frame < 0 || o.frame >= std::max<int64_t>(frames, 1))
            throw std::runtime_error(
                fmt::format("--frame {} is outside the comp's frames 0-{}", o.frame, frames - 1));
        std::ostringstream text;
        {
            ScopedObjectMessage message;
            const PF_Err status = Gather(host, layer->uid, comp->frameTime(o.frame), *message);
            if (status == kLoopGuardStatus) Print(stderr, "note: {}\n", kInfiniteLoopMessage);
            if (o.format == "json") standalone::WriteGeometryJson(text, *message);
            if (o.format == "ply") standalone::WriteGeometryPly(text, *message->geometry);
            if (o.format == "csv") standalone::WriteGeometryCsv(text, *message->geometry);
        }
        if (o.output.empty()) {
            std::cout << text.str();
            return 0;
        }
        // Written whole under a temporary name, then renamed: no half-written file is left.
        standalone::WriteTextWhole(o.output, text.str());
        Print(stderr, "wrote {}\n", o.output);
        return 0;
    } catch (const std::exception& e) {
        Print(stderr, "tavrin geometry: {}\n", e.what());
        return 2;
    }
}

}  // namespace tv::cli
