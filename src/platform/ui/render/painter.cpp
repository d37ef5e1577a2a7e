// The display-list painter: walks a widget's display list and draws each item (shapes, texts,
// images, shadows) with Cairo, in the colours of the rendering mode.
#include "platform/ui/render/painter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <variant>
#include <vector>

#include "platform/ui/render/cairo_bridge.h"
#include "platform/ui/render/cairo_canvas.h"
#include "platform/ui/render/color_treatment.h"
#include "platform/ui/render/gradient.h"
#include "platform/ui/render/shadow.h"
#include "platform/ui/text_engine.h"

namespace km {

using namespace render;

namespace {

void drawMissingImage(cairo_t* cr, const Rect& f) {
  // A loud placeholder: a magenta box with a cross.
  cairo_save(cr);
  cairo_set_source_rgba(cr, kMissingColor.red, kMissingColor.green, kMissingColor.blue, 1);
  cairo_set_line_width(cr, std::max(0.5, std::min(f.width, f.height) / 12));
  cairo_rectangle(cr, f.x, f.y, f.width, f.height);
  cairo_move_to(cr, f.x, f.y);
  cairo_line_to(cr, f.maxX(), f.maxY());
  cairo_move_to(cr, f.maxX(), f.y);
  cairo_line_to(cr, f.x, f.maxY());
  cairo_stroke(cr);
  cairo_restore(cr);
}

void drawImage(cairo_t* cr, const DisplayItem& item, const DisplayImage& image,
               const RenderOptions& o, const ColorTreatment& t) {
  const Rect& f = item.frame;
  if (!o.assets || !o.assets->hasImage(image.name)) {
    drawMissingImage(cr, f);
    return;
  }
  // The image is first drawn into a group: as a mask for template rendering, for opacity, or
  // to be recoloured in the monochrome modes. A file that cannot be drawn shows as missing.
  // The group is clipped to the image's frame: otherwise it is as large as the whole widget.
  cairo_save(cr);
  cairo_rectangle(cr, f.x, f.y, f.width, f.height);
  cairo_clip(cr);
  cairo_push_group_with_content(cr, CAIRO_CONTENT_COLOR_ALPHA);
  CairoCanvas canvas(cr);
  const bool drawn = o.assets->drawImage(canvas, image.name, f);
  cairo_pattern_t* group = cairo_pop_group(cr);
  if (drawn && image.tint) {
    setSourceRGBA(cr, t(*image.tint));
    cairo_mask(cr, group);
  } else if (drawn && !t.monochrome()) {
    cairo_set_source(cr, group);
    cairo_paint_with_alpha(cr, t.opacity());
  }
  cairo_pattern_destroy(group);
  cairo_restore(cr);
  if (!drawn) {
    drawMissingImage(cr, f);
    return;
  }
  if (image.tint || !t.monochrome()) return;
  // Monochrome modes: draw again into an image of the image's own device area, recolour each
  // pixel, then composite.
  const auto [minX, minY, maxX, maxY] = deviceBoundsOf(cr, f.x, f.y, f.maxX(), f.maxY());
  cairo_matrix_t ctm;
  cairo_get_matrix(cr, &ctm);
  const auto [cx0, cy0, cx1, cy1] = deviceClipExtents(cr);
  const double x0 = std::floor(std::max(minX, cx0)), y0 = std::floor(std::max(minY, cy0));
  const double x1 = std::ceil(std::min(maxX, cx1)), y1 = std::ceil(std::min(maxY, cy1));
  if (!(x1 > x0 && y1 > y0) || x1 - x0 > kLargestImageSide || y1 - y0 > kLargestImageSide) return;
  cairo_surface_t* copy = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(x1 - x0),
                                                     static_cast<int>(y1 - y0));
  cairo_t* cc = cairo_create(copy);
  cairo_translate(cc, -x0, -y0);
  cairo_transform(cc, &ctm);
  CairoCanvas copyCanvas(cc);
  o.assets->drawImage(copyCanvas, image.name, f);
  cairo_destroy(cc);
  cairo_surface_flush(copy);
  treatPixels(reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(copy)),
              cairo_image_surface_get_width(copy), cairo_image_surface_get_height(copy),
              cairo_image_surface_get_stride(copy), t);
  cairo_surface_mark_dirty(copy);
  cairo_save(cr);
  cairo_identity_matrix(cr);
  cairo_set_source_surface(cr, copy, x0, y0);
  cairo_paint_with_alpha(cr, t.opacity());
  cairo_restore(cr);
  cairo_surface_destroy(copy);
}

// Whether a shape can show inside the clip at a sane size. Cairo flattens arcs into segments
// by the pixel, so a circle with a radius of millions of pixels (a frame gone wild in a
// widget's arithmetic) would take minutes; such shapes, and shapes wholly outside the clip,
// are not drawn.
bool worthDrawing(cairo_t* cr, const DisplayShape& shape) {
  constexpr double kLargestSide = 65536;  // device pixels
  const Rect b = shape.path.boundingRect();
  const double pad = shape.stroke ? shape.strokeStyle.lineWidth * shape.strokeStyle.miterLimit : 0;
  const auto [minX, minY, maxX, maxY] =
      deviceBoundsOf(cr, b.x - pad, b.y - pad, b.maxX() + pad, b.maxY() + pad);
  if (!(maxX - minX <= kLargestSide && maxY - minY <= kLargestSide)) return false;
  const auto [cx0, cy0, cx1, cy1] = deviceClipExtents(cr);
  return maxX >= cx0 && minX <= cx1 && maxY >= cy0 && minY <= cy1;
}

// Dash patterns are walked dash by dash along the whole path, visible or not, so a fine pattern
// on a long path costs far more than the pixels it covers. Past this many dashes the stroke is
// drawn solid at the pattern's share of ink instead, which is what such a fine pattern looks like.
constexpr double kMostDashes = 20000;

// The share of a dash pattern that is ink (1 for no pattern), when the current path stroked with
// it would take more than kMostDashes dashes; nullopt when the pattern is drawn as it is.
std::optional<double> tooFineDashInk(cairo_t* cr, const StrokeStyle& style) {
  if (style.dash.empty()) return std::nullopt;
  // An odd pattern repeats with ink and gaps swapped, so it counts twice.
  const std::size_t n = style.dash.size() * (style.dash.size() % 2 == 1 ? 2 : 1);
  double ink = 0, period = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const double d = style.dash[i % style.dash.size()];
    period += d;
    if (i % 2 == 0) ink += d;
  }
  if (!(period > 0)) return std::nullopt;  // Cairo refuses such a pattern itself
  double length = 0;
  cairo_path_t* flat = cairo_copy_path_flat(cr);
  Point last{}, start{};
  for (int i = 0; i < flat->num_data; i += flat->data[i].header.length) {
    const cairo_path_data_t* d = &flat->data[i];
    if (d->header.type == CAIRO_PATH_MOVE_TO) {
      last = start = {d[1].point.x, d[1].point.y};
    } else if (d->header.type == CAIRO_PATH_LINE_TO) {
      const Point p{d[1].point.x, d[1].point.y};
      length += std::hypot(p.x - last.x, p.y - last.y);
      last = p;
    } else if (d->header.type == CAIRO_PATH_CLOSE_PATH) {
      length += std::hypot(start.x - last.x, start.y - last.y);
      last = start;
    }
  }
  cairo_path_destroy(flat);
  if (!(length / period * static_cast<double>(n) > kMostDashes)) return std::nullopt;
  return ink / period;
}

void drawContent(cairo_t* cr, const DisplayItem& item, const RenderOptions& o,
                 const ColorTreatment& t) {
  std::visit(
      [&](const auto& c) {
        using T = std::decay_t<decltype(c)>;
        if constexpr (std::is_same_v<T, DisplayText>) {
          // Clear text (a link's invisible label) would cost a full layout to paint nothing.
          const RGBA colour = t(c.color);
          if (!(colour.alpha > 0)) return;
          setSourceRGBA(cr, colour);
          CairoCanvas canvas(cr);
          TextEngine::shared().draw(
              canvas,
              {c.text, c.font, c.wrapWidth, c.maxLines, c.truncation, c.alignment, c.direction},
              item.frame.origin());
        } else if constexpr (std::is_same_v<T, DisplayShape>) {
          if (c.path.isEmpty() || !worthDrawing(cr, c)) return;
          cairo_new_path(cr);
          appendPath(cr, c.path);
          const Paint* paint = c.fill ? &*c.fill : c.stroke ? &*c.stroke : nullptr;
          if (!paint) return;
          if (const auto* colour = std::get_if<Color>(paint); colour && !(t(*colour).alpha > 0)) {
            return;  // a clear shape paints nothing
          }
          const bool stroking = !c.fill;
          std::optional<double> solidInk;
          if (stroking) {
            applyStroke(cr, c.strokeStyle);
            solidInk = tooFineDashInk(cr, c.strokeStyle);
            if (solidInk) {
              cairo_set_dash(cr, nullptr, 0, 0);
              cairo_push_group(cr);
            }
          }
          const auto* angular = std::get_if<AngularGradient>(paint);
          if (angular && rasterTarget(cr)) {
            drawConicRaster(cr, std::get<AngularGradient>(sanitized(*angular)), item.frame, t,
                            stroking);
          } else {
            setSourcePaint(cr, *paint, item.frame, t, stroking);
            stroking ? cairo_stroke(cr) : cairo_fill(cr);
          }
          if (solidInk) {
            cairo_pop_group_to_source(cr);
            cairo_paint_with_alpha(cr, *solidInk);
          }
          cairo_new_path(cr);
        } else if constexpr (std::is_same_v<T, DisplayImage>) {
          drawImage(cr, item, c, o, t);
        }
        // Links draw nothing.
      },
      item.content);
}

void fillWidgetShape(cairo_t* cr, const DisplayList& list, const RenderOptions& o) {
  Path outline;
  outline.addRoundedRect({0, 0, list.size.width, list.size.height}, o.cornerRadius,
                         RoundedCornerStyle::continuous);
  appendPath(cr, outline);
}

}  // namespace

void drawDisplayList(cairo_t* cr, const DisplayList& list, const RenderOptions& o) {
  cairo_save(cr);
  // Pixels: the corners are cleared once at the end, which is much cheaper than clipping every
  // drawing operation to a curved outline. Vector output clips.
  const bool clearCorners = o.cornerRadius > 0 && rasterTarget(cr);
  if (o.cornerRadius > 0 && !clearCorners) {
    fillWidgetShape(cr, list, o);
    cairo_clip(cr);
  }
  const Rect whole{0, 0, list.size.width, list.size.height};
  switch (o.renderingMode) {
    case RenderingMode::fullColor:
      if (list.backdrop) {
        cairo_rectangle(cr, 0, 0, whole.width, whole.height);
        setSourcePaint(cr, *list.backdrop, whole, ColorTreatment(o, false, 1), false);
        cairo_fill(cr);
      }
      if (list.containerBackground) {
        cairo_rectangle(cr, 0, 0, whole.width, whole.height);
        setSourcePaint(cr, *list.containerBackground, whole, ColorTreatment(o, false, 1), false);
        cairo_fill(cr);
      }
      break;
    case RenderingMode::vibrant:
      // The lock screen: a dark wallpaper behind monochrome content; the widget's own
      // background is removed.
      cairo_set_source_rgb(cr, 0.09, 0.10, 0.13);
      cairo_paint(cr);
      break;
    case RenderingMode::accented: {
      // The tinted home screen: a dark backdrop washed with the accent colour.
      const RGBA& a = o.accentColor;
      cairo_set_source_rgb(cr, 0.08 + 0.18 * a.red, 0.08 + 0.18 * a.green, 0.08 + 0.18 * a.blue);
      cairo_paint(cr);
      break;
    }
  }
  ShadowMasks shadowMasks;
  for (const DisplayItem& item : list.items) {
    if (std::holds_alternative<DisplayLink>(item.content) || item.opacity <= 0) continue;
    const Rect& f = item.frame;
    if (!std::isfinite(f.x) || !std::isfinite(f.y) || !std::isfinite(f.width) ||
        !std::isfinite(f.height)) {
      continue;  // a view with an infinite frame has no place on the widget
    }
    const AffineTransform& tr = item.transform;
    const double det = tr.xx * tr.yy - tr.xy * tr.yx;
    // A view scaled to nothing draws nothing (and a singular matrix would stop the context).
    if (!std::isfinite(det) || std::abs(det) < 1e-12) continue;
    cairo_save(cr);
    for (const Path& clip : item.clips) {
      cairo_new_path(cr);
      appendPath(cr, clip);
      cairo_clip(cr);
    }
    if (!item.transform.isIdentity()) {
      cairo_matrix_t m;
      cairoMatrix(item.transform, &m);
      cairo_transform(cr, &m);
    }
    for (const Shadow& shadow : item.shadows)
      drawShadow(cr, item, shadow, o, shadowMasks, drawContent);
    drawContent(cr, item, o, ColorTreatment(o, item.accentable, item.opacity));
    cairo_restore(cr);
  }
  if (clearCorners) {
    cairo_new_path(cr);
    cairo_rectangle(cr, 0, 0, list.size.width, list.size.height);
    fillWidgetShape(cr, list, o);
    cairo_set_fill_rule(cr, CAIRO_FILL_RULE_EVEN_ODD);
    cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
    cairo_fill(cr);
  }
  cairo_restore(cr);
}

PixelSize imagePixelSize(Size points, double scale) {
  // Cairo's image surfaces stop at 32767 pixels a side; anything near that is a caller's error,
  // drawn clamped rather than crashing.
  auto pixels = [&](double length) {
    const double v = std::ceil(length * scale - 1e-9);
    return std::isfinite(v) ? static_cast<int>(std::clamp(v, 1.0, double{kLargestImageSide})) : 1;
  };
  return {pixels(points.width), pixels(points.height)};
}

void renderImage(const DisplayList& list, const RenderOptions& o, RasterImage& into) {
  const auto [w, h] = imagePixelSize(list.size, o.scale);
  into.reset(w, h);
  cairo_surface_t* surface = createSurfaceFor(into);
  cairo_t* cr = cairo_create(surface);
  cairo_scale(cr, o.scale, o.scale);
  drawDisplayList(cr, list, o);
  cairo_destroy(cr);
  cairo_surface_finish(surface);
  cairo_surface_destroy(surface);
}

RasterImage renderImage(const DisplayList& list, const RenderOptions& o) {
  RasterImage image;
  renderImage(list, o, image);
  return image;
}

}  // namespace km
