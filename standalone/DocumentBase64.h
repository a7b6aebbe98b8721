// Base64 (RFC 4648, with padding) for the byte records kept in documents.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tv::standalone {

std::string EncodeBase64(const std::vector<uint8_t>& bytes);
// Nothing when the text is not padded base64.
std::optional<std::vector<uint8_t>> DecodeBase64(const std::string& text);

}  // namespace tv::standalone
