// One frame's gathered geometry of a layer, written for other tools: JSON, PLY or CSV.
#pragma once

#include <ostream>
#include <string>

#include "host/ObjectMessage.h"

namespace tv::standalone {

enum class GeometryFormat { Json, Ply, Csv };

// Numbers are written in their shortest form that reads back to the same float.
void WriteGeometryJson(std::ostream& out, const ObjectMessage& message);
void WriteGeometryPly(std::ostream& out, const GeometryStore& store);
void WriteGeometryCsv(std::ostream& out, const GeometryStore& store);

std::string ShortestFloat(float v);

}  // namespace tv::standalone
