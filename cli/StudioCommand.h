// tavrin studio: starts the studio's server (studio/) on 127.0.0.1 and prints its address.
#pragma once

#include <string>
#include <vector>

namespace tv::cli {

struct StudioCommandOptions {
    std::string document;
    int port = 0;
    bool open = false;
    std::vector<std::string> allowDirs;
};

int RunStudioCommand(const StudioCommandOptions& options);

}  // namespace tv::cli
