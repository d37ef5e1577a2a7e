// Paints as Cairo sources: colours, linear gradients, and angular gradients, which Cairo lacks,
// built from mesh patches for vector output or computed per pixel for images.
#include "platform/ui/render/gradient.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>
#include <vector>

#include "platform/ui/render/cairo_bridge.h"

namespace km::render {
namespace {

constexpr double kPi = std::numbers::pi;

void addStop(cairo_pattern_t* p, double offset, const RGBA& c) {
  cairo_pattern_add_color_stop_rgba(p, offset, c.red, c.green, c.blue, c.alpha);
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

// atan2 to within about 1e-5 radians (a minimax polynomial on [0, 1] folded into the octants),
// several times faster than the library's and far finer than a 2048-entry colour table.
double fastAtan2(double y, double x) {
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

}  // namespace

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

}  // namespace km::render
