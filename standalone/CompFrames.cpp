#include "standalone/CompFrames.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "standalone/Document.h"

namespace tv::standalone {

Comp& PickComp(EmbeddedHost& host, const std::string& name) {
    auto& comps = host.project().comps;
    if (comps.empty()) throw std::runtime_error("the document has no comp");
    if (name.empty()) return *comps.front();
    if (Comp* comp = host.compByName(name)) return *comp;
    std::vector<std::string> names;
    for (const auto& c : comps) names.push_back(c->name);
    throw std::runtime_error("no comp named \"" + name + "\"; " + NearestNames(name, names));
}

Layer& PickLayer(const Comp& comp, const std::string& name) {
    std::vector<std::string> names;
    for (const auto& l : comp.layers) {
        if (l->name == name) return *l;
        names.push_back(l->name);
    }
    throw std::runtime_error("the comp \"" + comp.name + "\" has no layer named \"" + name +
                             "\"; " + NearestNames(name, names));
}

A_Time CompTimeAt(const Comp& comp, double seconds) {
    if (!std::isfinite(seconds)) seconds = 0;
    const double ticks = std::round(seconds * double(comp.timeScale()));
    return A_Time{int32_t(std::clamp(ticks, -2147483648.0, 2147483647.0)), comp.timeScale()};
}

PF_RationalScale FitDownsample(const Comp& comp, int32_t width, int32_t height) {
    if (comp.width <= width && comp.height <= height) return {};
    // width / comp.width against height / comp.height, compared without division.
    if (int64_t(width) * comp.height <= int64_t(height) * comp.width)
        return {width, uint32_t(comp.width)};
    return {height, uint32_t(comp.height)};
}

}  // namespace tv::standalone
