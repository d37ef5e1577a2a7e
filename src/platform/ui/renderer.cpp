#include "platform/ui/renderer.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <numbers>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/ui/text_engine.h"

namespace km {
namespace {

constexpr double kPi = std::numbers::pi;

// Colours as the rendering mode shows them. `override` draws everything in one colour (used
// to draw shadow masks).
class ColorTreatment {
 public:
  ColorTreatment(const RenderOptions& o, bool accentable, double opacity)
      : options_(o), accentable_(accentable), opacity_(opacity) {}

  RGBA operator()(const Color& c) const {
    return apply(resolveColor(c, options_.colorScheme, options_.assets));
  }

  RGBA apply(RGBA c) const {
    c.alpha *= opacity_;
    if (override_) return {override_->red, override_->green, override_->blue, c.alpha};
    switch (options_.renderingMode) {
      case RenderingMode::fullColor:
        return c;
      case RenderingMode::vibrant: {
        // Monochrome: brightness becomes opacity of white, with a floor so that dark designs
        // stay legible over the dark backdrop.
        return {1, 1, 1, c.alpha * (0.3 + 0.7 * luminance(c))};
      }
      case RenderingMode::accented: {
        const RGBA& a = options_.accentColor;
        const double alpha = c.alpha * (0.35 + 0.65 * luminance(c));
        if (accentable_) return {a.red, a.green, a.blue, alpha};
        // Everything else in white faintly tinted by the accent.
        return {0.85 + 0.15 * a.red, 0.85 + 0.15 * a.green, 0.85 + 0.15 * a.blue, alpha};
      }
    }
    return c;
  }

  void setOverride(RGBA c) { override_ = c; }
  bool overridden() const { return override_.has_value(); }
  bool monochrome() const {
    return override_ || options_.renderingMode != RenderingMode::fullColor;
  }
  double opacity() const { return opacity_; }

  static double luminance(const RGBA& c) {
    return 0.2126 * c.red + 0.7152 * c.green + 0.0722 * c.blue;
  }

 private:
  const RenderOptions& options_;
  bool accentable_;
  double opacity_;
  std::optional<RGBA> override_;
};

void setSourceRGBA(cairo_t* cr, const RGBA& c) {
  cairo_set_source_rgba(cr, c.red, c.green, c.blue, c.alpha);
}

void addStop(cairo_pattern_t* p, double offset, const RGBA& c) {
  cairo_pattern_add_color_stop_rgba(p, offset, c.red, c.green, c.blue, c.alpha);
}

void appendPath(cairo_t* cr, const Path& path) {
  for (const auto& e : path.elements()) {
    if (auto* m = std::get_if<Path::MoveTo>(&e)) {
      cairo_move_to(cr, m->to.x, m->to.y);
    } else if (auto* l = std::get_if<Path::LineTo>(&e)) {
      cairo_line_to(cr, l->to.x, l->to.y);
    } else if (auto* a = std::get_if<Path::Arc>(&e)) {
      if (a->sweep >= 0) {
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

struct AngleStop {
  double angle;
  RGBA color;
};

// Cairo has no conic gradient, so an angular one is built from mesh patches: wedges from the
// centre, each spanning at most 45 degrees so that its cubic rim stays on the circle, with the
// colour of each edge along its spoke. Colours interpolate along the rim, i.e. by angle.
cairo_pattern_t* conicPattern(Point center, double radius, double start, double end,
                              std::vector<AngleStop> stops) {
  cairo_pattern_t* mesh = cairo_pattern_create_mesh();
  auto wedge = [&](double a0, double a1, const RGBA& c0, const RGBA& c1) {
    const int pieces = std::max(1, static_cast<int>(std::ceil((a1 - a0) / (kPi / 4) - 1e-9)));
    for (int i = 0; i < pieces; ++i) {
      const double t0 = a0 + (a1 - a0) * i / pieces, t1 = a0 + (a1 - a0) * (i + 1) / pieces;
      const double f0 = static_cast<double>(i) / pieces, f1 = static_cast<double>(i + 1) / pieces;
      auto mix = [&](double f) {
        return RGBA{c0.red + (c1.red - c0.red) * f, c0.green + (c1.green - c0.green) * f,
                    c0.blue + (c1.blue - c0.blue) * f, c0.alpha + (c1.alpha - c0.alpha) * f};
      };
      const RGBA m0 = mix(f0), m1 = mix(f1);
      const double k = 4.0 / 3.0 * std::tan((t1 - t0) / 4) * radius;
      const double x0 = center.x + radius * std::cos(t0), y0 = center.y + radius * std::sin(t0);
      const double x1 = center.x + radius * std::cos(t1), y1 = center.y + radius * std::sin(t1);
      cairo_mesh_pattern_begin_patch(mesh);
      cairo_mesh_pattern_move_to(mesh, center.x, center.y);
      cairo_mesh_pattern_line_to(mesh, x0, y0);
      cairo_mesh_pattern_curve_to(mesh, x0 - k * std::sin(t0), y0 + k * std::cos(t0),
                                  x1 + k * std::sin(t1), y1 - k * std::cos(t1), x1, y1);
      cairo_mesh_pattern_line_to(mesh, center.x, center.y);
      cairo_mesh_pattern_set_corner_color_rgba(mesh, 0, m0.red, m0.green, m0.blue, m0.alpha);
      cairo_mesh_pattern_set_corner_color_rgba(mesh, 1, m0.red, m0.green, m0.blue, m0.alpha);
      cairo_mesh_pattern_set_corner_color_rgba(mesh, 2, m1.red, m1.green, m1.blue, m1.alpha);
      cairo_mesh_pattern_set_corner_color_rgba(mesh, 3, m1.red, m1.green, m1.blue, m1.alpha);
      cairo_mesh_pattern_end_patch(mesh);
    }
  };
  if (end < start) std::swap(start, end);
  // Callers place the stops on at most one turn; a longer sweep here would only ever be a
  // caller's mistake, and would cost a wedge per 45 degrees of it.
  if (end - start > 2 * kPi) end = start + 2 * kPi;
  stops.erase(std::remove_if(stops.begin(), stops.end(),
                             [&](const AngleStop& s) { return s.angle < start || s.angle > end; }),
              stops.end());
  if (stops.empty()) stops.push_back({start, RGBA{0, 0, 0, 0}});
  // Stops pinned to the sweep's ends, then wedges between neighbours.
  if (stops.front().angle > start) stops.insert(stops.begin(), {start, stops.front().color});
  if (stops.back().angle < end) stops.push_back({end, stops.back().color});
  for (size_t i = 1; i < stops.size(); ++i) {
    if (stops[i].angle > stops[i - 1].angle) {
      wedge(stops[i - 1].angle, stops[i].angle, stops[i - 1].color, stops[i].color);
    }
  }
  // Outside the sweep the end colours continue, meeting half-way.
  const double gap = 2 * kPi - (end - start);
  if (gap > 1e-9) {
    const double mid = end + gap / 2;
    wedge(end, mid, stops.back().color, stops.back().color);
    wedge(mid, start + 2 * kPi, stops.front().color, stops.front().color);
  }
  return mesh;
}

// Gradients with non-finite numbers (from a widget's arithmetic) would put the Cairo context
// into an error state or loop without end; such numbers fall back to the defaults.
double finiteOr(double v, double fallback) {
  return std::isfinite(v) ? v : fallback;
}

Gradient sanitized(Gradient g) {
  for (auto& stop : g.stops)
    stop.location = finiteOr(stop.location, 0);
  return g;
}

UnitPoint sanitized(UnitPoint p, UnitPoint fallback) {
  return std::isfinite(p.x) && std::isfinite(p.y) ? p : fallback;
}

Paint sanitized(const Paint& paint) {
  if (const auto* l = std::get_if<LinearGradient>(&paint)) {
    return LinearGradient{sanitized(l->gradient), sanitized(l->startPoint, UnitPoint::top()),
                          sanitized(l->endPoint, UnitPoint::bottom())};
  }
  if (const auto* a = std::get_if<AngularGradient>(&paint)) {
    AngularGradient out{sanitized(a->gradient), sanitized(a->center, UnitPoint::center()),
                        a->startAngle, a->endAngle};
    if (!std::isfinite(out.startAngle.radians) || !std::isfinite(out.endAngle.radians)) {
      out.startAngle = Angle{0};
      out.endAngle = Angle{2 * kPi};
    }
    return out;
  }
  return paint;
}

// The sweep an angular gradient is drawn over: at most one turn in either direction, so the
// stops are spread over the turn that is drawn (a gradient "from 91 to 1e9 radians" shows all
// its colours in the one turn that is drawn), starting from the start angle reduced to
// one turn so that huge angles keep their precision.
struct Sweep {
  double start, end;
};
Sweep drawnSweep(double start, double end) {
  const double sweep = std::clamp(end - start, -2 * kPi, 2 * kPi);
  const double reduced = std::remainder(start, 2 * kPi);
  return {reduced, reduced + sweep};
}

// Sets the paint as the source for the current path (used for its extents).
void setSourcePaint(cairo_t* cr, const Paint& unchecked, const Rect& frame, const ColorTreatment& t,
                    bool stroking) {
  const Paint paint = sanitized(unchecked);
  if (const auto* c = std::get_if<Color>(&paint)) {
    setSourceRGBA(cr, t(*c));
    return;
  }
  auto treatStops = [&](const Gradient& g) {
    std::vector<std::pair<double, RGBA>> out;
    for (const auto& s : g.stops)
      out.emplace_back(std::clamp(s.location, 0.0, 1.0), t(s.color));
    std::stable_sort(out.begin(), out.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    if (out.empty()) out.emplace_back(0, RGBA{0, 0, 0, 0});
    return out;
  };
  if (const auto* l = std::get_if<LinearGradient>(&paint)) {
    const Point a = l->startPoint.in(frame), b = l->endPoint.in(frame);
    cairo_pattern_t* p = cairo_pattern_create_linear(a.x, a.y, b.x, b.y);
    for (const auto& [offset, color] : treatStops(l->gradient))
      addStop(p, offset, color);
    cairo_pattern_set_extend(p, CAIRO_EXTEND_PAD);
    cairo_set_source(cr, p);
    cairo_pattern_destroy(p);
    return;
  }
  const auto& a = std::get<AngularGradient>(paint);
  const Point center = a.center.in(frame);
  double x0, y0, x1, y1;
  if (stroking) {
    cairo_stroke_extents(cr, &x0, &y0, &x1, &y1);
  } else {
    cairo_fill_extents(cr, &x0, &y0, &x1, &y1);
  }
  double radius = 1;
  for (Point p : {Point{x0, y0}, Point{x1, y0}, Point{x0, y1}, Point{x1, y1}}) {
    radius = std::max(radius, std::hypot(p.x - center.x, p.y - center.y) + 1);
  }
  const auto [start, end] = drawnSweep(a.startAngle.radians, a.endAngle.radians);
  std::vector<AngleStop> stops;
  for (const auto& [offset, color] : treatStops(a.gradient)) {
    stops.push_back({start + (end - start) * offset, color});
  }
  if (end < start) std::reverse(stops.begin(), stops.end());
  cairo_pattern_t* p = conicPattern(center, radius, start, end, std::move(stops));
  cairo_set_source(cr, p);
  cairo_pattern_destroy(p);
}

// atan2 to within about 1e-5 radians (a minimax polynomial on [0, 1] folded into the octants),
// several times faster than the library's and far finer than a 2048-entry colour table.
inline double fastAtan2(double y, double x) {
  const double ax = std::abs(x), ay = std::abs(y);
  const double big = std::max(ax, ay);
  if (big == 0) return 0;
  const double a = std::min(ax, ay) / big;
  const double s = a * a;
  double r = ((-0.0464964749 * s + 0.15931422) * s - 0.327622764) * s * a + a;
  if (ay > ax) r = kPi / 2 - r;
  if (x < 0) r = kPi - r;
  return y < 0 ? -r : r;
}

// True when drawing lands in pixels (PNG output and its groups), where an angular gradient is
// cheaper computed per pixel than built from mesh patches.
bool rasterTarget(cairo_t* cr) {
  return cairo_surface_get_type(cairo_get_group_target(cr)) == CAIRO_SURFACE_TYPE_IMAGE;
}

// Colours of an angular gradient sampled round the full turn from its start angle, premultiplied.
std::vector<std::array<float, 4>> conicTable(const AngularGradient& g, const ColorTreatment& t,
                                             int entries, double* startAngle) {
  auto [start, end] = drawnSweep(g.startAngle.radians, g.endAngle.radians);
  std::vector<std::pair<double, RGBA>> stops;
  for (const auto& st : g.gradient.stops) {
    stops.emplace_back(std::clamp(st.location, 0.0, 1.0), t(st.color));
  }
  if (end < start) {
    // A sweep the other way round is the same sweep forwards with the stops reversed.
    std::swap(start, end);
    for (auto& st : stops)
      st.first = 1 - st.first;
  }
  std::stable_sort(stops.begin(), stops.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  if (stops.empty()) stops.emplace_back(0, RGBA{0, 0, 0, 0});
  const double sweep = std::min(end - start, 2 * kPi);
  auto premultiplied = [](const RGBA& c) {
    return std::array<float, 4>{
        static_cast<float>(c.red * c.alpha * 255), static_cast<float>(c.green * c.alpha * 255),
        static_cast<float>(c.blue * c.alpha * 255), static_cast<float>(c.alpha * 255)};
  };
  auto colourAt = [&](double loc) {
    if (loc <= stops.front().first) return premultiplied(stops.front().second);
    for (size_t i = 1; i < stops.size(); ++i) {
      if (loc <= stops[i].first) {
        const double span = stops[i].first - stops[i - 1].first;
        const double f = span > 0 ? (loc - stops[i - 1].first) / span : 1;
        const auto a = premultiplied(stops[i - 1].second), b = premultiplied(stops[i].second);
        std::array<float, 4> out;
        for (size_t k = 0; k < 4; ++k)
          out[k] = static_cast<float>(a[k] + (b[k] - a[k]) * f);
        return out;
      }
    }
    return premultiplied(stops.back().second);
  };
  std::vector<std::array<float, 4>> table(static_cast<size_t>(entries));
  for (int i = 0; i < entries; ++i) {
    const double theta = (i + 0.5) / entries * 2 * kPi;
    double loc;
    if (sweep <= 0) {
      loc = theta < kPi ? 1 : 0;
    } else if (theta <= sweep) {
      loc = theta / sweep;
    } else {
      // Outside the sweep the end colours continue, meeting half-way.
      loc = theta - sweep < (2 * kPi - sweep) / 2 ? 1 : 0;
    }
    table[static_cast<size_t>(i)] = colourAt(loc);
  }
  *startAngle = start;
  return table;
}

// A box in device space (pixels of the target surface).
struct DeviceBox {
  double minX, minY, maxX, maxY;
};

// The device-space bounding box of the user-space rectangle (x0, y0)-(x1, y1) under the current
// matrix (which may rotate, so all four corners count).
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

// The current clip's extents in device space.
DeviceBox deviceClipExtents(cairo_t* cr) {
  DeviceBox clip{};
  cairo_save(cr);
  cairo_identity_matrix(cr);
  cairo_clip_extents(cr, &clip.minX, &clip.minY, &clip.maxX, &clip.maxY);
  cairo_restore(cr);
  return clip;
}

// Draws the current path (filled or stroked with the context's stroke settings) in an angular
// gradient computed per pixel: the shape's coverage is drawn into a mask, and only covered
// pixels get a colour, looked up by their angle about the centre.
void drawConicRaster(cairo_t* cr, const AngularGradient& g, const Rect& frame,
                     const ColorTreatment& t, bool stroking) {
  double x0, y0, x1, y1;
  if (stroking) {
    cairo_stroke_extents(cr, &x0, &y0, &x1, &y1);
  } else {
    cairo_fill_extents(cr, &x0, &y0, &x1, &y1);
  }
  auto [minX, minY, maxX, maxY] = deviceBoundsOf(cr, x0, y0, x1, y1);
  cairo_matrix_t ctm;
  cairo_get_matrix(cr, &ctm);
  const auto [cx0, cy0, cx1, cy1] = deviceClipExtents(cr);
  // The clip bounds the area (and keeps huge or non-finite extents out of the arithmetic).
  if (!(minX >= cx0)) minX = cx0;
  if (!(minY >= cy0)) minY = cy0;
  if (!(maxX <= cx1)) maxX = cx1;
  if (!(maxY <= cy1)) maxY = cy1;
  if (!(maxX > minX && maxY > minY) || !std::isfinite(cx1 - cx0) || !std::isfinite(cy1 - cy0)) {
    cairo_new_path(cr);
    return;
  }
  const int bx = static_cast<int>(std::floor(minX));
  const int by = static_cast<int>(std::floor(minY));
  const int bw = static_cast<int>(std::ceil(maxX)) - bx;
  const int bh = static_cast<int>(std::ceil(maxY)) - by;
  if (bw <= 0 || bh <= 0) return;

  cairo_surface_t* mask = cairo_image_surface_create(CAIRO_FORMAT_A8, bw, bh);
  cairo_t* m = cairo_create(mask);
  cairo_translate(m, -bx, -by);
  cairo_transform(m, &ctm);
  cairo_path_t* path = cairo_copy_path(cr);
  cairo_append_path(m, path);
  cairo_path_destroy(path);
  if (stroking) {
    cairo_set_line_width(m, cairo_get_line_width(cr));
    cairo_set_line_cap(m, cairo_get_line_cap(cr));
    cairo_set_line_join(m, cairo_get_line_join(cr));
    cairo_set_miter_limit(m, cairo_get_miter_limit(cr));
    const int dashes = cairo_get_dash_count(cr);
    std::vector<double> dash(static_cast<size_t>(dashes));
    double offset = 0;
    cairo_get_dash(cr, dash.data(), &offset);
    cairo_set_dash(m, dash.data(), dashes, offset);
    cairo_stroke(m);
  } else {
    cairo_fill(m);
  }
  cairo_destroy(m);
  cairo_surface_flush(mask);

  constexpr int kEntries = 2048;
  double start = 0;
  const auto table = conicTable(g, t, kEntries, &start);
  cairo_matrix_t inverse = ctm;
  if (cairo_matrix_invert(&inverse) != CAIRO_STATUS_SUCCESS) {
    cairo_surface_destroy(mask);
    return;
  }
  const Point c = g.center.in(frame);
  cairo_surface_t* colour = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, bw, bh);
  const unsigned char* maskData = cairo_image_surface_get_data(mask);
  const int maskStride = cairo_image_surface_get_stride(mask);
  unsigned char* colourData = cairo_image_surface_get_data(colour);
  const int colourStride = cairo_image_surface_get_stride(colour);
  const double toIndex = kEntries / (2 * kPi);
  for (int y = 0; y < bh; ++y) {
    const unsigned char* coverage = maskData + static_cast<ptrdiff_t>(y) * maskStride;
    auto* out = reinterpret_cast<uint32_t*>(colourData + static_cast<ptrdiff_t>(y) * colourStride);
    const double dy = by + y + 0.5;
    for (int x = 0; x < bw; ++x) {
      const unsigned a = coverage[x];
      if (a == 0) continue;
      const double dx = bx + x + 0.5;
      const double ux = inverse.xx * dx + inverse.xy * dy + inverse.x0 - c.x;
      const double uy = inverse.yx * dx + inverse.yy * dy + inverse.y0 - c.y;
      double rel = fastAtan2(uy, ux) - start;
      rel -= std::floor(rel / (2 * kPi)) * 2 * kPi;
      if (!(rel >= 0)) rel = 0;  // a centre at infinity
      const int index = std::min(kEntries - 1, static_cast<int>(rel * toIndex));
      const auto& px = table[static_cast<size_t>(index)];
      const float f = static_cast<float>(a) / 255.0f;
      auto channel = [f](float v) { return static_cast<uint32_t>(v * f + 0.5f); };
      out[x] =
          (channel(px[3]) << 24) | (channel(px[0]) << 16) | (channel(px[1]) << 8) | channel(px[2]);
    }
  }
  cairo_surface_mark_dirty(colour);
  cairo_surface_destroy(mask);
  cairo_save(cr);
  cairo_identity_matrix(cr);
  cairo_set_source_surface(cr, colour, bx, by);
  cairo_paint(cr);
  cairo_restore(cr);
  cairo_surface_destroy(colour);
  cairo_new_path(cr);
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

// Turns every pixel of an ARGB32 surface into the treatment's colour, keeping alpha weighted by
// brightness (for full-colour images in the monochrome modes).
void treatSurface(cairo_surface_t* s, const ColorTreatment& t) {
  cairo_surface_flush(s);
  unsigned char* data = cairo_image_surface_get_data(s);
  const int w = cairo_image_surface_get_width(s), h = cairo_image_surface_get_height(s);
  const int stride = cairo_image_surface_get_stride(s);
  for (int y = 0; y < h; ++y) {
    auto* row = reinterpret_cast<uint32_t*>(data + static_cast<ptrdiff_t>(y) * stride);
    for (int x = 0; x < w; ++x) {
      const uint32_t px = row[x];
      const double a = (px >> 24) / 255.0;
      if (a == 0) continue;
      RGBA c{((px >> 16) & 255) / 255.0 / a, ((px >> 8) & 255) / 255.0 / a, (px & 255) / 255.0 / a,
             a};
      // The treatment already applied the item's opacity when the surface was painted.
      RGBA out = t.apply(c);
      out.alpha /= std::max(1e-9, t.opacity());
      auto b = [&](double v) {
        return static_cast<uint32_t>(std::lround(std::clamp(v * out.alpha, 0.0, 1.0) * 255));
      };
      row[x] = (static_cast<uint32_t>(std::lround(std::clamp(out.alpha, 0.0, 1.0) * 255)) << 24) |
               (b(out.red) << 16) | (b(out.green) << 8) | b(out.blue);
    }
  }
  cairo_surface_mark_dirty(s);
}

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
  const bool drawn = o.assets->drawImage(cr, image.name, f);
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
  if (!(x1 > x0 && y1 > y0) || x1 - x0 > 16384 || y1 - y0 > 16384) return;
  cairo_surface_t* copy = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(x1 - x0),
                                                     static_cast<int>(y1 - y0));
  cairo_t* cc = cairo_create(copy);
  cairo_translate(cc, -x0, -y0);
  cairo_transform(cc, &ctm);
  o.assets->drawImage(cc, image.name, f);
  cairo_destroy(cc);
  treatSurface(copy, t);
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
          TextEngine::shared().draw(
              cr, {c.text, c.font, c.wrapWidth, c.maxLines, c.truncation, c.alignment, c.direction},
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

void cairoMatrix(const AffineTransform& t, cairo_matrix_t* m) {
  cairo_matrix_init(m, t.xx, t.yx, t.xy, t.yy, t.x0, t.y0);
}

// Three box blurs approximate a Gaussian; `r` is each box's half-width in pixels. Each blur
// runs along the rows, then down the columns with one running sum per column, so that both
// passes read memory in order and the column pass vectorises. A window's mean is a multiply by
// a reciprocal and a shift, exact for every sum a window of up to 129 pixels can hold, and
// several times cheaper than dividing.
void boxBlurA8(cairo_surface_t* s, int r) {
  r = std::min(r, 64);
  if (r <= 0) return;
  cairo_surface_flush(s);
  unsigned char* data = cairo_image_surface_get_data(s);
  const int w = cairo_image_surface_get_width(s), h = cairo_image_surface_get_height(s);
  const int stride = cairo_image_surface_get_stride(s);
  constexpr int kShift = 22;
  const uint32_t inverse = (uint32_t{1} << kShift) / static_cast<uint32_t>(2 * r + 1) + 1;
  std::vector<unsigned char> rows(static_cast<size_t>(w) * static_cast<size_t>(h));
  std::vector<uint32_t> sums(static_cast<size_t>(w));
  auto row = [&](int y) { return data + static_cast<ptrdiff_t>(y) * stride; };
  auto rowCopy = [&](int y) { return rows.data() + static_cast<ptrdiff_t>(y) * w; };
  for (int k = 0; k < 3; ++k) {
    for (int y = 0; y < h; ++y) {
      const unsigned char* in = row(y);
      unsigned char* out = rowCopy(y);
      uint32_t sum = 0;
      for (int i = 0; i <= r && i < w; ++i)
        sum += in[i];
      // The window enters and leaves the row in three stretches, so the middle one, where
      // both ends are inside, needs no bounds tests.
      const int enterEnd = std::min(w, r + 1);
      const int leaveStart = std::max(enterEnd, w - r - 1);
      int x = 0;
      for (; x < enterEnd; ++x) {
        out[x] = static_cast<unsigned char>((sum * inverse) >> kShift);
        if (x + r + 1 < w) sum += in[x + r + 1];
        if (x - r >= 0) sum -= in[x - r];
      }
      for (; x < leaveStart; ++x) {
        out[x] = static_cast<unsigned char>((sum * inverse) >> kShift);
        sum += in[x + r + 1];
        sum -= in[x - r];
      }
      for (; x < w; ++x) {
        out[x] = static_cast<unsigned char>((sum * inverse) >> kShift);
        if (x + r + 1 < w) sum += in[x + r + 1];
        if (x - r >= 0) sum -= in[x - r];
      }
    }
    std::fill(sums.begin(), sums.end(), 0u);
    uint32_t* sum = sums.data();
    for (int y = 0; y <= r && y < h; ++y) {
      const unsigned char* in = rowCopy(y);
      for (int x = 0; x < w; ++x)
        sum[x] += in[x];
    }
    for (int y = 0; y < h; ++y) {
      unsigned char* out = row(y);
      for (int x = 0; x < w; ++x)
        out[x] = static_cast<unsigned char>((sum[x] * inverse) >> kShift);
      if (y + r + 1 < h) {
        const unsigned char* in = rowCopy(y + r + 1);
        for (int x = 0; x < w; ++x)
          sum[x] += in[x];
      }
      if (y - r >= 0) {
        const unsigned char* in = rowCopy(y - r);
        for (int x = 0; x < w; ++x)
          sum[x] -= in[x];
      }
    }
  }
  cairo_surface_mark_dirty(s);
}

bool nearlyEqual(double a, double b) {
  return std::abs(a - b) <= 1e-9 * std::max(1.0, std::max(std::abs(a), std::abs(b)));
}

bool samePoint(Point a, Point b) {
  return nearlyEqual(a.x, b.x) && nearlyEqual(a.y, b.y);
}

bool samePath(const Path& a, const Path& b) {
  if (a.elements().size() != b.elements().size()) return false;
  for (size_t i = 0; i < a.elements().size(); ++i) {
    const Path::Element& x = a.elements()[i];
    const Path::Element& y = b.elements()[i];
    if (x.index() != y.index()) return false;
    if (const auto* m = std::get_if<Path::MoveTo>(&x)) {
      if (!samePoint(m->to, std::get<Path::MoveTo>(y).to)) return false;
    } else if (const auto* l = std::get_if<Path::LineTo>(&x)) {
      if (!samePoint(l->to, std::get<Path::LineTo>(y).to)) return false;
    } else if (const auto* c = std::get_if<Path::CurveTo>(&x)) {
      const auto& d = std::get<Path::CurveTo>(y);
      if (!samePoint(c->control1, d.control1) || !samePoint(c->control2, d.control2) ||
          !samePoint(c->to, d.to)) {
        return false;
      }
    } else if (const auto* r = std::get_if<Path::Arc>(&x)) {
      const auto& q = std::get<Path::Arc>(y);
      if (!samePoint(r->center, q.center) || !nearlyEqual(r->radius, q.radius) ||
          !nearlyEqual(r->startAngle, q.startAngle) || !nearlyEqual(r->sweep, q.sweep)) {
        return false;
      }
    }
  }
  return true;
}

// Blurred shadow masks already made while drawing one display list. Rows of identical views
// (the buttons of a grid) cast identical shadows: a shape that matches an earlier one in
// outline, transform and sub-pixel position reuses its mask, moved by whole pixels.
class ShadowMasks {
 public:
  struct Key {
    Path outline;  // the shape's path, relative to its frame's origin
    bool stroked = false;
    StrokeStyle style;
    cairo_matrix_t ctm{};  // the linear part is compared; the offset is in `phase`
    Point phase;           // the frame origin's position in the mask, in mask pixels
    int width = 0, height = 0, box = 0;
  };

  ShadowMasks() = default;
  ShadowMasks(const ShadowMasks&) = delete;
  ShadowMasks& operator=(const ShadowMasks&) = delete;
  ~ShadowMasks() {
    for (Entry& e : entries_)
      cairo_surface_destroy(e.mask);
  }

  cairo_surface_t* find(const Key& key) const {
    for (const Entry& e : entries_) {
      if (matches(e.key, key)) return e.mask;
    }
    return nullptr;
  }

  void add(Key key, cairo_surface_t* mask) {
    if (entries_.size() >= 16) return;  // enough for any widget's repeated shadows
    entries_.push_back({std::move(key), cairo_surface_reference(mask)});
  }

 private:
  struct Entry {
    Key key;
    cairo_surface_t* mask;
  };
  static bool matches(const Key& a, const Key& b) {
    return a.width == b.width && a.height == b.height && a.box == b.box && a.stroked == b.stroked &&
           a.style == b.style && nearlyEqual(a.ctm.xx, b.ctm.xx) &&
           nearlyEqual(a.ctm.yx, b.ctm.yx) && nearlyEqual(a.ctm.xy, b.ctm.xy) &&
           nearlyEqual(a.ctm.yy, b.ctm.yy) && std::abs(a.phase.x - b.phase.x) < 1e-6 &&
           std::abs(a.phase.y - b.phase.y) < 1e-6 && samePath(a.outline, b.outline);
  }
  std::vector<Entry> entries_;
};

void drawShadow(cairo_t* cr, const DisplayItem& item, const Shadow& sh, const RenderOptions& o,
                ShadowMasks& masks) {
  ColorTreatment base(o, item.accentable, item.opacity);
  const RGBA color = base(sh.color);
  if (color.alpha <= 0) return;
  // Work in device pixels; vector output gets three per point so its shadow image is smooth.
  cairo_matrix_t ctm;
  cairo_get_matrix(cr, &ctm);
  const double deviceScale = std::sqrt(std::abs(ctm.xx * ctm.yy - ctm.xy * ctm.yx));
  const double extra = !rasterTarget(cr) && deviceScale < 2 ? 3 / std::max(deviceScale, 1e-6) : 1;
  // Widget shadows blur by a few points; the cap (about 40 points at three pixels per point)
  // keeps the mask, which grows with the blur's reach, to a sane size.
  const double sigma = std::min(sh.radius / 2 * deviceScale * extra, 64.0);
  const int margin = static_cast<int>(std::ceil(sigma * 3)) + 2;
  double pad = 0;
  if (const auto* shape = std::get_if<DisplayShape>(&item.content); shape && shape->stroke) {
    pad = shape->strokeStyle.lineWidth;
  }
  const Rect& f = item.frame;
  auto [minX, minY, maxX, maxY] =
      deviceBoundsOf(cr, f.x - pad, f.y - pad, f.maxX() + pad, f.maxY() + pad);
  // Only the part that can land inside the clip matters: shadows of views far outside the
  // widget would otherwise cost huge masks.
  {
    const auto [cx0, cy0, cx1, cy1] = deviceClipExtents(cr);
    double ox = sh.x, oy = sh.y;
    cairo_user_to_device_distance(cr, &ox, &oy);
    const double reach = margin / extra;  // the blur's reach in device pixels
    minX = std::max(minX, cx0 - ox - reach);
    minY = std::max(minY, cy0 - oy - reach);
    maxX = std::min(maxX, cx1 - ox + reach);
    maxY = std::min(maxY, cy1 - oy + reach);
  }
  const double width = (maxX - minX) * extra + 2 * margin;
  const double height = (maxY - minY) * extra + 2 * margin;
  if (!(width > 0 && height > 0 && width <= 8192 && height <= 8192)) return;
  if (!std::isfinite(minX * extra) || !std::isfinite(minY * extra)) return;
  // The mask starts on a whole pixel: the content is drawn into it at its exact position, and
  // the mask then lands on the target without being resampled (which costs ten times the blur).
  const double dx0 = std::floor(minX * extra - margin), dy0 = std::floor(minY * extra - margin);
  const int w = static_cast<int>(std::ceil(width)) + 1, h = static_cast<int>(std::ceil(height)) + 1;
  const int box = static_cast<int>(std::lround(sigma * 0.8));
  std::optional<ShadowMasks::Key> key;
  if (const auto* shape = std::get_if<DisplayShape>(&item.content)) {
    const Rect& frame = item.frame;
    double px = frame.x, py = frame.y;
    cairo_user_to_device(cr, &px, &py);
    key =
        ShadowMasks::Key{shape->path.transformed(AffineTransform::translation(-frame.x, -frame.y)),
                         !shape->fill && shape->stroke,
                         shape->strokeStyle,
                         ctm,
                         {px * extra - dx0, py * extra - dy0},
                         w,
                         h,
                         box};
  }
  cairo_surface_t* mask = key ? masks.find(*key) : nullptr;
  if (mask) {
    cairo_surface_reference(mask);
  } else {
    mask = cairo_image_surface_create(CAIRO_FORMAT_A8, w, h);
    cairo_t* mc = cairo_create(mask);
    cairo_translate(mc, -dx0, -dy0);
    cairo_scale(mc, extra, extra);
    cairo_transform(mc, &ctm);
    ColorTreatment solid(o, item.accentable, 1);
    solid.setOverride({0, 0, 0, 1});
    drawContent(mc, item, o, solid);
    cairo_destroy(mc);
    boxBlurA8(mask, box);
    if (key) masks.add(std::move(*key), mask);
  }
  cairo_save(cr);
  cairo_identity_matrix(cr);
  double ox = sh.x, oy = sh.y;
  cairo_user_to_device_distance(cr, &ox, &oy);
  cairo_translate(cr, ox, oy);
  cairo_scale(cr, 1 / extra, 1 / extra);
  setSourceRGBA(cr, color);
  cairo_mask_surface(cr, mask, dx0, dy0);
  cairo_restore(cr);
  cairo_surface_destroy(mask);
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
      drawShadow(cr, item, shadow, o, shadowMasks);
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

RasterImage::RasterImage(cairo_surface_t* surface) : surface_(surface) {}
RasterImage::~RasterImage() {
  if (surface_) cairo_surface_destroy(surface_);
}
RasterImage::RasterImage(RasterImage&& other) noexcept
    : surface_(std::exchange(other.surface_, nullptr)) {}
RasterImage& RasterImage::operator=(RasterImage&& other) noexcept {
  if (this != &other) {
    if (surface_) cairo_surface_destroy(surface_);
    surface_ = std::exchange(other.surface_, nullptr);
  }
  return *this;
}
int RasterImage::width() const {
  return surface_ ? cairo_image_surface_get_width(surface_) : 0;
}
int RasterImage::height() const {
  return surface_ ? cairo_image_surface_get_height(surface_) : 0;
}

std::array<uint8_t, 4> RasterImage::pixel(int x, int y) const {
  if (!surface_ || x < 0 || y < 0 || x >= width() || y >= height()) return {0, 0, 0, 0};
  cairo_surface_flush(surface_);
  const unsigned char* data = cairo_image_surface_get_data(surface_);
  const uint32_t px = reinterpret_cast<const uint32_t*>(
      data + static_cast<ptrdiff_t>(y) * cairo_image_surface_get_stride(surface_))[x];
  const uint32_t a = px >> 24;
  auto un = [a](uint32_t v) {
    return static_cast<uint8_t>(a == 0 ? 0 : std::min<uint32_t>(255, (v * 255 + a / 2) / a));
  };
  return {un((px >> 16) & 255), un((px >> 8) & 255), un(px & 255), static_cast<uint8_t>(a)};
}

RasterImage renderImage(const DisplayList& list, const RenderOptions& o) {
  // Cairo's image surfaces stop at 32767 pixels a side; anything near that is a caller's error,
  // drawn clamped rather than crashing.
  auto pixels = [&](double points) {
    const double v = std::ceil(points * o.scale - 1e-9);
    return std::isfinite(v) ? static_cast<int>(std::clamp(v, 1.0, 16384.0)) : 1;
  };
  const int w = pixels(list.size.width), h = pixels(list.size.height);
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
  cairo_t* cr = cairo_create(surface);
  cairo_scale(cr, o.scale, o.scale);
  drawDisplayList(cr, list, o);
  cairo_destroy(cr);
  cairo_surface_flush(surface);
  return RasterImage(surface);
}

namespace {

constexpr size_t kWindow = 32768;  // deflate's window: how far back a part may refer

// One scanline as PNG stores it: the filter type (0, none; widget art is mostly flat colour,
// where unfiltered rows deflate as well as filtered ones and the filter search would cost
// several times the compression), then straight RGBA bytes. Cairo keeps premultiplied
// native-endian ARGB.
void scanline(const unsigned char* data, int stride, int width, int y, uint8_t* out) {
  const auto* row = reinterpret_cast<const uint32_t*>(data + static_cast<ptrdiff_t>(y) * stride);
  *out++ = 0;
  // Every pixel as if opaque first (a plain byte shuffle the compiler vectorises), then the
  // few translucent ones, at shape edges, again with their alpha divided out.
  if constexpr (std::endian::native == std::endian::little) {
    // In memory a pixel is B, G, R, A: swapping the first and third bytes gives R, G, B, A.
    for (int x = 0; x < width; ++x) {
      const uint32_t px = row[x];
      const uint32_t rgba = (px & 0xFF00FF00u) | ((px >> 16) & 0xFFu) | ((px & 0xFFu) << 16);
      std::memcpy(out + 4 * x, &rgba, 4);
    }
  } else {
    for (int x = 0; x < width; ++x) {
      const uint32_t px = row[x];
      uint8_t* o = out + 4 * x;
      o[0] = static_cast<uint8_t>(px >> 16);
      o[1] = static_cast<uint8_t>(px >> 8);
      o[2] = static_cast<uint8_t>(px);
      o[3] = static_cast<uint8_t>(px >> 24);
    }
  }
  // Premultiplied, a transparent pixel is all zeros already, so only alphas strictly between
  // 0 and 255 need the division. Blocks of pixels without any are skipped after one test.
  constexpr int kBlock = 16;
  for (int x0 = 0; x0 < width; x0 += kBlock) {
    const int end = std::min(width, x0 + kBlock);
    uint32_t translucent = 0;
    for (int x = x0; x < end; ++x)
      translucent |= static_cast<uint32_t>((row[x] >> 24) - 1u < 254u);
    if (!translucent) continue;
    for (int x = x0; x < end; ++x) {
      const uint32_t px = row[x];
      const uint32_t a = px >> 24;
      if (a - 1u >= 254u) continue;
      uint8_t* o = out + 4 * x;
      o[0] = static_cast<uint8_t>((((px >> 16) & 255) * 255 + a / 2) / a);
      o[1] = static_cast<uint8_t>((((px >> 8) & 255) * 255 + a / 2) / a);
      o[2] = static_cast<uint8_t>(((px & 255) * 255 + a / 2) / a);
    }
  }
}

// A run of scanlines deflated on its own as raw deflate data that continues the stream of the
// runs before it: primed with the bytes just before it (what a single stream would have in
// its window) and, unless it is the last, ended by a sync flush on a byte boundary, so the
// runs simply concatenate (the way pigz compresses in parallel).
struct DeflatedRows {
  std::vector<uint8_t> bytes;
  uint32_t adler = 1;  // of the uncompressed bytes of this run alone
  size_t length = 0;
  bool ok = false;
};

DeflatedRows deflateRows(const RasterImage& image, int y0, int y1, bool last, int level) {
  DeflatedRows run;
  cairo_surface_t* s = image.surface();
  const unsigned char* data = cairo_image_surface_get_data(s);
  const int stride = cairo_image_surface_get_stride(s);
  const int width = image.width();
  std::vector<uint8_t> line(static_cast<size_t>(width) * 4 + 1);
  z_stream z{};
  if (deflateInit2(&z, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) return run;
  if (y0 > 0) {
    const int rows = std::min(y0, static_cast<int>((kWindow + line.size() - 1) / line.size()));
    std::vector<uint8_t> before(static_cast<size_t>(rows) * line.size());
    for (int i = 0; i < rows; ++i) {
      scanline(data, stride, width, y0 - rows + i,
               before.data() + static_cast<size_t>(i) * line.size());
    }
    const size_t take = std::min(before.size(), kWindow);
    deflateSetDictionary(&z, before.data() + before.size() - take, static_cast<uInt>(take));
  }
  // The output grows as it fills (untouched capacity would still cost resident pages).
  constexpr size_t kStep = 64 * 1024;
  run.bytes.resize(kStep);
  z.next_out = run.bytes.data();
  z.avail_out = static_cast<uInt>(run.bytes.size());
  auto room = [&run, &z] {
    const size_t used = run.bytes.size() - z.avail_out;
    run.bytes.resize(run.bytes.size() + kStep);
    z.next_out = run.bytes.data() + used;
    z.avail_out = static_cast<uInt>(run.bytes.size() - used);
  };
  bool ok = true;
  for (int y = y0; y < y1 && ok; ++y) {
    scanline(data, stride, width, y, line.data());
    // libdeflate's checksum is several times faster than zlib's.
    run.adler = libdeflate_adler32(run.adler, line.data(), line.size());
    run.length += line.size();
    z.next_in = line.data();
    z.avail_in = static_cast<uInt>(line.size());
    const int flush = y + 1 < y1 ? Z_NO_FLUSH : (last ? Z_FINISH : Z_SYNC_FLUSH);
    while (true) {
      const int status = deflate(&z, flush);
      if (status == Z_STREAM_ERROR) {
        ok = false;
        break;
      }
      if (flush == Z_FINISH ? status == Z_STREAM_END : (z.avail_in == 0 && z.avail_out > 0)) {
        break;
      }
      if (z.avail_out == 0) room();
    }
  }
  run.bytes.resize(run.bytes.size() - z.avail_out);
  deflateEnd(&z);
  run.ok = ok;
  return run;
}

void appendChunk(std::vector<uint8_t>& png, const char* type, const uint8_t* data, size_t size) {
  auto be32 = [&png](uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8)
      png.push_back(static_cast<uint8_t>(v >> shift));
  };
  be32(static_cast<uint32_t>(size));
  const size_t start = png.size();
  png.insert(png.end(), type, type + 4);
  if (size > 0) png.insert(png.end(), data, data + size);
  be32(libdeflate_crc32(0, png.data() + start, png.size() - start));
}

}  // namespace

Result<std::vector<uint8_t>> encodePng(const RasterImage& image, int compressionLevel) {
  const int w = image.width(), h = image.height();
  if (w <= 0 || h <= 0) return Error{"cannot encode an empty image"};
  if (w > (1 << 24) / 4 || h > (1 << 24)) return Error{"image too large to encode"};
  cairo_surface_flush(image.surface());
  const int level = std::clamp(compressionLevel, 0, 9);
  // Deflating is most of the time of turning a widget into a file: a large image is compressed
  // in two halves at once. Each half converts its rows one at a time, so no straight-alpha copy
  // of the whole image is ever made.
  const bool split =
      static_cast<int64_t>(w) * h >= 200'000 && std::thread::hardware_concurrency() >= 2;
  std::vector<DeflatedRows> runs;
  if (split) {
    // Without a second thread (the system refusing one) the image is deflated in one piece.
    std::thread first;
    const int middle = h / 2;
    runs.resize(2);
    try {
      first = std::thread([&] { runs[0] = deflateRows(image, 0, middle, false, level); });
    } catch (const std::system_error&) {
      runs.resize(1);
    }
    if (first.joinable()) {
      runs[1] = deflateRows(image, middle, h, true, level);
      first.join();
    } else {
      runs[0] = deflateRows(image, 0, h, true, level);
    }
  } else {
    runs.push_back(deflateRows(image, 0, h, true, level));
  }
  uLong adler = 1;
  size_t compressed = 0;
  for (const DeflatedRows& run : runs) {
    if (!run.ok) return Error{"PNG encoding failed: deflate reported an error"};
    adler = adler32_combine(adler, run.adler, static_cast<z_off_t>(run.length));
    compressed += run.bytes.size();
  }
  // The zlib stream around the deflate data: a header naming the window and the level group,
  // then the runs, then the checksum of everything uncompressed.
  std::vector<uint8_t> stream;
  stream.reserve(compressed + 6);
  const uint8_t cmf = 0x78;
  const uint8_t levelGroup = level <= 1 ? 0 : level <= 5 ? 1 : level == 6 ? 2 : 3;
  uint8_t flg = static_cast<uint8_t>(levelGroup << 6);
  flg = static_cast<uint8_t>(flg + (31 - (cmf * 256 + flg) % 31) % 31);
  stream.push_back(cmf);
  stream.push_back(flg);
  for (const DeflatedRows& run : runs)
    stream.insert(stream.end(), run.bytes.begin(), run.bytes.end());
  for (int shift = 24; shift >= 0; shift -= 8)
    stream.push_back(static_cast<uint8_t>(adler >> shift));

  std::vector<uint8_t> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  png.reserve(stream.size() + 64);
  const uint8_t header[13] = {static_cast<uint8_t>(w >> 24),
                              static_cast<uint8_t>(w >> 16),
                              static_cast<uint8_t>(w >> 8),
                              static_cast<uint8_t>(w),
                              static_cast<uint8_t>(h >> 24),
                              static_cast<uint8_t>(h >> 16),
                              static_cast<uint8_t>(h >> 8),
                              static_cast<uint8_t>(h),
                              8,   // bits per sample
                              6,   // RGBA
                              0,   // deflate
                              0,   // per-row filters
                              0};  // not interlaced
  appendChunk(png, "IHDR", header, sizeof header);
  appendChunk(png, "IDAT", stream.data(), stream.size());
  appendChunk(png, "IEND", nullptr, 0);
  return png;
}

namespace {

cairo_status_t appendBytes(void* closure, const unsigned char* data, unsigned int length) {
  auto* out = static_cast<std::ofstream*>(closure);
  out->write(reinterpret_cast<const char*>(data), length);
  return *out ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_WRITE_ERROR;
}

}  // namespace

Status writeImageFile(const DisplayList& list, const RenderOptions& o,
                      const std::filesystem::path& file) {
  std::string ext = file.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
  std::ofstream out(file, std::ios::binary);
  if (!out) return Error{"cannot write " + file.string()};
  if (ext == ".png") {
    auto png = encodePng(renderImage(list, o));
    if (!png) return png.error();
    out.write(reinterpret_cast<const char*>(png->data()),
              static_cast<std::streamsize>(png->size()));
  } else if (ext == ".svg" || ext == ".pdf") {
    cairo_surface_t* s = ext == ".svg" ? cairo_svg_surface_create_for_stream(
                                             appendBytes, &out, list.size.width, list.size.height)
                                       : cairo_pdf_surface_create_for_stream(
                                             appendBytes, &out, list.size.width, list.size.height);
    // Whatever the vector format cannot express (mesh gradients in SVG) is rasterised at the
    // phone's pixel density.
    cairo_surface_set_fallback_resolution(s, 72 * o.scale, 72 * o.scale);
    cairo_t* cr = cairo_create(s);
    drawDisplayList(cr, list, o);
    cairo_destroy(cr);
    cairo_surface_finish(s);
    const cairo_status_t status = cairo_surface_status(s);
    cairo_surface_destroy(s);
    if (status != CAIRO_STATUS_SUCCESS) {
      return Error{std::string("drawing failed: ") + cairo_status_to_string(status)};
    }
  } else {
    return Error{"unknown image format: " + file.string() + " (use .png, .svg or .pdf)"};
  }
  out.close();
  if (!out) return Error{"cannot write " + file.string()};
  return Ok{};
}

}  // namespace km
