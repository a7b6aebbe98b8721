// What a loaded document sets that changes nothing in this host, said so that a user is not left
// to wonder: each note names the document, the value's JSON path and why.
#pragma once

#include <string>
#include <vector>

#include "standalone/Composition.h"

namespace tv::standalone {

// What a motion-blur switch set on does here: nothing a frame shows.
inline constexpr const char* kMotionBlurSwitchNote =
    "the motion-blur switch changes no pixel: Tavrin's motion blur follows the comp's shutter "
    "(\"Render Motion Blur\") whatever the switches, and this host blurs no layer's transform";

// "file: $.comps[i]...: message" for each such value of `project`, in document order (comps and
// their layers keep the document's order in the project).
std::vector<std::string> InertValueNotes(const Project& project, const std::string& file);

}  // namespace tv::standalone
