// Text and curve parameters in documents: the name filters are arbitrary data holding a u32 byte
// length and then UTF-8 bytes, which documents write as a plain string; distance curves are
// written by name when they are one of the named curves.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/ParamTable.h"

namespace tv::standalone {

// Whether a parameter holds text: the main effect's tag "AStr" or the effectors' light-name tag.
bool IsTextParam(const ParamSpec& spec);

// Whether a parameter holds a distance curve, or a colour gradient (the same tag, no curve).
bool IsCurveParam(const ParamSpec& spec);
bool IsGradientParam(const ParamSpec& spec);
// "falling" or "flat" when the 800 bytes are exactly that named curve; nothing otherwise.
std::optional<std::string> CurveName(const std::vector<uint8_t>& bytes);

// The stored record of a text: its byte length, then its bytes (no terminator).
std::vector<uint8_t> MakeTextRecord(const std::string& text);
// The text of a record; nothing when the bytes are too short for the length they announce.
std::optional<std::string> ReadTextRecord(const std::vector<uint8_t>& bytes);

}  // namespace tv::standalone
