// `tavrin info DOC`: comps, layers, effects, each parameter's value and visibility.
#pragma once

#include <string>

namespace tv::cli {

// json: one JSON document on standard output (see docs/command-line.md).
int RunInfoCommand(const std::string& document, bool json);

}  // namespace tv::cli
