#include "cli/ExportSvgCommand.h"

#include <fmt/format.h>

#include <stdexcept>

#include "standalone/Document.h"
#include "standalone/SvgExport.h"

namespace tv::cli {

int RunExportSvgCommand(const ExportSvgOptions& options) {
    try {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentFile(options.document, host);
        const standalone::Comp* comp = options.comp.empty() ? host.project().comps.front().get()
                                                            : host.compByName(options.comp);
        if (!comp) {
            std::vector<std::string> names;
            for (const auto& c : host.project().comps) names.push_back(c->name);
            throw std::runtime_error("--comp: no comp named \"" + options.comp + "\"; " +
                                     standalone::NearestNames(options.comp, names));
        }
        standalone::SvgExportOptions o;
        o.frame = options.frame;
        o.sequence = options.sequence;
        o.workArea = options.range == "work";
        o.fps = options.fps;
        const std::string text = standalone::ExportSvg(host, *comp, o);
        standalone::WriteFileWhole(options.output, text);
        fmt::print(
            "exported {} of \"{}\" ({}x{}) to {}\n",
            options.sequence ? "an animated sequence" : fmt::format("frame {}", options.frame),
            comp->name, comp->width, comp->height, options.output);
        fmt::print(stderr,
                   "note: sprites and beams' tubes have no vector form and are left out; "
                   "triangles take their corners' mean colour\n");
        return 0;
    } catch (const std::exception& e) {
        fmt::print(stderr, "tavrin export-svg: {}\n", e.what());
        return 2;
    } catch (const HostErrorCode& e) {
        fmt::print(stderr, "tavrin export-svg: the host failed with code {}\n", e.code);
        return 2;
    }
}

}  // namespace tv::cli
