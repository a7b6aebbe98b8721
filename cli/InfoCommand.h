// `tavrin info DOC`: comps, layers, effects, each parameter's value and visibility.
#pragma once

#include <string>

namespace tv::cli {

int RunInfoCommand(const std::string& document);

}  // namespace tv::cli
