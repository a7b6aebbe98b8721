// Composition documents (JSON) loaded into the embedded host's project, with errors that name
// the file, the JSON path and what would be valid.
#pragma once

#include <stdexcept>
#include <string>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

class DocumentError : public std::runtime_error {
  public:
    DocumentError(const std::string& file, const std::string& path, const std::string& message)
        : std::runtime_error(file + ": " + (path.empty() ? "" : path + ": ") + message),
          file_(file),
          path_(path),
          message_(message) {}
    const std::string& file() const { return file_; }
    const std::string& jsonPath() const { return path_; }
    const std::string& message() const { return message_; }

  private:
    std::string file_, path_, message_;
};

// Loads a document file into the host (which should hold no project yet). Throws DocumentError.
void LoadDocumentFile(const std::string& file, EmbeddedHost& host);
// Loads a document from text; `file` names it in errors and anchors relative paths.
void LoadDocumentText(const std::string& text, const std::string& file, EmbeddedHost& host);

// The closest of the candidates to `name` (by edit distance), for "did you mean" hints.
std::string NearestNames(const std::string& name, const std::vector<std::string>& candidates);

}  // namespace tv::standalone
