// libFuzzer entry point: see FuzzSequence in FuzzTargets.h.
#include "fuzz/FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tv::fuzz::FuzzSequence(data, size);
    return 0;
}
