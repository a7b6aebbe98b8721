// The SVG elements the export writes: each shape knows its XML.
#pragma once

#include <ostream>
#include <vector>

namespace tv::svg {

class Serializeable {
  public:
    virtual ~Serializeable() = default;
    virtual void serialize(std::ostream& out) const = 0;
};

// An 8-bit colour, or transparent.
class Color : public Serializeable {
  public:
    Color() = default;
    Color(int r, int g, int b) : red(r), green(g), blue(b), transparent(false) {}
    // From 0..1 floats.
    static Color FromFloats(const float rgb[3]);
    void serialize(std::ostream& out) const override;
    int red = 0, green = 0, blue = 0;
    bool transparent = true;
};

class Opacity : public Serializeable {
  public:
    explicit Opacity(float v = 1) : value(v) {}
    void serialize(std::ostream& out) const override { out << value; }
    float value = 1;
};

// The attributes fill and fill-opacity.
class Fill : public Serializeable {
  public:
    Fill() = default;
    Fill(Color c, Opacity o) : color(c), opacity(o) {}
    void serialize(std::ostream& out) const override;
    Color color;
    Opacity opacity;
};

// stroke-width, stroke, stroke-opacity and round caps; a width of -1 writes nothing.
class Stroke : public Serializeable {
  public:
    Stroke() = default;
    Stroke(double w, Color c, Opacity o) : width(w), color(c), opacity(o) {}
    void serialize(std::ostream& out) const override;
    double width = -1;
    Color color;
    Opacity opacity;
};

struct Point {
    double x = 0, y = 0;
};

class Shape : public Serializeable {
  public:
    virtual void offset(double x, double y) = 0;
};

class Circle : public Shape {
  public:
    Circle(Point c, double r, Fill f, Stroke s = {}) : center(c), radius(r), fill(f), stroke(s) {}
    void serialize(std::ostream& out) const override;
    void offset(double x, double y) override { center.x += x, center.y += y; }
    Point center;
    double radius;
    Fill fill;
    Stroke stroke;
};

class Line : public Shape {
  public:
    Line(Point a, Point b, Stroke s) : start(a), end(b), stroke(s) {}
    void serialize(std::ostream& out) const override;
    void offset(double x, double y) override;
    Point start, end;
    Stroke stroke;
};

class Polygon : public Shape {
  public:
    Polygon(std::vector<Point> p, Fill f, Stroke s = {})
        : points(std::move(p)), fill(f), stroke(s) {}
    void serialize(std::ostream& out) const override;
    void offset(double x, double y) override;
    std::vector<Point> points;
    Fill fill;
    Stroke stroke;
};

// A line whose ends differ in width, as the outline of a path with round ends: move, line,
// arc, line, arc. Ends closer than 0.1 write nothing; radii below 1 are taken as 1.
class PerspLine : public Shape {
  public:
    PerspLine(Point a, double ra, Point b, double rb, Fill f)
        : start(a), end(b), startRadius(ra), endRadius(rb), fill(f) {}
    void serialize(std::ostream& out) const override;
    void offset(double x, double y) override;
    Point start, end;
    double startRadius, endRadius;
    Fill fill;
};

}  // namespace tv::svg
