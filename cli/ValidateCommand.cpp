#include "cli/ValidateCommand.h"

#include <fmt/format.h>

#include "standalone/Document.h"

namespace tv::cli {

int RunValidateCommand(const std::string& document) {
    try {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentFile(document, host);
        size_t layers = 0, effects = 0;
        for (const auto& c : host.project().comps) {
            layers += c->layers.size();
            for (const auto& l : c->layers) effects += l->effects.size();
        }
        fmt::print("{}: valid ({} comps, {} layers, {} effects)\n", document,
                   host.project().comps.size(), layers, effects);
        return 0;
    } catch (const std::exception& e) {
        fmt::print(stderr, "{}\n", e.what());
        return 2;
    }
}

}  // namespace tv::cli
