// Paths: building outlines, their length, trimming, transforms and bounds.

#include "platform/ui/path.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace km {
namespace {

constexpr double kTwoPi = 2 * std::numbers::pi;

Point lerp(Point a, Point b, double t) {
  return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}
double distance(Point a, Point b) {
  return std::hypot(b.x - a.x, b.y - a.y);
}

Point arcPoint(const Path::Arc& a, double angle) {
  return {a.center.x + a.radius * std::cos(angle), a.center.y + a.radius * std::sin(angle)};
}

Point cubicPoint(Point p0, const Path::CurveTo& c, double t) {
  const double u = 1 - t;
  const double a = u * u * u, b = 3 * u * u * t, d = 3 * u * t * t, e = t * t * t;
  return {a * p0.x + b * c.control1.x + d * c.control2.x + e * c.to.x,
          a * p0.y + b * c.control1.y + d * c.control2.y + e * c.to.y};
}

// Curves are short (corners), so a fixed subdivision measures them well below a pixel's error.
constexpr int kCurveSteps = 24;

double cubicLength(Point p0, const Path::CurveTo& c, double t0 = 0, double t1 = 1) {
  double len = 0;
  Point prev = cubicPoint(p0, c, t0);
  for (int i = 1; i <= kCurveSteps; ++i) {
    Point p = cubicPoint(p0, c, t0 + (t1 - t0) * i / kCurveSteps);
    len += distance(prev, p);
    prev = p;
  }
  return len;
}

// The parameter at which the curve has run `target` of its length.
double cubicParamAt(Point p0, const Path::CurveTo& c, double target) {
  double len = 0;
  Point prev = p0;
  for (int i = 1; i <= kCurveSteps; ++i) {
    Point p = cubicPoint(p0, c, static_cast<double>(i) / kCurveSteps);
    const double seg = distance(prev, p);
    if (len + seg >= target && seg > 0) {
      return (i - 1 + (target - len) / seg) / kCurveSteps;
    }
    len += seg;
    prev = p;
  }
  return 1;
}

// The part of a cubic between parameters t0 and t1 (de Casteljau twice).
Path::CurveTo subCurve(Point p0, const Path::CurveTo& c, double t0, double t1, Point* start) {
  auto split = [](Point a, Point b, Point cc, Point d, double t, Point out[4]) {
    Point ab = lerp(a, b, t), bc = lerp(b, cc, t), cd = lerp(cc, d, t);
    Point abc = lerp(ab, bc, t), bcd = lerp(bc, cd, t);
    Point m = lerp(abc, bcd, t);
    out[0] = m;
    out[1] = bcd;
    out[2] = cd;
    out[3] = d;
  };
  Point tail[4];
  split(p0, c.control1, c.control2, c.to, t0, tail);  // curve from t0 to 1
  const double t = t0 >= 1 ? 0 : (t1 - t0) / (1 - t0);
  // Head of the tail curve up to t.
  Point a = tail[0], b = tail[1], cc = tail[2], d = tail[3];
  Point ab = lerp(a, b, t), bc = lerp(b, cc, t), cd = lerp(cc, d, t);
  Point abc = lerp(ab, bc, t), bcd = lerp(bc, cd, t);
  Point m = lerp(abc, bcd, t);
  *start = a;
  return {ab, abc, m};
}

}  // namespace

namespace {

bool finite(Point p) {
  return std::isfinite(p.x) && std::isfinite(p.y);
}

}  // namespace

void Path::move(Point to) {
  if (!finite(to)) return;
  elements_.push_back(MoveTo{to});
  current_ = subpathStart_ = to;
  hasCurrent_ = true;
}

void Path::addLine(Point to) {
  if (!finite(to)) return;
  if (!hasCurrent_) {
    move(to);
    return;
  }
  elements_.push_back(LineTo{to});
  current_ = to;
}

void Path::addArc(Point center, double radius, Angle startAngle, Angle endAngle, bool clockwise) {
  double start = startAngle.radians, end = endAngle.radians;
  if (!finite(center) || !std::isfinite(radius) || !std::isfinite(start) || !std::isfinite(end)) {
    return;
  }
  // Normalise the sweep the way Cairo does: a full turn at most in the drawing direction.
  double sweep = end - start;
  if (!clockwise) {
    if (sweep < 0) sweep = std::fmod(sweep, kTwoPi) + kTwoPi;
    if (sweep > kTwoPi) sweep = kTwoPi;
  } else {
    if (sweep > 0) sweep = std::fmod(sweep, kTwoPi) - kTwoPi;
    if (sweep < -kTwoPi) sweep = -kTwoPi;
  }
  Arc arc{center, std::abs(radius), start, sweep};
  const Point first = arcPoint(arc, start);
  if (hasCurrent_) {
    addLine(first);
  } else {
    move(first);
  }
  elements_.push_back(arc);
  current_ = arcPoint(arc, start + sweep);
}

void Path::addCurve(Point to, Point control1, Point control2) {
  if (!finite(to) || !finite(control1) || !finite(control2)) return;
  if (!hasCurrent_) move(control1);
  elements_.push_back(CurveTo{control1, control2, to});
  current_ = to;
}

void Path::closeSubpath() {
  if (!hasCurrent_) return;
  elements_.push_back(Close{});
  current_ = subpathStart_;
}

void Path::addRect(const Rect& r) {
  if (!finite(r.origin()) || !std::isfinite(r.width) || !std::isfinite(r.height)) return;
  move({r.minX(), r.minY()});
  addLine({r.maxX(), r.minY()});
  addLine({r.maxX(), r.maxY()});
  addLine({r.minX(), r.maxY()});
  closeSubpath();
}

void Path::addRoundedRect(const Rect& r, double radius, RoundedCornerStyle style) {
  if (!std::isfinite(radius)) radius = 0;
  const double limit = std::min(r.width, r.height) / 2;
  radius = std::clamp(radius, 0.0, std::max(0.0, limit));
  if (radius <= 0) {
    addRect(r);
    return;
  }
  const double pi = std::numbers::pi;
  if (style == RoundedCornerStyle::circular) {
    move({r.minX() + radius, r.minY()});
    addArc({r.maxX() - radius, r.minY() + radius}, radius, Angle{-pi / 2}, Angle{0}, false);
    addArc({r.maxX() - radius, r.maxY() - radius}, radius, Angle{0}, Angle{pi / 2}, false);
    addArc({r.minX() + radius, r.maxY() - radius}, radius, Angle{pi / 2}, Angle{pi}, false);
    addArc({r.minX() + radius, r.minY() + radius}, radius, Angle{pi}, Angle{1.5 * pi}, false);
    closeSubpath();
    return;
  }
  // Continuous corners start further from the corner than a circular one (about 1.28 times the
  // radius) and bend with control points pulled towards the corner, which keeps the curvature
  // from jumping where the straight edge meets the curve.
  const double k = std::min(radius * 1.28195, limit);
  const double c = k * 0.36;  // control points' distance from the corner
  const double x0 = r.minX(), y0 = r.minY(), x1 = r.maxX(), y1 = r.maxY();
  move({x0 + k, y0});
  addLine({x1 - k, y0});
  addCurve({x1, y0 + k}, {x1 - c, y0}, {x1, y0 + c});
  addLine({x1, y1 - k});
  addCurve({x1 - k, y1}, {x1, y1 - c}, {x1 - c, y1});
  addLine({x0 + k, y1});
  addCurve({x0, y1 - k}, {x0 + c, y1}, {x0, y1 - c});
  addLine({x0, y0 + k});
  addCurve({x0 + k, y0}, {x0, y0 + c}, {x0 + c, y0});
  closeSubpath();
}

void Path::addCircle(Point center, double radius) {
  if (!finite(center) || !std::isfinite(radius)) return;
  move({center.x + radius, center.y});
  elements_.push_back(Arc{center, radius, 0, kTwoPi});
  current_ = {center.x + radius, center.y};
  closeSubpath();
}

void Path::addEllipse(const Rect& r) {
  if (r.width == r.height) {
    addCircle(r.center(), r.width / 2);
    return;
  }
  // Four quarter-ellipse cubics (kappa approximation), starting at three o'clock.
  constexpr double kappa = 0.5522847498;
  const double cx = r.midX(), cy = r.midY(), rx = r.width / 2, ry = r.height / 2;
  move({cx + rx, cy});
  addCurve({cx, cy + ry}, {cx + rx, cy + ry * kappa}, {cx + rx * kappa, cy + ry});
  addCurve({cx - rx, cy}, {cx - rx * kappa, cy + ry}, {cx - rx, cy + ry * kappa});
  addCurve({cx, cy - ry}, {cx - rx, cy - ry * kappa}, {cx - rx * kappa, cy - ry});
  addCurve({cx + rx, cy}, {cx + rx * kappa, cy - ry}, {cx + rx, cy - ry * kappa});
  closeSubpath();
}

namespace {

// Walks the elements with the point each starts from, calling `f(element, start, subpathStart)`.
template <typename F>
void walk(const std::vector<Path::Element>& elements, F&& f) {
  Point cur{}, sub{};
  for (const auto& e : elements) {
    f(e, cur, sub);
    if (auto* m = std::get_if<Path::MoveTo>(&e)) {
      cur = sub = m->to;
    } else if (auto* l = std::get_if<Path::LineTo>(&e)) {
      cur = l->to;
    } else if (auto* a = std::get_if<Path::Arc>(&e)) {
      cur = arcPoint(*a, a->startAngle + a->sweep);
    } else if (auto* c = std::get_if<Path::CurveTo>(&e)) {
      cur = c->to;
    } else {
      cur = sub;
    }
  }
}

double elementLength(const Path::Element& e, Point cur, Point sub) {
  if (auto* l = std::get_if<Path::LineTo>(&e)) return distance(cur, l->to);
  if (auto* a = std::get_if<Path::Arc>(&e)) return a->radius * std::abs(a->sweep);
  if (auto* c = std::get_if<Path::CurveTo>(&e)) return cubicLength(cur, *c);
  if (std::holds_alternative<Path::Close>(e)) return distance(cur, sub);
  return 0;
}

}  // namespace

double Path::length() const {
  double total = 0;
  walk(elements_,
       [&](const Element& e, Point cur, Point sub) { total += elementLength(e, cur, sub); });
  return total;
}

Path Path::trimmed(double from, double to) const {
  from = std::clamp(from, 0.0, 1.0);
  to = std::clamp(to, 0.0, 1.0);
  if (from >= to || !(to > from)) return Path{};
  if (from == 0 && to == 1) return *this;
  const double total = length();
  const double a = from * total, b = to * total;
  Path out;
  double pos = 0;
  bool open = false;  // whether `out` continues the current piece
  walk(elements_, [&](const Element& e, Point cur, Point sub) {
    if (std::holds_alternative<MoveTo>(e)) {
      open = false;
      return;
    }
    const double len = elementLength(e, cur, sub);
    const double s = std::max(a, pos), t = std::min(b, pos + len);
    if (len > 0 && t > s) {
      const double u0 = (s - pos) / len, u1 = (t - pos) / len;
      if (auto* arc = std::get_if<Arc>(&e)) {
        Arc piece = *arc;
        piece.startAngle = arc->startAngle + arc->sweep * u0;
        piece.sweep = arc->sweep * (u1 - u0);
        const Point first = arcPoint(piece, piece.startAngle);
        if (!open) out.move(first);
        out.elements_.push_back(piece);
        out.current_ = arcPoint(piece, piece.startAngle + piece.sweep);
      } else if (auto* c = std::get_if<CurveTo>(&e)) {
        const double t0 = cubicParamAt(cur, *c, u0 * len), t1 = cubicParamAt(cur, *c, u1 * len);
        Point start;
        CurveTo piece = subCurve(cur, *c, t0, t1, &start);
        if (!open) out.move(start);
        out.elements_.push_back(piece);
        out.current_ = piece.to;
      } else {
        const Point end = std::holds_alternative<Close>(e) ? sub : std::get<LineTo>(e).to;
        const Point p0 = lerp(cur, end, u0), p1 = lerp(cur, end, u1);
        if (!open) out.move(p0);
        out.addLine(p1);
      }
      open = true;
    } else if (len > 0) {
      open = false;
    }
    pos += len;
  });
  return out;
}

Path Path::transformed(const AffineTransform& t) const {
  const double det = t.xx * t.yy - t.xy * t.yx;
  const bool similarity = std::abs(t.xx - t.yy) < 1e-12 && std::abs(t.xy + t.yx) < 1e-12;
  Path out;
  for (const auto& e : elements_) {
    if (auto* m = std::get_if<MoveTo>(&e)) {
      out.move(t.apply(m->to));
    } else if (auto* l = std::get_if<LineTo>(&e)) {
      out.addLine(t.apply(l->to));
    } else if (auto* c = std::get_if<CurveTo>(&e)) {
      out.addCurve(t.apply(c->to), t.apply(c->control1), t.apply(c->control2));
    } else if (auto* a = std::get_if<Arc>(&e)) {
      if (similarity && det > 0) {
        const double scale = std::sqrt(det);
        const double rot = std::atan2(t.yx, t.xx);
        Arc mapped{t.apply(a->center), a->radius * scale, a->startAngle + rot, a->sweep};
        out.elements_.push_back(mapped);
        out.current_ = arcPoint(mapped, mapped.startAngle + mapped.sweep);
      } else {
        // Split into pieces of at most a quarter turn, each a cubic, then map the controls.
        const int n = std::max(1, static_cast<int>(std::ceil(std::abs(a->sweep) / (kTwoPi / 4))));
        const double step = a->sweep / n;
        const double k = 4.0 / 3.0 * std::tan(step / 4);
        for (int i = 0; i < n; ++i) {
          const double t0 = a->startAngle + step * i, t1 = t0 + step;
          const Point p0 = arcPoint(*a, t0), p1 = arcPoint(*a, t1);
          const Point c1{p0.x - k * a->radius * std::sin(t0), p0.y + k * a->radius * std::cos(t0)};
          const Point c2{p1.x + k * a->radius * std::sin(t1), p1.y - k * a->radius * std::cos(t1)};
          out.addCurve(t.apply(p1), t.apply(c1), t.apply(c2));
        }
      }
    } else {
      out.closeSubpath();
    }
  }
  return out;
}

Rect Path::boundingRect() const {
  double minX = kInfinity, minY = kInfinity, maxX = -kInfinity, maxY = -kInfinity;
  auto add = [&](Point p) {
    minX = std::min(minX, p.x);
    minY = std::min(minY, p.y);
    maxX = std::max(maxX, p.x);
    maxY = std::max(maxY, p.y);
  };
  walk(elements_, [&](const Element& e, Point cur, Point) {
    if (auto* m = std::get_if<MoveTo>(&e)) {
      add(m->to);
    } else if (auto* l = std::get_if<LineTo>(&e)) {
      add(cur);
      add(l->to);
    } else if (auto* c = std::get_if<CurveTo>(&e)) {
      add(cur);
      add(c->control1);
      add(c->control2);
      add(c->to);
    } else if (auto* a = std::get_if<Arc>(&e)) {
      const double s = std::min(a->startAngle, a->startAngle + a->sweep);
      const double t = std::max(a->startAngle, a->startAngle + a->sweep);
      add(arcPoint(*a, s));
      add(arcPoint(*a, t));
      // Extreme points at multiples of a quarter turn inside the sweep: at most four, as the
      // sweep is at most a turn. Counted, not stepped, since at an angle of 1e40 a quarter turn
      // added is no change at all.
      const double quarter = kTwoPi / 4, first = std::ceil(s / quarter);
      for (int k = 0; k < 4 && (first + k) * quarter < t; ++k) {
        add(arcPoint(*a, (first + k) * quarter));
      }
    }
  });
  if (minX > maxX) return {};
  return {minX, minY, maxX - minX, maxY - minY};
}

}  // namespace km
