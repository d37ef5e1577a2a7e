// Drawing a parsed SVG icon with Cairo: the view box fitted into the viewport, then each shape
// as a vector path, filled and stroked, with group and shape opacity composited.

#include "platform/ui/svg/svg_draw.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <variant>
#include <vector>

#include "platform/ui/render/cairo_bridge.h"
#include "platform/ui/svg_icon.h"

namespace km {

AffineTransform svgViewBoxTransform(const Rect& viewBox, const SvgAspectRatio& ar,
                                    const Rect& viewport) {
  double sx = viewport.width / viewBox.width, sy = viewport.height / viewBox.height;
  using A = SvgAspectRatio::Align;
  double tx = viewport.x, ty = viewport.y;
  if (ar.x != A::none) {
    sx = sy = ar.slice ? std::max(sx, sy) : std::min(sx, sy);
    auto shift = [](A align, double free) {
      return align == A::min ? 0.0 : align == A::mid ? free / 2 : free;
    };
    tx += shift(ar.x, viewport.width - viewBox.width * sx);
    ty += shift(ar.y, viewport.height - viewBox.height * sy);
  }
  return {sx, 0, 0, sy, tx - viewBox.x * sx, ty - viewBox.y * sy};
}

void drawSvgIcon(cairo_t* cr, const SvgIcon& icon, const Rect& viewport) {
  if (!(icon.viewBox.width > 0 && icon.viewBox.height > 0)) return;
  cairo_save(cr);
  cairo_matrix_t base;
  cairo_get_matrix(cr, &base);
  const AffineTransform fit = svgViewBoxTransform(icon.viewBox, icon.aspectRatio, viewport);
  std::vector<double> groups;
  for (const SvgItem& item : icon.items) {
    if (const auto* begin = std::get_if<SvgBeginGroup>(&item)) {
      cairo_push_group(cr);
      groups.push_back(begin->opacity);
      continue;
    }
    if (std::holds_alternative<SvgEndGroup>(item)) {
      if (groups.empty()) continue;
      cairo_pop_group_to_source(cr);
      cairo_paint_with_alpha(cr, groups.back());
      groups.pop_back();
      continue;
    }
    const SvgShape& shape = std::get<SvgShape>(item);
    const AffineTransform t = fit.after(shape.transform);
    // A shape squashed flat (scale(0), say) shows nothing; Cairo would refuse its matrix and
    // stop drawing on the context altogether.
    const double det = t.xx * t.yy - t.xy * t.yx;
    if (!std::isfinite(det) || det == 0 || !std::isfinite(t.x0) || !std::isfinite(t.y0)) continue;
    const cairo_matrix_t m{t.xx, t.yx, t.xy, t.yy, t.x0, t.y0};
    cairo_set_matrix(cr, &base);
    cairo_transform(cr, &m);
    if (cairo_status(cr) != CAIRO_STATUS_SUCCESS) break;
    cairo_new_path(cr);
    for (const SvgSegment& s : shape.outline) {
      switch (s.op) {
        case SvgSegment::Op::moveTo:
          cairo_move_to(cr, s.p[0].x, s.p[0].y);
          break;
        case SvgSegment::Op::lineTo:
          cairo_line_to(cr, s.p[0].x, s.p[0].y);
          break;
        case SvgSegment::Op::curveTo:
          cairo_curve_to(cr, s.p[0].x, s.p[0].y, s.p[1].x, s.p[1].y, s.p[2].x, s.p[2].y);
          break;
        case SvgSegment::Op::close:
          cairo_close_path(cr);
          break;
      }
    }
    // Fill and stroke fade together, so where they overlap the stroke does not show the fill
    // through it; with one of them alone the opacity simply multiplies its alpha.
    const bool together = shape.opacity < 1 && shape.fill && shape.stroke;
    const double alpha = together ? 1 : shape.opacity;
    if (together) cairo_push_group(cr);
    if (shape.fill) {
      cairo_set_source_rgba(cr, shape.fill->red, shape.fill->green, shape.fill->blue,
                            shape.fill->alpha * alpha);
      cairo_set_fill_rule(cr, shape.fillRule == SvgFillRule::evenOdd ? CAIRO_FILL_RULE_EVEN_ODD
                                                                     : CAIRO_FILL_RULE_WINDING);
      cairo_fill_preserve(cr);
    }
    if (shape.stroke) {
      cairo_set_source_rgba(cr, shape.stroke->red, shape.stroke->green, shape.stroke->blue,
                            shape.stroke->alpha * alpha);
      render::applyStroke(cr, shape.strokeStyle);
      cairo_stroke_preserve(cr);
    }
    cairo_new_path(cr);
    if (together) {
      cairo_pop_group_to_source(cr);
      cairo_paint_with_alpha(cr, shape.opacity);
    }
  }
  // Groups left open by a caller-built icon still composite.
  while (!groups.empty()) {
    cairo_pop_group_to_source(cr);
    cairo_paint_with_alpha(cr, groups.back());
    groups.pop_back();
  }
  cairo_restore(cr);
}

}  // namespace km
