#pragma once

// Building an icon's outlines from SVG's drawing commands: moves, lines, cubic curves, closes,
// and elliptical arcs turned into cubic curves.

#include "platform/ui/svg_icon.h"

namespace km::svg {

class OutlineBuilder {
 public:
  SvgOutline outline;
  Point current, subpathStart;

  void moveTo(Point p) {
    outline.push_back({SvgSegment::Op::moveTo, {p, {}, {}}});
    current = subpathStart = p;
  }
  void lineTo(Point p) {
    outline.push_back({SvgSegment::Op::lineTo, {p, {}, {}}});
    current = p;
  }
  void curveTo(Point c1, Point c2, Point p) {
    outline.push_back({SvgSegment::Op::curveTo, {c1, c2, p}});
    current = p;
  }
  void close() {
    outline.push_back({SvgSegment::Op::close, {}});
    current = subpathStart;
  }

  // An elliptical arc from the current point to `end`, with SVG's arc parameters: a zero
  // radius draws a line, radii too small to reach the end grow just enough.
  void arcTo(double rx, double ry, double xAxisRotationDegrees, bool largeArc, bool sweep,
             Point end);
};

}  // namespace km::svg
