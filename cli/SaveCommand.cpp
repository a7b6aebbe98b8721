#include "cli/SaveCommand.h"
#include "cli/Print.h"

#include <fmt/format.h>

#include "standalone/Document.h"
#include "standalone/DocumentWriter.h"

namespace tv::cli {

int RunSaveCommand(const std::string& document, const std::string& output) {
    try {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentFile(document, host);
        standalone::SaveDocumentFile(host, output);
        Print("{}: written\n", output);
        return 0;
    } catch (const std::exception& e) {
        Print(stderr, "tavrin save: {}\n", e.what());
        return 2;
    }
}

}  // namespace tv::cli
