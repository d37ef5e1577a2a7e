#pragma once

#include <vector>

#include "platform/ui/display_list.h"
#include "platform/ui/geometry.h"
#include "platform/ui/path.h"

namespace km::testing {

// A chart arc as it appears in a laid-out shape: where it starts and how far it sweeps, in
// degrees, and its centre and radius in widget coordinates (before the item's transform).
struct DrawnArc {
  Point center;
  double radius = 0;
  double startDegrees = 0;
  double sweepDegrees = 0;
};

// The shapes of `kind` in drawing order.
std::vector<const DisplayItem*> shapeItems(const DisplayList& list, const char* kind);
// The first arc of a shape's path; fails the test when there is none.
DrawnArc firstArc(const DisplayItem& item);
}  // namespace km::testing
