#include "engines/svg/SvgShapes.h"

#include <algorithm>
#include <cmath>

namespace tv::svg {

Color Color::FromFloats(const float rgb[3]) {
    auto byte = [](float v) { return int(std::clamp(v, 0.0f, 1.0f) * 255.0f + 0.5f); };
    return Color(byte(rgb[0]), byte(rgb[1]), byte(rgb[2]));
}

void Color::serialize(std::ostream& out) const {
    if (transparent)
        out << "transparent";
    else
        out << "rgb(" << red << "," << green << "," << blue << ")";
}

void Fill::serialize(std::ostream& out) const {
    out << "fill=\"";
    color.serialize(out);
    out << "\" fill-opacity=\"";
    opacity.serialize(out);
    out << "\"";
}

void Stroke::serialize(std::ostream& out) const {
    if (width == -1) return;
    out << "stroke-width=\"" << width << "\" stroke=\"";
    color.serialize(out);
    out << "\" stroke-opacity=\"";
    opacity.serialize(out);
    out << "\" stroke-linecap=\"round\"";
}

void Circle::serialize(std::ostream& out) const {
    out << "<circle cx=\"" << center.x << "\" cy=\"" << center.y << "\" r=\"" << radius << "\" ";
    fill.serialize(out);
    if (stroke.width != -1) {
        out << " ";
        stroke.serialize(out);
    }
    out << " />";
}

void Line::serialize(std::ostream& out) const {
    out << "<line x1=\"" << start.x << "\" y1=\"" << start.y << "\" x2=\"" << end.x << "\" y2=\""
        << end.y << "\" ";
    stroke.serialize(out);
    out << " />";
}

void Line::offset(double x, double y) {
    start.x += x, start.y += y, end.x += x, end.y += y;
}

void Polygon::serialize(std::ostream& out) const {
    out << "<polygon points=\"";
    for (size_t i = 0; i < points.size(); ++i)
        out << (i ? " " : "") << points[i].x << "," << points[i].y;
    out << "\" ";
    fill.serialize(out);
    if (stroke.width != -1) {
        out << " ";
        stroke.serialize(out);
    }
    out << " />";
}

void Polygon::offset(double x, double y) {
    for (Point& p : points) p.x += x, p.y += y;
}

void PerspLine::serialize(std::ostream& out) const {
    const double dx = end.x - start.x, dy = end.y - start.y;
    const double len = std::hypot(dx, dy);
    if (len < 0.1) return;
    const double ra = std::max(startRadius, 1.0), rb = std::max(endRadius, 1.0);
    const double nx = -dy / len, ny = dx / len;
    // Along one side, round the end, back along the other side, round the start.
    out << "<path d=\"M " << start.x + nx * ra << " " << start.y + ny * ra << " L "
        << end.x + nx * rb << " " << end.y + ny * rb << " A " << rb << " " << rb << " 0 0 1 "
        << end.x - nx * rb << " " << end.y - ny * rb << " L " << start.x - nx * ra << " "
        << start.y - ny * ra << " A " << ra << " " << ra << " 0 0 1 " << start.x + nx * ra << " "
        << start.y + ny * ra << " Z\" ";
    fill.serialize(out);
    out << " />";
}

void PerspLine::offset(double x, double y) {
    start.x += x, start.y += y, end.x += x, end.y += y;
}

}  // namespace tv::svg
