// Our geometry on a Cairo context: paths, colours, stroke styles and transforms in, device-space
// boxes out.
#include "platform/ui/render/cairo_bridge.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <variant>

namespace km::render {

namespace {

// Cairo 1.16 chooses an arc's segment count by searching for a segment angle whose error, scaled
// by the radius in device pixels, stays under its tolerance, and that search has no upper bound:
// an arc of radius 1e50 pixels (a huge radius, or a modest one under a huge scale) never
// finishes. Arcs beyond this radius, far larger than any canvas, are drawn as our own cubic
// pieces instead.
constexpr double kLargestCairoArcRadius = 1 << 20;  // device pixels
// A cubic's distance from its arc grows with the sixth power of the arc's angle: at 64 pieces a
// turn it stays under a thousandth of a pixel up to the radii where Cairo's fixed-point
// coordinates (24.8 bits) run out anyway.
constexpr int kLargeArcPiecesPerTurn = 64;

double deviceRadius(cairo_t* cr, double radius) {
  cairo_matrix_t m;
  cairo_get_matrix(cr, &m);
  // The matrix's Frobenius norm bounds its largest stretch from above, which is all the choice
  // below needs.
  return radius * std::sqrt(m.xx * m.xx + m.yx * m.yx + m.xy * m.xy + m.yy * m.yy);
}

void appendArcAsCubics(cairo_t* cr, const Path::Arc& a) {
  const double turns = std::abs(a.sweep) / (2 * std::numbers::pi);
  const int pieces = std::max(1, static_cast<int>(std::ceil(turns * kLargeArcPiecesPerTurn)));
  const double step = a.sweep / pieces;
  // The control points of a cubic through the ends of a unit arc of angle `step` lie along the
  // tangents, this far from the ends.
  const double handle = 4.0 / 3.0 * std::tan(step / 4);
  const double cx = a.center.x, cy = a.center.y, r = a.radius;
  cairo_line_to(cr, cx + r * std::cos(a.startAngle), cy + r * std::sin(a.startAngle));
  for (int i = 0; i < pieces; ++i) {
    const double t0 = a.startAngle + step * i, t1 = a.startAngle + step * (i + 1);
    const double c0 = std::cos(t0), s0 = std::sin(t0), c1 = std::cos(t1), s1 = std::sin(t1);
    cairo_curve_to(cr, cx + r * (c0 - handle * s0), cy + r * (s0 + handle * c0),
                   cx + r * (c1 + handle * s1), cy + r * (s1 - handle * c1), cx + r * c1,
                   cy + r * s1);
  }
}

}  // namespace

void setSourceRGBA(cairo_t* cr, const RGBA& c) {
  cairo_set_source_rgba(cr, c.red, c.green, c.blue, c.alpha);
}

void appendPath(cairo_t* cr, const Path& path) {
  for (const auto& e : path.elements()) {
    if (auto* m = std::get_if<Path::MoveTo>(&e)) {
      cairo_move_to(cr, m->to.x, m->to.y);
    } else if (auto* l = std::get_if<Path::LineTo>(&e)) {
      cairo_line_to(cr, l->to.x, l->to.y);
    } else if (auto* a = std::get_if<Path::Arc>(&e)) {
      if (deviceRadius(cr, a->radius) > kLargestCairoArcRadius) {
        appendArcAsCubics(cr, *a);
      } else if (a->sweep >= 0) {
        cairo_arc(cr, a->center.x, a->center.y, a->radius, a->startAngle, a->startAngle + a->sweep);
      } else {
        cairo_arc_negative(cr, a->center.x, a->center.y, a->radius, a->startAngle,
                           a->startAngle + a->sweep);
      }
    } else if (auto* c = std::get_if<Path::CurveTo>(&e)) {
      cairo_curve_to(cr, c->control1.x, c->control1.y, c->control2.x, c->control2.y, c->to.x,
                     c->to.y);
    } else {
      cairo_close_path(cr);
    }
  }
}

void applyStroke(cairo_t* cr, const StrokeStyle& s) {
  cairo_set_line_width(cr, s.lineWidth);
  static const cairo_line_cap_t caps[] = {CAIRO_LINE_CAP_BUTT, CAIRO_LINE_CAP_ROUND,
                                          CAIRO_LINE_CAP_SQUARE};
  static const cairo_line_join_t joins[] = {CAIRO_LINE_JOIN_MITER, CAIRO_LINE_JOIN_ROUND,
                                            CAIRO_LINE_JOIN_BEVEL};
  cairo_set_line_cap(cr, caps[static_cast<int>(s.lineCap)]);
  cairo_set_line_join(cr, joins[static_cast<int>(s.lineJoin)]);
  cairo_set_miter_limit(cr, s.miterLimit);
  cairo_set_dash(cr, s.dash.data(), static_cast<int>(s.dash.size()), s.dashPhase);
}

void cairoMatrix(const AffineTransform& t, cairo_matrix_t* m) {
  cairo_matrix_init(m, t.xx, t.yx, t.xy, t.yy, t.x0, t.y0);
}

bool rasterTarget(cairo_t* cr) {
  return cairo_surface_get_type(cairo_get_group_target(cr)) == CAIRO_SURFACE_TYPE_IMAGE;
}

DeviceBox deviceBoundsOf(cairo_t* cr, double x0, double y0, double x1, double y1) {
  DeviceBox box{kInfinity, kInfinity, -kInfinity, -kInfinity};
  for (Point p : {Point{x0, y0}, Point{x1, y0}, Point{x0, y1}, Point{x1, y1}}) {
    cairo_user_to_device(cr, &p.x, &p.y);
    box.minX = std::min(box.minX, p.x);
    box.minY = std::min(box.minY, p.y);
    box.maxX = std::max(box.maxX, p.x);
    box.maxY = std::max(box.maxY, p.y);
  }
  return box;
}

DeviceBox deviceClipExtents(cairo_t* cr) {
  DeviceBox clip{};
  cairo_save(cr);
  cairo_identity_matrix(cr);
  cairo_clip_extents(cr, &clip.minX, &clip.minY, &clip.maxX, &clip.maxY);
  cairo_restore(cr);
  return clip;
}

}  // namespace km::render
