#include "standalone/DocumentNotes.h"

namespace tv::standalone {

std::vector<std::string> InertValueNotes(const Project& project, const std::string& file) {
    std::vector<std::string> notes;
    for (size_t c = 0; c < project.comps.size(); ++c) {
        const Comp& comp = *project.comps[c];
        const std::string path = "$.comps[" + std::to_string(c) + "]";
        if (comp.motionBlur)
            notes.push_back(file + ": " + path + ".motionBlur: " + kMotionBlurSwitchNote);
        for (size_t l = 0; l < comp.layers.size(); ++l)
            if (comp.layers[l]->motionBlur)
                notes.push_back(file + ": " + path + ".layers[" + std::to_string(l) +
                                "].motionBlur: " + kMotionBlurSwitchNote);
    }
    return notes;
}

}  // namespace tv::standalone
