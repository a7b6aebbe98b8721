// `tavrin validate DOC`: loads a document and reports the first error, or a summary.
#pragma once

#include <string>

namespace tv::cli {

// json: one JSON document on standard output (see docs/command-line.md). Every comp is also
// checked against the frame budget of `memoryLimit` (as --memory-limit; empty: the default).
// strict: warnings (setups that draw nothing) are errors, exit code 2.
int RunValidateCommand(const std::string& document, bool json, const std::string& memoryLimit,
                       bool strict);

}  // namespace tv::cli
