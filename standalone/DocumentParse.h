// Parsing a document's text: JSON syntax, and keys given twice in one object, which a JSON
// reader would otherwise settle silently by keeping the last.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace tv::standalone {

// Throws DocumentError naming the file and, for a repeated key, its JSON path.
nlohmann::json ParseDocumentJson(const std::string& text, const std::string& file);

}  // namespace tv::standalone
