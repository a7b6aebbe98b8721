// `tavrin save DOC -o OUT`: loads a document and writes it back as tavrin writes documents
// (every value explicit, each instance's record kept).
#pragma once

#include <string>

namespace tv::cli {

int RunSaveCommand(const std::string& document, const std::string& output);

}  // namespace tv::cli
