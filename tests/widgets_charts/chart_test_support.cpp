#include "widgets_charts/chart_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>

namespace km::testing {

std::vector<const DisplayItem*> shapeItems(const DisplayList& list, const char* kind) {
  std::vector<const DisplayItem*> out;
  for (const DisplayItem& item : list.items) {
    const auto* shape = std::get_if<DisplayShape>(&item.content);
    if (shape && shape->kind == kind) out.push_back(&item);
  }
  return out;
}

DrawnArc firstArc(const DisplayItem& item) {
  const auto& shape = std::get<DisplayShape>(item.content);
  for (const Path::Element& e : shape.path.elements()) {
    if (const auto* arc = std::get_if<Path::Arc>(&e)) {
      return DrawnArc{arc->center, arc->radius, arc->startAngle * 180 / std::numbers::pi,
                      arc->sweep * 180 / std::numbers::pi};
    }
  }
  ADD_FAILURE() << "shape " << shape.kind << " has no arc";
  return {};
}

double screenClockDegrees(const DisplayItem& item, const DrawnArc& arc, double degrees) {
  const double r = degrees * std::numbers::pi / 180;
  const Point onArc{arc.center.x + arc.radius * std::cos(r),
                    arc.center.y + arc.radius * std::sin(r)};
  const Point p = item.transform.apply(onArc);
  const Point c = item.transform.apply(arc.center);
  // atan2 with y down: 0 at three o'clock, growing clockwise; shift so twelve o'clock is 0.
  double a = std::atan2(p.y - c.y, p.x - c.x) * 180 / std::numbers::pi + 90;
  a = std::fmod(a + 720, 360);
  return a;
}

}  // namespace km::testing
