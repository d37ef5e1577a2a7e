#pragma once

// Geometry value types: points, sizes, rectangles, angles and alignments.

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

namespace km {

// Plain geometry value types in points, y pointing down (as on the phone). All are trivially
// copyable and free of shared state.

inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Point {
  double x = 0;
  double y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  double minX() const { return x; }
  double minY() const { return y; }
  double maxX() const { return x + width; }
  double maxY() const { return y + height; }
  double midX() const { return x + width / 2; }
  double midY() const { return y + height / 2; }
  Point origin() const { return {x, y}; }
  Size size() const { return {width, height}; }
  Point center() const { return {midX(), midY()}; }
  friend bool operator==(const Rect&, const Rect&) = default;
};

// An angle; SwiftUI's convention: zero at three o'clock, growing clockwise on screen.
struct Angle {
  double radians = 0;
  static constexpr Angle degrees(double d) { return Angle{d * std::numbers::pi / 180.0}; }
  static constexpr Angle fromRadians(double r) { return Angle{r}; }
  constexpr double inDegrees() const { return radians * 180.0 / std::numbers::pi; }
  friend bool operator==(const Angle&, const Angle&) = default;
};

// A point relative to a rectangle: (0, 0) is the top-leading corner, (1, 1) the bottom-trailing.
struct UnitPoint {
  double x = 0.5;
  double y = 0.5;
  static constexpr UnitPoint center() { return {0.5, 0.5}; }
  static constexpr UnitPoint topLeading() { return {0, 0}; }
  static constexpr UnitPoint top() { return {0.5, 0}; }
  static constexpr UnitPoint topTrailing() { return {1, 0}; }
  static constexpr UnitPoint leading() { return {0, 0.5}; }
  static constexpr UnitPoint trailing() { return {1, 0.5}; }
  static constexpr UnitPoint bottomLeading() { return {0, 1}; }
  static constexpr UnitPoint bottom() { return {0.5, 1}; }
  static constexpr UnitPoint bottomTrailing() { return {1, 1}; }
  Point in(const Rect& r) const { return {r.x + x * r.width, r.y + y * r.height}; }
  friend bool operator==(const UnitPoint&, const UnitPoint&) = default;
};

// Which way leading runs: left-to-right languages start at the left edge, right-to-left ones
// (Arabic, Hebrew) at the right. Stacks, alignments and per-edge padding follow it; what a
// view draws inside its own frame (text glyphs, shapes, images) is not mirrored.
enum class LayoutDirection { leftToRight, rightToLeft };

// Space per edge; leading is the left edge left-to-right and the right edge right-to-left.
struct EdgeInsets {
  double top = 0;
  double leading = 0;
  double bottom = 0;
  double trailing = 0;
  friend bool operator==(const EdgeInsets&, const EdgeInsets&) = default;
};

// A set of edges for `padding(edges, length)`.
enum class Edge : unsigned {
  top = 1,
  leading = 2,
  bottom = 4,
  trailing = 8,
  horizontal = 2 | 8,
  vertical = 1 | 4,
  all = 15,
};
constexpr Edge operator|(Edge a, Edge b) {
  return static_cast<Edge>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}
constexpr bool contains(Edge set, Edge e) {
  return (static_cast<unsigned>(set) & static_cast<unsigned>(e)) != 0;
}

enum class HorizontalAlignment { leading, center, trailing };
enum class VerticalAlignment { top, center, bottom };

struct Alignment {
  HorizontalAlignment horizontal = HorizontalAlignment::center;
  VerticalAlignment vertical = VerticalAlignment::center;

  static constexpr Alignment center() { return {}; }
  static constexpr Alignment leading() { return {HorizontalAlignment::leading}; }
  static constexpr Alignment trailing() { return {HorizontalAlignment::trailing}; }
  static constexpr Alignment top() { return {HorizontalAlignment::center, VerticalAlignment::top}; }
  static constexpr Alignment bottom() {
    return {HorizontalAlignment::center, VerticalAlignment::bottom};
  }
  static constexpr Alignment topLeading() {
    return {HorizontalAlignment::leading, VerticalAlignment::top};
  }
  static constexpr Alignment topTrailing() {
    return {HorizontalAlignment::trailing, VerticalAlignment::top};
  }
  static constexpr Alignment bottomLeading() {
    return {HorizontalAlignment::leading, VerticalAlignment::bottom};
  }
  static constexpr Alignment bottomTrailing() {
    return {HorizontalAlignment::trailing, VerticalAlignment::bottom};
  }
  friend bool operator==(const Alignment&, const Alignment&) = default;
};

// The size a parent offers a child. Per axis: nullopt asks for the child's ideal size, 0 for its
// minimum and infinity for its maximum; any other value is a concrete offer.
struct ProposedSize {
  std::optional<double> width;
  std::optional<double> height;

  static ProposedSize unspecified() { return {}; }
  static ProposedSize zero() { return {0.0, 0.0}; }
  static ProposedSize infinity() { return {kInfinity, kInfinity}; }
  friend bool operator==(const ProposedSize&, const ProposedSize&) = default;
};

// A 2-D affine map, in Cairo's layout: x' = xx*x + xy*y + x0, y' = yx*x + yy*y + y0.
struct AffineTransform {
  double xx = 1, yx = 0, xy = 0, yy = 1, x0 = 0, y0 = 0;

  static AffineTransform translation(double dx, double dy) { return {1, 0, 0, 1, dx, dy}; }
  static AffineTransform scale(double sx, double sy) { return {sx, 0, 0, sy, 0, 0}; }
  static AffineTransform rotation(Angle a) {
    const double c = std::cos(a.radians), s = std::sin(a.radians);
    return {c, s, -s, c, 0, 0};
  }
  // This map applied after `first`.
  AffineTransform after(const AffineTransform& first) const {
    return {xx * first.xx + xy * first.yx,      yx * first.xx + yy * first.yx,
            xx * first.xy + xy * first.yy,      yx * first.xy + yy * first.yy,
            xx * first.x0 + xy * first.y0 + x0, yx * first.x0 + yy * first.y0 + y0};
  }
  Point apply(Point p) const { return {xx * p.x + xy * p.y + x0, yx * p.x + yy * p.y + y0}; }
  bool isIdentity() const { return *this == AffineTransform{}; }
  friend bool operator==(const AffineTransform&, const AffineTransform&) = default;
};

}  // namespace km
