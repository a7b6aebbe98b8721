// --json: each command prints one JSON document on standard output, and its human lines go to
// standard error instead.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

namespace tv::cli {

// Keys keep the order they were added in, so a document reads as it is built.
using Json = nlohmann::ordered_json;

// Where a command's human lines go: standard output normally, standard error under --json so
// that standard output holds only the JSON document.
std::FILE* HumanStream(bool json);

// Prints the document, indented, and a newline on standard output.
void PrintJson(const Json& document);

// The document of a command that failed before it could report anything else:
// {"command": ..., "ok": false, "error": message, "exitCode": exitCode}.
Json JsonFailure(const std::string& command, const std::string& message, int exitCode);

}  // namespace tv::cli
