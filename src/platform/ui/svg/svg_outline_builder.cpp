// Elliptical arcs of SVG outlines as cubic Béziers (see svg_outline_builder.h).

#include "platform/ui/svg/svg_outline_builder.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace km::svg {

// The arc is converted from SVG's endpoint form to the centre form (the standard conversion
// published with SVG), then approximated by one cubic Bézier per quarter turn or less (radial
// error below 0.03 % of the radius).
void OutlineBuilder::arcTo(double rx, double ry, double xAxisRotationDegrees, bool largeArc,
                           bool sweep, Point end) {
  constexpr double kPi = std::numbers::pi;
  const Point start = current;
  if (start == end) return;  // no arc at all
  rx = std::abs(rx);
  ry = std::abs(ry);
  if (rx == 0 || ry == 0) {
    lineTo(end);
    return;
  }
  const double phi = std::fmod(xAxisRotationDegrees, 360.0) * kPi / 180.0;
  const double cosPhi = std::cos(phi), sinPhi = std::sin(phi);
  const double hx = (start.x - end.x) / 2, hy = (start.y - end.y) / 2;
  const double x1 = cosPhi * hx + sinPhi * hy;
  const double y1 = -sinPhi * hx + cosPhi * hy;
  // Radii too small to reach the end point grow just enough.
  const double lambda = (x1 * x1) / (rx * rx) + (y1 * y1) / (ry * ry);
  if (lambda > 1) {
    const double s = std::sqrt(lambda);
    rx *= s;
    ry *= s;
  }
  const double rx2 = rx * rx, ry2 = ry * ry, x12 = x1 * x1, y12 = y1 * y1;
  const double numerator = rx2 * ry2 - rx2 * y12 - ry2 * x12;
  const double denominator = rx2 * y12 + ry2 * x12;
  double coef = std::sqrt(std::max(0.0, numerator / denominator));
  if (largeArc == sweep) coef = -coef;
  const double cxp = coef * rx * y1 / ry;
  const double cyp = -coef * ry * x1 / rx;
  const double cx = cosPhi * cxp - sinPhi * cyp + (start.x + end.x) / 2;
  const double cy = sinPhi * cxp + cosPhi * cyp + (start.y + end.y) / 2;
  const double theta1 = std::atan2((y1 - cyp) / ry, (x1 - cxp) / rx);
  const double theta2 = std::atan2((-y1 - cyp) / ry, (-x1 - cxp) / rx);
  double delta = theta2 - theta1;
  if (sweep && delta < 0) delta += 2 * kPi;
  if (!sweep && delta > 0) delta -= 2 * kPi;
  // Ends so far apart that the grown radii overflow leave no arc to speak of: the end is joined
  // by a line, as for a zero radius.
  if (!std::isfinite(delta) || !std::isfinite(cx) || !std::isfinite(cy)) {
    lineTo(end);
    return;
  }

  const int segments = std::max(1, static_cast<int>(std::ceil(std::abs(delta) / (kPi / 2) - 1e-9)));
  const double step = delta / segments;
  const double k = 4.0 / 3.0 * std::tan(step / 4);
  // A point of the unit circle's frame mapped onto the ellipse.
  auto onEllipse = [&](double u, double v) {
    return Point{cx + cosPhi * rx * u - sinPhi * ry * v, cy + sinPhi * rx * u + cosPhi * ry * v};
  };
  double a = theta1;
  for (int i = 0; i < segments; ++i) {
    const double b = (i + 1 == segments) ? theta1 + delta : a + step;
    const double ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b);
    const Point c1 = onEllipse(ca - k * sa, sa + k * ca);
    const Point c2 = onEllipse(cb + k * sb, sb - k * cb);
    // The last segment ends exactly where the path data says, free of rounding.
    curveTo(c1, c2, i + 1 == segments ? end : onEllipse(cb, sb));
    a = b;
  }
}

}  // namespace km::svg
