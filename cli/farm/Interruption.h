// Stopping a render cleanly: the first SIGINT or SIGTERM is noted and the frames already being
// drawn are finished and written; frames not yet started are left. A second signal ends the
// process at once (the disposition goes back to the default after the first), and the frame
// files stay whole either way because each is written under a temporary name and renamed.
#pragma once

namespace tv::cli {

// Installs the handlers for its lifetime and restores the previous ones after.
class InterruptionScope {
  public:
    InterruptionScope();
    ~InterruptionScope();
    InterruptionScope(const InterruptionScope&) = delete;
    InterruptionScope& operator=(const InterruptionScope&) = delete;
};

// The signal that asked the run to stop, or 0.
int InterruptingSignal();

// The exit code of a run stopped by `signal`: 128 plus its number, as shells report it.
inline int InterruptedExitCode(int signal) {
    return 128 + signal;
}

}  // namespace tv::cli
