// The process's resident-memory peak (VmHWM), which Linux lets a process reset to its current
// size: reset before a stage and read after it, it is the most the process held during the stage.
#pragma once

#include <malloc.h>

#include <fstream>
#include <sstream>
#include <string>

namespace tv::bench {

inline void ResetPeakMemory() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

// The process keeps the memory frames free for the next frames (KeepFreedMemoryForReuse), so a
// case would otherwise count what earlier cases left behind: hand it back before each case.
inline void StartCaseMemory() {
    malloc_trim(0);
    ResetPeakMemory();
}

// In megabytes; 0 where the system does not say.
inline double PeakMemoryMB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmHWM:", 0) == 0) {
            std::istringstream fields(line.substr(6));
            double kb = 0;
            fields >> kb;
            return kb / 1024.0;
        }
    return 0;
}

}  // namespace tv::bench
