// libFuzzer entry point: see FuzzRecords in FuzzTargets.h.
#include "fuzz/FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tv::fuzz::FuzzRecords(data, size);
    return 0;
}
