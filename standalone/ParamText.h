// Parameter kinds and ranges in words, for listings and error messages.
#pragma once

#include <string>
#include <string_view>

#include "host/ParamTable.h"

namespace tv::standalone {

std::string_view ParamKindName(PF_ParamType type);
std::string DescribeParamRange(const ParamSpec& spec);

// The pieces of a parameter's reference line, each alone: its default as a document writes it
// ("2", "Sphere", "on", "#ffffff", "[50%, 50%] of the layer"), its range ("0..1000, slider
// 0..10", the popup's choices), and its unit in words ("" for none).
std::string ParamDefaultText(const ParamSpec& spec);
std::string ParamRangeText(const ParamSpec& spec);
std::string ParamUnitText(const ParamSpec& spec);

// Whether a row is a value users set, and so must say what it does: every row but the input
// layer and the ends of a group.
bool IsDocumentedParam(const ParamSpec& spec);

}  // namespace tv::standalone
