#include "cli/StudioCommand.h"
#include "cli/Print.h"

#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdio>
#include <thread>

#include "studio/Server.h"

extern char** environ;

namespace tv::cli {

namespace {

// Asks the desktop to open the address; a machine without one says so and goes on serving.
void OpenBrowser(const std::string& url) {
    const char* argv[] = {"xdg-open", url.c_str(), nullptr};
    pid_t pid = 0;
    if (posix_spawnp(&pid, "xdg-open", nullptr, nullptr, const_cast<char**>(argv), environ) != 0) {
        Print(stderr, "tavrin studio: cannot run xdg-open; open the address yourself\n");
        return;
    }
    std::thread([pid] { waitpid(pid, nullptr, 0); }).detach();
}

}  // namespace

int RunStudioCommand(const StudioCommandOptions& options) {
    // Ctrl-C and a TERM stop the server from a thread of its own (a signal handler may not);
    // the server's threads inherit the blocked signals.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    try {
        studio::StudioServer server(
            {options.document, options.port, options.allowDirs, size_t(16) << 20});
        server.bind();
        std::thread([&server, stopSignals] {
            int signal = 0;
            sigwait(&stopSignals, &signal);
            server.stop();
        }).detach();
        Print("tavrin studio: {} at {}\n",
              options.document.empty() ? std::string("a new document") : options.document,
              server.url());
        Print("tavrin studio: serving on 127.0.0.1 only; Ctrl-C stops it\n");
        std::fflush(stdout);
        if (options.open) OpenBrowser(server.url());
        server.run();
        Print("tavrin studio: stopped\n");
        return 0;
    } catch (const std::exception& e) {
        Print(stderr, "tavrin studio: {}\n", e.what());
        return 2;
    }
}

}  // namespace tv::cli
