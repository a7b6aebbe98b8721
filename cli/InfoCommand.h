// `tavrin validate DOC` and `tavrin info DOC`.
#pragma once

#include <string>

namespace tv::cli {

int RunValidateCommand(const std::string& document);
int RunInfoCommand(const std::string& document);

}  // namespace tv::cli
