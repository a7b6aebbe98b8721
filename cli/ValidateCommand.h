// `tavrin validate DOC`: loads a document and reports the first error, or a summary.
#pragma once

#include <string>

namespace tv::cli {

// json: one JSON document on standard output (see docs/command-line.md).
int RunValidateCommand(const std::string& document, bool json);

}  // namespace tv::cli
