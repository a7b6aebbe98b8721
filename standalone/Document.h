// Composition documents (JSON) loaded into the embedded host's project, with errors that name
// the file, the JSON path and what would be valid.
#pragma once

#include <stdexcept>
#include <string>

#include "standalone/EmbeddedHost.h"
#include "standalone/TerminalText.h"

namespace tv::standalone {

class DocumentError : public std::runtime_error {
  public:
    // A path or message that quotes a huge name or value is cut in the middle: an error is a
    // line a person reads, not a copy of the input.
    DocumentError(const std::string& file, const std::string& path, const std::string& message)
        : std::runtime_error(BoundedText(file, 1024) + ": " +
                             (path.empty() ? "" : BoundedText(path, 1024) + ": ") +
                             BoundedText(message, 1024)),
          file_(file),
          path_(BoundedText(path, 1024)),
          message_(BoundedText(message, 1024)) {}
    const std::string& file() const { return file_; }
    const std::string& jsonPath() const { return path_; }
    const std::string& message() const { return message_; }

  private:
    std::string file_, path_, message_;
};

// The largest document file read (a document is a description, not data: 256 MB is far past
// any real one).
inline constexpr size_t kMaxDocumentBytes = size_t(256) << 20;

// Loads a document file into the host (which should hold no project yet). Throws DocumentError.
void LoadDocumentFile(const std::string& file, EmbeddedHost& host);
// Loads a document from text; `file` names it in errors and anchors relative paths.
void LoadDocumentText(const std::string& text, const std::string& file, EmbeddedHost& host);

// The closest of the candidates to `name` (by edit distance), for "did you mean" hints. With
// `withinNames`, a name may also match a part of a candidate ("Beams" or "Tavrin Beems" is near
// "Tavrin Beams Renderer"), though a whole-name match of the same distance comes first.
std::string NearestNames(const std::string& name, const std::vector<std::string>& candidates,
                         bool withinNames = false);

}  // namespace tv::standalone
