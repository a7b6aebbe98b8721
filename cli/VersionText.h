// `tavrin --version`: what a bug report needs to name the build and the machine's GL.
#pragma once

#include <string>

namespace tv::cli {

// The version, the commit the build was made from, the GL renderer and version a context gives
// here (or why none can be made) and the libraries' versions, one a line.
std::string VersionText();

}  // namespace tv::cli
