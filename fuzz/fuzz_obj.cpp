// libFuzzer entry point: see FuzzObj in FuzzTargets.h.
#include "fuzz/FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tv::fuzz::FuzzObj(data, size);
    return 0;
}
