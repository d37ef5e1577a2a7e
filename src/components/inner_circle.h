#pragma once

// InnerCircle: the disc that turns a pie into a ring.

#include "platform/ui/geometry.h"
#include "platform/ui/path.h"
#include "platform/ui/view.h"

namespace km {

// A filled disc about the centre of its frame whose radius is `ratio` times the frame's
// available radius (see ChartShapeGeometry). Laid over a pie it turns the pie into a ring.
// A plain value; thread-safe.
struct InnerCircle {
  double ratio = 1;

  Path path(const Rect& rect) const;
  // As a shape for views, computed in the frame's own coordinates and placed where it is.
  Shape shape() const;
};

}  // namespace km
