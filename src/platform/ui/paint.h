#pragma once

// Paint: a colour or a gradient, and stroke styles.

#include <variant>
#include <vector>

#include "base/enum_names.h"
#include "platform/ui/color.h"
#include "platform/ui/geometry.h"

namespace km {

// Fill and stroke styles: a colour or a gradient. Value types; gradient points are relative to
// the frame of the shape they paint, as on the phone.

struct GradientStop {
  Color color;
  double location = 0;
  friend bool operator==(const GradientStop&, const GradientStop&) = default;
};

struct Gradient {
  std::vector<GradientStop> stops;

  Gradient() = default;
  explicit Gradient(std::vector<GradientStop> s) : stops(std::move(s)) {}
  // Colours spread evenly from 0 to 1.
  static Gradient evenlySpaced(const std::vector<Color>& colors);
  friend bool operator==(const Gradient&, const Gradient&) = default;
};

struct LinearGradient {
  Gradient gradient;
  UnitPoint startPoint = UnitPoint::top();
  UnitPoint endPoint = UnitPoint::bottom();
  friend bool operator==(const LinearGradient&, const LinearGradient&) = default;
};

// Colours swept around `center`: location 0 at `startAngle`, 1 at `endAngle` (angles from
// three o'clock, clockwise on screen). Outside the sweep the end colours continue.
struct AngularGradient {
  Gradient gradient;
  UnitPoint center = UnitPoint::center();
  Angle startAngle{};
  Angle endAngle = Angle::degrees(360);
  friend bool operator==(const AngularGradient&, const AngularGradient&) = default;
};

using Paint = std::variant<Color, LinearGradient, AngularGradient>;

enum class LineCap { butt, round, square };
enum class LineJoin { miter, round, bevel };

// Their names wherever they travel as text: SVG attributes, view descriptions, display-list JSON.
inline constexpr auto kLineCapNames = enumNames<LineCap>(
    {{LineCap::butt, "butt"}, {LineCap::round, "round"}, {LineCap::square, "square"}});
inline constexpr auto kLineJoinNames = enumNames<LineJoin>(
    {{LineJoin::miter, "miter"}, {LineJoin::round, "round"}, {LineJoin::bevel, "bevel"}});

struct StrokeStyle {
  double lineWidth = 1;
  LineCap lineCap = LineCap::butt;
  LineJoin lineJoin = LineJoin::miter;
  double miterLimit = 10;
  std::vector<double> dash;
  double dashPhase = 0;
  friend bool operator==(const StrokeStyle&, const StrokeStyle&) = default;
};

inline Gradient Gradient::evenlySpaced(const std::vector<Color>& colors) {
  Gradient g;
  const size_t n = colors.size();
  for (size_t i = 0; i < n; ++i) {
    g.stops.push_back({colors[i], n > 1 ? static_cast<double>(i) / static_cast<double>(n - 1) : 0});
  }
  return g;
}

}  // namespace km
