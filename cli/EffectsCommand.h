// `tavrin effects [NAME]`: the effect family and their parameter tables, for users.
#pragma once

#include <string>

namespace tv::cli {

// json: one JSON document on standard output (see docs/command-line.md).
int RunEffectsCommand(const std::string& name, bool json);

}  // namespace tv::cli
