// The SVG engine: what the renderers emit, kept as vector shapes instead of pixels. Points become
// circles, lines lines (or outlines when their ends differ in width), triangles polygons of their
// mean colour; sprites and beams' tubes have no vector form here.
#pragma once

#include <string>

#include "engines/RenderEngine.h"

namespace tv {

class SVGEngine : public TV_Base_Render {
  public:
    SVGEngine(HostServices* host, int32_t width, int32_t height);
    PF_Err drawPoints(std::vector<DrawPoint>& points) override;
    PF_Err drawLines(std::vector<DrawLine>& lines) override;
    PF_Err drawTriangles(std::vector<DrawTriangle>& triangles) override;

    // The shapes so far, one element a line, in the order they arrived.
    const std::string& shapes() const { return shapes_; }

  private:
    std::string shapes_;
};

// A whole file: the head, then one frame's shapes, or every frame in its own group shown in turn
// for 1 / fps seconds, looping.
std::string SvgDocument(int32_t width, int32_t height, const std::vector<std::string>& frames,
                        double fps, bool sequence);

}  // namespace tv
