// libFuzzer entry point: see FuzzDocument in FuzzTargets.h.
#include "fuzz/FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tv::fuzz::FuzzDocument(data, size);
    return 0;
}
