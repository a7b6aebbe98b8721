// Writes the embedded host's project back as a composition document that reopens as it was:
// values in user units, files relative to the new document, each instance's record in base64.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

// The document text for a project to be stored at `file` (which anchors relative paths). Asks
// each instance to flatten its record first, as a host does before saving.
std::string SaveDocumentText(EmbeddedHost& host, const std::string& file);
// Writes the document; throws std::runtime_error when the file cannot be written.
void SaveDocumentFile(EmbeddedHost& host, const std::string& file);

// A parameter value in the user units a saved document writes for it (popups by entry text,
// colours as "#rrggbb", curves by name or samples, texts as strings, a layer by name).
nlohmann::ordered_json ParamUserValue(EmbeddedHost& host, const ParamSpec& spec,
                                      const PF_ParamDef& value, const Comp& comp);
// The key a saved document gives a parameter: "Name", "Name#2" for the second of a repeated
// name, "#index" for a parameter without a name.
std::string ParamDocumentKey(const InstalledEffect& effect, const ParamSpec& spec);

}  // namespace tv::standalone
