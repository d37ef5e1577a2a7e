#pragma once

// PieChartCell: one wedge of a pie, and the centre and radius chart shapes share.

#include "platform/ui/geometry.h"
#include "platform/ui/path.h"
#include "platform/ui/view.h"

namespace km {

// The centre and radius a chart shape draws about in `rect`: the centre is half of (size plus
// origin) on each axis, the radius the smaller of the two. For a rectangle at the origin this is
// the usual centre and half the smaller side.
struct ChartShapeGeometry {
  Point center;
  double radius = 0;
  static ChartShapeGeometry in(const Rect& rect);
};

// One filled wedge of a pie: the arc between the two angles about the centre of its frame,
// closed through the centre. With a slice pair from a ChartDataModel (`startAngle` the far end,
// `endAngle` the near end) the arc runs back through decreasing angles, so the wedge covers the
// slice's share however large it is. A plain value; thread-safe.
struct PieChartCell {
  Angle startAngle{};
  Angle endAngle{};

  // The outline for `rect`, with ChartShapeGeometry's centre and radius. Left open: filling
  // closes it.
  Path path(const Rect& rect) const;
  // As a shape for views: the path is computed in the frame's own coordinates (origin at its
  // top-left corner) and placed where the frame is.
  Shape shape() const;
};

}  // namespace km
