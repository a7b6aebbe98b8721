#include "engines/SVGEngine.h"

#include <sstream>

#include "engines/svg/SvgShapes.h"

namespace tv {

SVGEngine::SVGEngine(HostServices* host, int32_t width, int32_t height)
    : TV_Base_Render(host, nullptr, 8) {
    perspectiveSizes = true;
    this->width = width;
    this->height = height;
}

namespace {
void Append(std::string& to, const svg::Serializeable& shape) {
    std::ostringstream out;
    shape.serialize(out);
    if (out.tellp() > 0) to += out.str() + "\n";
}
}  // namespace

PF_Err SVGEngine::drawPoints(std::vector<DrawPoint>& points) {
    for (DrawPoint p : points) {
        if (!projectPoint(p) || !(p.size > 0)) continue;
        Append(shapes_,
               svg::Circle({p.x, p.y}, p.size,
                           svg::Fill(svg::Color::FromFloats(p.color), svg::Opacity(p.color[3]))));
    }
    return PF_Err_NONE;
}

PF_Err SVGEngine::drawLines(std::vector<DrawLine>& lines) {
    for (DrawLine l : lines) {
        if (!projectLine(l)) continue;
        float mean[4];
        for (int c = 0; c < 4; ++c) mean[c] = (l.startColor[c] + l.endColor[c]) * 0.5f;
        const svg::Color color = svg::Color::FromFloats(mean);
        if (l.startSize != l.endSize)
            Append(shapes_,
                   svg::PerspLine({l.start[0], l.start[1]}, l.startSize, {l.end[0], l.end[1]},
                                  l.endSize, svg::Fill(color, svg::Opacity(mean[3]))));
        else
            Append(shapes_,
                   svg::Line({l.start[0], l.start[1]}, {l.end[0], l.end[1]},
                             svg::Stroke(2.0 * l.startSize, color, svg::Opacity(mean[3]))));
    }
    return PF_Err_NONE;
}

PF_Err SVGEngine::drawTriangles(std::vector<DrawTriangle>& triangles) {
    for (DrawTriangle t : triangles) {
        if (!projectTriangle(t)) continue;
        // Gradients across a triangle have no export: the corners' mean colour.
        float mean[4] = {0, 0, 0, 0};
        for (const auto& c : t.colors)
            for (int k = 0; k < 4; ++k) mean[k] += c[k] / 3.0f;
        Append(shapes_,
               svg::Polygon({{t.corners[0][0], t.corners[0][1]},
                             {t.corners[1][0], t.corners[1][1]},
                             {t.corners[2][0], t.corners[2][1]}},
                            svg::Fill(svg::Color::FromFloats(mean), svg::Opacity(mean[3]))));
    }
    return PF_Err_NONE;
}

std::string SvgDocument(int32_t width, int32_t height, const std::vector<std::string>& frames,
                        double fps, bool sequence) {
    std::ostringstream out;
    out << "<?xml version=\"1.0\" standalone=\"no\"?>\n"
        << "<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\" "
           "\"http://www.w3.org/Graphics/SVG/1.1/DTD/svg11.dtd\">\n"
        << "<svg width=\"" << width << "px\" height=\"" << height
        << "px\" xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\">\n";
    if (!sequence) {
        if (!frames.empty()) out << frames.front();
    } else {
        out << "<style type=\"text/css\"><![CDATA[ g { visibility:hidden } ]]></style>\n";
        const size_t n = frames.size();
        const double ms = fps > 0 ? 1000.0 / fps : 0;
        for (size_t i = 0; i < n; ++i) {
            out << "<g>\n<animate id=\"FRAME_" << i << "\" attributeName=\"visibility\" "
                << "values=\"visible\" dur=\"" << ms << "ms\" ";
            if (i == 0 && n == 1)
                out << "begin=\"0s\" />\n";
            else if (i == 0)
                out << "begin=\"0s;FRAME_" << n - 1 << ".end\" />\n";
            else
                out << "begin=\"FRAME_" << i - 1 << ".end\" />\n";
            out << frames[i] << "</g>\n";
        }
    }
    out << "</svg>\n";
    return out.str();
}

}  // namespace tv
