// `tavrin effects [NAME]`: the effect family and their parameter tables, for users.
#pragma once

#include <string>

namespace tv::cli {

int RunEffectsCommand(const std::string& name);

}  // namespace tv::cli
