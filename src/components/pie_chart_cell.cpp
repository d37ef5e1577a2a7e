// The geometry of chart shapes and a wedge's outline.

#include "components/pie_chart_cell.h"

namespace km {

ChartShapeGeometry ChartShapeGeometry::in(const Rect& rect) {
  ChartShapeGeometry g;
  g.center = Point{(rect.width + rect.x) / 2, (rect.height + rect.y) / 2};
  g.radius = g.center.y < g.center.x ? g.center.y : g.center.x;
  return g;
}

Path PieChartCell::path(const Rect& rect) const {
  const ChartShapeGeometry g = ChartShapeGeometry::in(rect);
  Path p;
  // No move first: the arc's first point starts the figure, and the line back to the centre
  // leaves the wedge for the fill to close.
  p.addArc(g.center, g.radius, startAngle, endAngle, /*clockwise=*/true);
  p.addLine(g.center);
  return p;
}

Shape PieChartCell::shape() const {
  const PieChartCell cell = *this;
  return Shape::custom("pieChartCell", [cell](const Rect& r) {
    return cell.path(Rect{0, 0, r.width, r.height})
        .transformed(AffineTransform::translation(r.x, r.y));
  });
}

}  // namespace km
