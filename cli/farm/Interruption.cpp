#include "cli/farm/Interruption.h"

#include <signal.h>

#include <atomic>

namespace tv::cli {

namespace {

std::atomic<int> gSignal{0};
struct sigaction gOldInt, gOldTerm;

extern "C" void NoteSignal(int signal) {
    int none = 0;
    gSignal.compare_exchange_strong(none, signal);
    // A second signal of either kind ends the process at once.
    struct sigaction byDefault {};
    byDefault.sa_handler = SIG_DFL;
    sigemptyset(&byDefault.sa_mask);
    sigaction(SIGINT, &byDefault, nullptr);
    sigaction(SIGTERM, &byDefault, nullptr);
}

}  // namespace

static_assert(std::atomic<int>::is_always_lock_free, "the handler stores into an atomic int");

InterruptionScope::InterruptionScope() {
    gSignal = 0;
    struct sigaction note {};
    note.sa_handler = NoteSignal;
    sigemptyset(&note.sa_mask);
    sigaction(SIGINT, &note, &gOldInt);
    sigaction(SIGTERM, &note, &gOldTerm);
}

InterruptionScope::~InterruptionScope() {
    sigaction(SIGINT, &gOldInt, nullptr);
    sigaction(SIGTERM, &gOldTerm, nullptr);
}

int InterruptingSignal() {
    return gSignal.load();
}

}  // namespace tv::cli
