#include "cli/ValidateCommand.h"
#include "cli/Print.h"

#include <fmt/format.h>

#include "cli/JsonOutput.h"
#include "cli/RenderCommand.h"
#include "standalone/Document.h"
#include "standalone/DocumentNotes.h"
#include "standalone/DocumentWarnings.h"
#include "standalone/WorkEstimate.h"

namespace tv::cli {

int RunValidateCommand(const std::string& document, bool json, const std::string& memoryLimit,
                       bool strict) {
    try {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentFile(document, host);
        // Every comp is checked against the budget a render of it would have.
        const double limit = MemoryLimit(memoryLimit);
        for (const auto& c : host.project().comps) standalone::CheckWorkBudget(host, *c, limit);
        size_t layers = 0, effects = 0;
        for (const auto& c : host.project().comps) {
            layers += c->layers.size();
            for (const auto& l : c->layers) effects += l->effects.size();
        }
        // Setups that load but draw nothing: warnings, errors under --strict.
        const std::vector<std::string> warnings = standalone::DrawNothingWarnings(host, document);
        const bool ok = !strict || warnings.empty();
        if (ok)
            Print(HumanStream(json), "{}: valid ({} comps, {} layers, {} effects)\n", document,
                  host.project().comps.size(), layers, effects);
        // Values accepted that change nothing are said, not passed over.
        const std::vector<std::string> notes =
            standalone::InertValueNotes(host.project(), document);
        for (const std::string& n : notes) Print(HumanStream(json), "note: {}\n", n);
        for (const std::string& w : warnings)
            Print(ok ? HumanStream(json) : stderr, "{}: {}\n", ok ? "warning" : "error", w);
        if (json)
            PrintJson({{"command", "validate"},
                       {"ok", ok},
                       {"document", document},
                       {"valid", ok},
                       {"comps", host.project().comps.size()},
                       {"layers", layers},
                       {"effects", effects},
                       {"notes", notes},
                       {"warnings", warnings},
                       {"exitCode", ok ? 0 : 2}});
        return ok ? 0 : 2;
    } catch (const std::exception& e) {
        Print(stderr, "{}\n", e.what());
        if (json)
            PrintJson({{"command", "validate"},
                       {"ok", false},
                       {"document", document},
                       {"valid", false},
                       {"error", e.what()},
                       {"exitCode", 2}});
        return 2;
    }
}

}  // namespace tv::cli
