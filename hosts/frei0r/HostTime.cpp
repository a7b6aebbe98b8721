#include "hosts/frei0r/HostTime.h"

#include <dlfcn.h>

#include <cmath>
#include <cstring>

namespace tv::frei0r {

double HostSeconds(double time, const void* caller) {
    Dl_info info{};
    if (caller && dladdr(caller, &info) && info.dli_fname &&
        std::strstr(info.dli_fname, "libavfilter"))
        return time / 1000.0;
    return time;
}

}  // namespace tv::frei0r

namespace tv::frei0r {

double SnapToFrame(double seconds, double fps) {
    if (!(fps > 0) || !std::isfinite(seconds)) return seconds;
    const double frame = std::round(seconds * fps);
    return std::abs(seconds - frame / fps) <= 0.0005 ? frame / fps : seconds;
}

}  // namespace tv::frei0r
