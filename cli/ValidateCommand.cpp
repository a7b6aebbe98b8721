#include "cli/ValidateCommand.h"

#include <fmt/format.h>

#include "cli/JsonOutput.h"
#include "standalone/Document.h"

namespace tv::cli {

int RunValidateCommand(const std::string& document, bool json) {
    try {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentFile(document, host);
        size_t layers = 0, effects = 0;
        for (const auto& c : host.project().comps) {
            layers += c->layers.size();
            for (const auto& l : c->layers) effects += l->effects.size();
        }
        fmt::print(HumanStream(json), "{}: valid ({} comps, {} layers, {} effects)\n", document,
                   host.project().comps.size(), layers, effects);
        if (json)
            PrintJson({{"command", "validate"},
                       {"ok", true},
                       {"document", document},
                       {"valid", true},
                       {"comps", host.project().comps.size()},
                       {"layers", layers},
                       {"effects", effects},
                       {"exitCode", 0}});
        return 0;
    } catch (const std::exception& e) {
        fmt::print(stderr, "{}\n", e.what());
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
