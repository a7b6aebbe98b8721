// Writes the embedded host's project back as a composition document that reopens as it was:
// values in user units, files relative to the new document, each instance's record in base64.
#pragma once

#include <string>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

// The document text for a project to be stored at `file` (which anchors relative paths). Asks
// each instance to flatten its record first, as a host does before saving.
std::string SaveDocumentText(EmbeddedHost& host, const std::string& file);
// Writes the document; throws std::runtime_error when the file cannot be written.
void SaveDocumentFile(EmbeddedHost& host, const std::string& file);

}  // namespace tv::standalone
