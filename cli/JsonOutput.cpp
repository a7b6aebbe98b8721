#include "cli/JsonOutput.h"

namespace tv::cli {

std::FILE* HumanStream(bool json) {
    return json ? stderr : stdout;
}

void PrintJson(const Json& document) {
    const std::string text = document.dump(2, ' ', true, Json::error_handler_t::replace);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

Json JsonFailure(const std::string& command, const std::string& message, int exitCode) {
    return {{"command", command}, {"ok", false}, {"error", message}, {"exitCode", exitCode}};
}

}  // namespace tv::cli
