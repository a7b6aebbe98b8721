// libFuzzer entry point: see FuzzCommandLine in FuzzTargets.h.
#include "fuzz/FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tv::fuzz::FuzzCommandLine(data, size);
    return 0;
}
