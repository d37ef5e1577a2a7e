// The inner disc's outline.

#include "components/inner_circle.h"

#include "components/pie_chart_cell.h"

namespace km {

Path InnerCircle::path(const Rect& rect) const {
  const ChartShapeGeometry g = ChartShapeGeometry::in(rect);
  Path p;
  p.addArc(g.center, ratio * g.radius, Angle{0}, Angle{6.283185307179586}, /*clockwise=*/true);
  p.addLine(g.center);
  return p;
}

Shape InnerCircle::shape() const {
  const InnerCircle circle = *this;
  return Shape::custom("innerCircle", [circle](const Rect& r) {
    return circle.path(Rect{0, 0, r.width, r.height})
        .transformed(AffineTransform::translation(r.x, r.y));
  });
}

}  // namespace km
