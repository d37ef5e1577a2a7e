#pragma once

// Path: outlines of lines, arcs and curves.

#include <variant>
#include <vector>

#include "platform/ui/geometry.h"

namespace km {

// How a rounded rectangle's corners are drawn: quarter circles, or the phone's smoother
// "continuous" corners whose curvature grows gradually from the straight edge.
enum class RoundedCornerStyle { circular, continuous };

// An outline made of straight lines, circular arcs and cubic curves, in points. A value type:
// copies are independent. Arcs are kept as arcs (not flattened) so that trimming and drawing
// stay exact at any scale. Parts given non-finite numbers are left out (Cairo cannot draw them).
class Path {
 public:
  struct MoveTo {
    Point to;
  };
  struct LineTo {
    Point to;
  };
  // A circular arc; `sweep` is signed: positive grows the angle (clockwise on screen).
  struct Arc {
    Point center;
    double radius = 0;
    double startAngle = 0;
    double sweep = 0;
  };
  struct CurveTo {
    Point control1;
    Point control2;
    Point to;
  };
  struct Close {};
  using Element = std::variant<MoveTo, LineTo, Arc, CurveTo, Close>;

  void move(Point to);
  void addLine(Point to);
  // Adds an arc like the phone's `addArc`: from `startAngle` to `endAngle`, with `clockwise`
  // meaning decreasing angles (counter-clockwise on screen, because y points down). A line joins
  // the current point to the arc's start when there is one.
  void addArc(Point center, double radius, Angle startAngle, Angle endAngle, bool clockwise);
  void addCurve(Point to, Point control1, Point control2);
  void closeSubpath();
  void addRect(const Rect& rect);
  void addRoundedRect(const Rect& rect, double cornerRadius,
                      RoundedCornerStyle style = RoundedCornerStyle::circular);
  // A full circle starting at three o'clock and running clockwise on screen.
  void addCircle(Point center, double radius);
  // An ellipse inscribed in `rect`, starting at three o'clock, clockwise on screen.
  void addEllipse(const Rect& rect);

  const std::vector<Element>& elements() const { return elements_; }
  bool isEmpty() const { return elements_.empty(); }

  // Total drawn length, counting closing lines.
  double length() const;
  // The part of the outline between fractions `from` and `to` of its length (both clamped to
  // [0, 1]); empty when from >= to.
  Path trimmed(double from, double to) const;
  // The path with every point mapped by `t` (arcs stay arcs only under similarity maps; other
  // maps turn them into curves).
  Path transformed(const AffineTransform& t) const;
  // Bounding box of the drawn outline (control-point hull for curves).
  Rect boundingRect() const;

 private:
  std::vector<Element> elements_;
  Point current_{};
  Point subpathStart_{};
  bool hasCurrent_ = false;
};

}  // namespace km
