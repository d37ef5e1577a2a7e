#include "widget_views/chart_test_support.h"

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

}  // namespace km::testing
