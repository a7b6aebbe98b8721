#include "cli/ExportSvgCommand.h"
#include "cli/Print.h"

#include <fmt/format.h>

#include <stdexcept>

#include "host/ScriptBridge.h"
#include "standalone/Document.h"
#include "standalone/SvgExport.h"

namespace tv::cli {

int RunExportSvgCommand(const ExportSvgOptions& options) {
    try {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentFile(options.document, host);
        const standalone::Comp* comp = options.comp.empty() ? host.project().comps.front().get()
                                                            : host.compByName(options.comp);
        // Without --comp: the first comp whose layers carry the effect that exports (a main
        // comp that only shows a precomp exports the precomp's drawing), said on stderr.
        if (options.comp.empty() && !standalone::CompCarriesExport(host, *comp)) {
            for (const auto& c : host.project().comps)
                if (standalone::CompCarriesExport(host, *c)) {
                    Print(stderr,
                          "note: comp \"{}\" has no layer carrying the \"Tavrin\" effect; "
                          "exporting comp \"{}\", the first that has (--comp NAME)\n",
                          comp->name, c->name);
                    comp = c.get();
                    break;
                }
        }
        if (!comp) {
            std::vector<std::string> names;
            for (const auto& c : host.project().comps) names.push_back(c->name);
            throw std::runtime_error("--comp: no comp named \"" + options.comp + "\"; " +
                                     standalone::NearestNames(options.comp, names));
        }
        standalone::SvgExportOptions o;
        o.layer = options.layer;
        o.frame = options.frame;
        o.sequence = options.sequence;
        o.workArea = options.range == "work";
        o.fps = options.fps;
        // The output names a file as the dialog's "Save As" does: a path not ending in "svg"
        // gets ".svg". (A path typed into the dialog's box is taken as it stands.)
        const std::string output = WithSvgExtension(options.output);
        const standalone::SvgExportReport report =
            standalone::ExportSvgFile(host, *comp, o, output);
        Print("exported {} of \"{}\" (layer \"{}\", {}x{}) to {}\n",
              options.sequence ? "an animated sequence" : fmt::format("frame {}", options.frame),
              comp->name, report.layer, comp->width, comp->height, output);
        if (!report.otherLayers.empty()) {
            std::string names;
            for (const std::string& n : report.otherLayers)
                names += (names.empty() ? "\"" : ", \"") + n + "\"";
            Print(stderr,
                  "note: {} also carr{} the \"Tavrin\" effect; each layer exports its own "
                  "file (--layer NAME)\n",
                  names, report.otherLayers.size() == 1 ? "ies" : "y");
        }
        Print(stderr,
              "note: sprites, beams' tubes and facets have no vector form and are left out; "
              "triangles take their corners' mean colour\n");
        return 0;
    } catch (const std::exception& e) {
        Print(stderr, "tavrin export-svg: {}\n", e.what());
        return 2;
    } catch (const HostErrorCode& e) {
        Print(stderr, "tavrin export-svg: the host failed with code {}\n", e.code);
        return 2;
    }
}

}  // namespace tv::cli
