// `tavrin validate DOC`: loads a document and reports the first error, or a summary.
#pragma once

#include <string>

namespace tv::cli {

int RunValidateCommand(const std::string& document);

}  // namespace tv::cli
