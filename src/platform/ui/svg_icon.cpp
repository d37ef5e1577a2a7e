#include "platform/ui/svg_icon.h"

#include <cairo.h>
#include <expat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <string>

namespace km {
namespace {

constexpr double kPi = std::numbers::pi;

Error unsupported(std::string what) {
  return Error{"unsupported: " + std::move(what)};
}

bool isWsp(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string lower(std::string_view s) {
  std::string out(s);
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return out;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && isWsp(s.front()))
    s.remove_prefix(1);
  while (!s.empty() && isWsp(s.back()))
    s.remove_suffix(1);
  return s;
}

// Reads SVG's number lists: numbers separated by whitespace and at most one comma, where a
// sign or a second decimal point also ends a number ("1.5.5-3" is 1.5, .5 and -3).
class Scanner {
 public:
  explicit Scanner(std::string_view text) : s_(text) {}

  bool atEnd() const { return i_ >= s_.size(); }
  char peek() const { return atEnd() ? '\0' : s_[i_]; }
  void advance() { ++i_; }
  void skipWsp() {
    while (!atEnd() && isWsp(s_[i_]))
      ++i_;
  }
  // Whitespace, at most one comma, whitespace.
  void skipCommaWsp() {
    skipWsp();
    if (peek() == ',') {
      ++i_;
      skipWsp();
    }
  }
  bool atNumber() const {
    const char c = peek();
    return isDigit(c) || c == '.' || c == '-' || c == '+';
  }

  std::optional<double> number() {
    const size_t begin = i_;
    size_t j = i_;
    if (j < s_.size() && (s_[j] == '+' || s_[j] == '-')) ++j;
    size_t digits = 0;
    while (j < s_.size() && isDigit(s_[j])) {
      ++j;
      ++digits;
    }
    if (j < s_.size() && s_[j] == '.') {
      ++j;
      while (j < s_.size() && isDigit(s_[j])) {
        ++j;
        ++digits;
      }
    }
    if (digits == 0) return std::nullopt;
    // An exponent only when digits follow, so that "1em" leaves "em" for the unit.
    if (j < s_.size() && (s_[j] == 'e' || s_[j] == 'E')) {
      size_t k = j + 1;
      if (k < s_.size() && (s_[k] == '+' || s_[k] == '-')) ++k;
      if (k < s_.size() && isDigit(s_[k])) {
        while (k < s_.size() && isDigit(s_[k]))
          ++k;
        j = k;
      }
    }
    // from_chars takes no leading '+', and wants at least one digit before a '.' in neither
    // case, so only the plus needs stripping.
    size_t from = begin;
    if (s_[from] == '+') ++from;
    double v = 0;
    auto [end, ec] = std::from_chars(s_.data() + from, s_.data() + j, v);
    if (ec != std::errc() || end != s_.data() + j || !std::isfinite(v)) return std::nullopt;
    i_ = j;
    return v;
  }

  // An arc flag: a single '0' or '1', which needs no separator from what follows.
  std::optional<bool> flag() {
    const char c = peek();
    if (c != '0' && c != '1') return std::nullopt;
    ++i_;
    return c == '1';
  }

  std::string_view rest() const { return s_.substr(std::min(i_, s_.size())); }

 private:
  std::string_view s_;
  size_t i_ = 0;
};

// A whole attribute value as a list of numbers; nullopt on anything else.
std::optional<std::vector<double>> numberList(std::string_view text) {
  Scanner sc(text);
  std::vector<double> out;
  sc.skipWsp();
  while (!sc.atEnd()) {
    auto v = sc.number();
    if (!v) return std::nullopt;
    out.push_back(*v);
    sc.skipCommaWsp();
  }
  return out;
}

// ---- Path data -------------------------------------------------------------------------------

class OutlineBuilder {
 public:
  SvgOutline outline;
  Point current, subpathStart;

  void moveTo(Point p) {
    outline.push_back({SvgSegment::Op::moveTo, {p, {}, {}}});
    current = subpathStart = p;
  }
  void lineTo(Point p) {
    outline.push_back({SvgSegment::Op::lineTo, {p, {}, {}}});
    current = p;
  }
  void curveTo(Point c1, Point c2, Point p) {
    outline.push_back({SvgSegment::Op::curveTo, {c1, c2, p}});
    current = p;
  }
  void close() {
    outline.push_back({SvgSegment::Op::close, {}});
    current = subpathStart;
  }

  // An elliptical arc from the current point, converted from SVG's endpoint form to the centre
  // form (the standard conversion published with SVG), then approximated by one cubic Bézier
  // per quarter turn or less (radial error below 0.03 % of the radius).
  void arcTo(double rx, double ry, double xAxisRotationDegrees, bool largeArc, bool sweep,
             Point end) {
    const Point start = current;
    if (start == end) return;  // no arc at all
    rx = std::abs(rx);
    ry = std::abs(ry);
    if (rx == 0 || ry == 0) {
      lineTo(end);
      return;
    }
    const double phi = std::fmod(xAxisRotationDegrees, 360.0) * kPi / 180.0;
    const double cosPhi = std::cos(phi), sinPhi = std::sin(phi);
    const double hx = (start.x - end.x) / 2, hy = (start.y - end.y) / 2;
    const double x1 = cosPhi * hx + sinPhi * hy;
    const double y1 = -sinPhi * hx + cosPhi * hy;
    // Radii too small to reach the end point grow just enough.
    const double lambda = (x1 * x1) / (rx * rx) + (y1 * y1) / (ry * ry);
    if (lambda > 1) {
      const double s = std::sqrt(lambda);
      rx *= s;
      ry *= s;
    }
    const double rx2 = rx * rx, ry2 = ry * ry, x12 = x1 * x1, y12 = y1 * y1;
    const double numerator = rx2 * ry2 - rx2 * y12 - ry2 * x12;
    const double denominator = rx2 * y12 + ry2 * x12;
    double coef = std::sqrt(std::max(0.0, numerator / denominator));
    if (largeArc == sweep) coef = -coef;
    const double cxp = coef * rx * y1 / ry;
    const double cyp = -coef * ry * x1 / rx;
    const double cx = cosPhi * cxp - sinPhi * cyp + (start.x + end.x) / 2;
    const double cy = sinPhi * cxp + cosPhi * cyp + (start.y + end.y) / 2;
    const double theta1 = std::atan2((y1 - cyp) / ry, (x1 - cxp) / rx);
    const double theta2 = std::atan2((-y1 - cyp) / ry, (-x1 - cxp) / rx);
    double delta = theta2 - theta1;
    if (sweep && delta < 0) delta += 2 * kPi;
    if (!sweep && delta > 0) delta -= 2 * kPi;

    const int segments =
        std::max(1, static_cast<int>(std::ceil(std::abs(delta) / (kPi / 2) - 1e-9)));
    const double step = delta / segments;
    const double k = 4.0 / 3.0 * std::tan(step / 4);
    // A point of the unit circle's frame mapped onto the ellipse.
    auto onEllipse = [&](double u, double v) {
      return Point{cx + cosPhi * rx * u - sinPhi * ry * v, cy + sinPhi * rx * u + cosPhi * ry * v};
    };
    double a = theta1;
    for (int i = 0; i < segments; ++i) {
      const double b = (i + 1 == segments) ? theta1 + delta : a + step;
      const double ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b);
      const Point c1 = onEllipse(ca - k * sa, sa + k * ca);
      const Point c2 = onEllipse(cb + k * sb, sb - k * cb);
      // The last segment ends exactly where the path data says, free of rounding.
      curveTo(c1, c2, i + 1 == segments ? end : onEllipse(cb, sb));
      a = b;
    }
  }
};

// How many numbers each command takes (arcs' two flags included).
int argumentCount(char command) {
  switch (command | 0x20) {  // either case
    case 'm':
    case 'l':
    case 't':
      return 2;
    case 'h':
    case 'v':
      return 1;
    case 'c':
      return 6;
    case 's':
    case 'q':
      return 4;
    case 'a':
      return 7;
    case 'z':
      return 0;
    default:
      return -1;
  }
}

}  // namespace

Result<SvgOutline> parseSvgPathData(std::string_view data) {
  Scanner sc(data);
  OutlineBuilder b;
  // The previous command's second control point, for the smooth curves' reflection.
  std::optional<Point> lastCubicControl, lastQuadControl;
  auto fail = [&](const char* why) {
    const std::string_view rest = sc.rest().substr(0, 12);
    return unsupported("path data " + std::string(why) + " at \"" + std::string(rest) + "\"");
  };
  sc.skipWsp();
  bool first = true;
  while (!sc.atEnd()) {
    const char letter = sc.peek();
    const int count = argumentCount(letter);
    if (count < 0) return fail("expects a command");
    if (first && letter != 'M' && letter != 'm') return fail("must start with a moveto");
    first = false;
    sc.advance();
    sc.skipWsp();
    if (count == 0) {
      b.close();
      lastCubicControl.reset();
      lastQuadControl.reset();
      continue;
    }
    // One set of arguments, then as many more as follow (implicit repeats; a moveto's
    // repeats are linetos).
    char command = letter;
    do {
      std::array<double, 7> v{};
      for (int i = 0; i < count; ++i) {
        std::optional<double> n;
        if ((command == 'a' || command == 'A') && (i == 3 || i == 4)) {
          if (auto f = sc.flag()) n = *f ? 1 : 0;
        } else {
          n = sc.number();
        }
        if (!n) return fail("expects a number");
        v[static_cast<size_t>(i)] = *n;
        sc.skipCommaWsp();
      }
      const bool relative = command >= 'a';
      const Point o = relative ? b.current : Point{0, 0};
      auto at = [&](size_t i) { return Point{o.x + v[i], o.y + v[i + 1]}; };
      std::optional<Point> cubicControl, quadControl;
      switch (command | 0x20) {  // lower case
        case 'm':
          b.moveTo(at(0));
          command = relative ? 'l' : 'L';
          break;
        case 'l':
          b.lineTo(at(0));
          break;
        case 'h':
          b.lineTo({o.x + v[0], b.current.y});
          break;
        case 'v':
          b.lineTo({b.current.x, o.y + v[0]});
          break;
        case 'c':
          b.curveTo(at(0), at(2), at(4));
          cubicControl = at(2);
          break;
        case 's': {
          const Point p = b.current;
          const Point c1 = lastCubicControl
                               ? Point{2 * p.x - lastCubicControl->x, 2 * p.y - lastCubicControl->y}
                               : p;
          cubicControl = at(0);
          b.curveTo(c1, at(0), at(2));
          break;
        }
        case 'q':
        case 't': {
          const Point p0 = b.current;
          Point q, end;
          if ((command | 0x20) == 'q') {
            q = at(0);
            end = at(2);
          } else {
            q = lastQuadControl
                    ? Point{2 * p0.x - lastQuadControl->x, 2 * p0.y - lastQuadControl->y}
                    : p0;
            end = at(0);
          }
          // The cubic with the same curve: control points two thirds of the way to q.
          b.curveTo({p0.x + 2.0 / 3 * (q.x - p0.x), p0.y + 2.0 / 3 * (q.y - p0.y)},
                    {end.x + 2.0 / 3 * (q.x - end.x), end.y + 2.0 / 3 * (q.y - end.y)}, end);
          quadControl = q;
          break;
        }
        case 'a':
          b.arcTo(v[0], v[1], v[2], v[3] != 0, v[4] != 0, at(5));
          break;
      }
      lastCubicControl = cubicControl;
      lastQuadControl = quadControl;
    } while (sc.atNumber());
  }
  return std::move(b.outline);
}

// ---- Attribute values ------------------------------------------------------------------------

namespace {

// A paint as written: none, a colour, or currentColor (resolved against the element's colour).
struct Paint {
  enum class Kind { none, color, current };
  Kind kind = Kind::none;
  RGBA color;
};

std::optional<RGBA> parseColorValue(std::string_view text) {
  text = trim(text);
  if (text.empty()) return std::nullopt;
  if (text[0] == '#') {
    auto hex = [](char c) -> int {
      if (isDigit(c)) return c - '0';
      if (c >= 'a' && c <= 'f') return c - 'a' + 10;
      if (c >= 'A' && c <= 'F') return c - 'A' + 10;
      return -1;
    };
    const std::string_view h = text.substr(1);
    int d[6];
    for (size_t i = 0; i < h.size() && i < 6; ++i)
      if ((d[i] = hex(h[i])) < 0) return std::nullopt;
    if (h.size() == 3) return RGBA{d[0] * 17 / 255.0, d[1] * 17 / 255.0, d[2] * 17 / 255.0, 1};
    if (h.size() == 6) {
      return RGBA{(d[0] * 16 + d[1]) / 255.0, (d[2] * 16 + d[3]) / 255.0,
                  (d[4] * 16 + d[5]) / 255.0, 1};
    }
    return std::nullopt;
  }
  const std::string name = lower(text);
  if (name.starts_with("rgb(") && name.ends_with(")")) {
    Scanner sc(std::string_view(name).substr(4, name.size() - 5));
    double c[3];
    sc.skipWsp();
    for (int i = 0; i < 3; ++i) {
      auto v = sc.number();
      if (!v) return std::nullopt;
      const bool percent = sc.peek() == '%';
      if (percent) sc.advance();
      // Each component rounds to the nearest of 256 levels, as an 8-bit engine stores it.
      c[i] = std::clamp(std::round(percent ? *v / 100 * 255 : *v), 0.0, 255.0) / 255.0;
      sc.skipWsp();
      if (i < 2) {
        if (sc.peek() != ',') return std::nullopt;
        sc.advance();
        sc.skipWsp();
      }
    }
    if (!sc.atEnd()) return std::nullopt;
    return RGBA{c[0], c[1], c[2], 1};
  }
  static constexpr struct {
    const char* name;
    unsigned rgb;
  } kBasic[] = {{"black", 0x000000},  {"silver", 0xC0C0C0}, {"gray", 0x808080},
                {"grey", 0x808080},   {"white", 0xFFFFFF},  {"maroon", 0x800000},
                {"red", 0xFF0000},    {"purple", 0x800080}, {"fuchsia", 0xFF00FF},
                {"green", 0x008000},  {"lime", 0x00FF00},   {"olive", 0x808000},
                {"yellow", 0xFFFF00}, {"navy", 0x000080},   {"blue", 0x0000FF},
                {"teal", 0x008080},   {"aqua", 0x00FFFF}};
  for (const auto& c : kBasic) {
    if (name == c.name) {
      return RGBA{((c.rgb >> 16) & 0xFF) / 255.0, ((c.rgb >> 8) & 0xFF) / 255.0,
                  (c.rgb & 0xFF) / 255.0, 1};
    }
  }
  return std::nullopt;
}

std::optional<Paint> parsePaint(std::string_view text) {
  const std::string name = lower(trim(text));
  if (name == "none") return Paint{};
  if (name == "currentcolor") return Paint{Paint::Kind::current, {}};
  if (auto c = parseColorValue(text)) return Paint{Paint::Kind::color, *c};
  return std::nullopt;
}

// A length in user units: a number, optionally in px.
std::optional<double> parseLength(std::string_view text) {
  text = trim(text);
  Scanner sc(text);
  auto v = sc.number();
  if (!v) return std::nullopt;
  const std::string_view unit = sc.rest();
  if (!unit.empty() && unit != "px") return std::nullopt;
  return v;
}

// The root's width or height. nullopt: absent or a percentage (the view box then decides);
// NaN: a value or unit the reader does not know.
std::optional<double> parseRootLength(std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  Scanner sc(trim(*text));
  auto v = sc.number();
  if (!v || *v < 0) return std::nan("");
  const std::string_view unit = sc.rest();
  // Absolute units at 72 dots per inch, one user unit per point.
  static constexpr struct {
    const char* unit;
    double factor;
  } kUnits[] = {{"", 1},    {"px", 1},         {"pt", 1},        {"pc", 12},
                {"in", 72}, {"cm", 72 / 2.54}, {"mm", 72 / 25.4}};
  if (unit == "%") return std::nullopt;
  for (const auto& u : kUnits)
    if (unit == u.unit) return *v * u.factor;
  return std::nan("");
}

std::optional<double> parseOpacity(std::string_view text) {
  text = trim(text);
  Scanner sc(text);
  auto v = sc.number();
  if (!v) return std::nullopt;
  if (sc.peek() == '%') {
    sc.advance();
    *v /= 100;
  }
  if (!sc.atEnd()) return std::nullopt;
  return std::clamp(*v, 0.0, 1.0);
}

std::optional<Rect> parseViewBox(std::string_view text) {
  auto v = numberList(text);
  if (!v || v->size() != 4 || (*v)[2] <= 0 || (*v)[3] <= 0) return std::nullopt;
  return Rect{(*v)[0], (*v)[1], (*v)[2], (*v)[3]};
}

std::optional<SvgAspectRatio> parseAspectRatio(std::string_view text) {
  std::string_view t = trim(text);
  SvgAspectRatio out;
  const size_t space = t.find_first_of(" \t\n\r");
  std::string_view align = t.substr(0, space);
  std::string_view rule = space == std::string_view::npos ? "" : trim(t.substr(space));
  using A = SvgAspectRatio::Align;
  if (align == "none") {
    out.x = out.y = A::none;
  } else {
    if (align.size() != 8 || align[0] != 'x' || align[4] != 'Y') return std::nullopt;
    auto part = [](std::string_view p) -> std::optional<A> {
      if (p == "Min") return A::min;
      if (p == "Mid") return A::mid;
      if (p == "Max") return A::max;
      return std::nullopt;
    };
    auto x = part(align.substr(1, 3)), y = part(align.substr(5, 3));
    if (!x || !y) return std::nullopt;
    out.x = *x;
    out.y = *y;
  }
  if (rule == "slice") {
    out.slice = true;
  } else if (!rule.empty() && rule != "meet") {
    return std::nullopt;
  }
  return out;
}

std::optional<AffineTransform> parseTransform(std::string_view text) {
  AffineTransform result;
  Scanner sc(text);
  sc.skipWsp();
  while (!sc.atEnd()) {
    const std::string_view rest = sc.rest();
    const size_t open = rest.find('(');
    if (open == std::string_view::npos) return std::nullopt;
    const std::string_view name = trim(rest.substr(0, open));
    const size_t close = rest.find(')', open);
    if (close == std::string_view::npos) return std::nullopt;
    auto args = numberList(rest.substr(open + 1, close - open - 1));
    if (!args) return std::nullopt;
    const std::vector<double>& a = *args;
    const size_t n = a.size();
    auto radians = [](double degrees) { return degrees * kPi / 180.0; };
    AffineTransform t;
    if (name == "matrix" && n == 6) {
      t = {a[0], a[1], a[2], a[3], a[4], a[5]};
    } else if (name == "translate" && (n == 1 || n == 2)) {
      t = AffineTransform::translation(a[0], n == 2 ? a[1] : 0);
    } else if (name == "scale" && (n == 1 || n == 2)) {
      t = AffineTransform::scale(a[0], n == 2 ? a[1] : a[0]);
    } else if (name == "rotate" && (n == 1 || n == 3)) {
      t = AffineTransform::rotation(Angle::degrees(a[0]));
      if (n == 3) {
        t = AffineTransform::translation(a[1], a[2])
                .after(t)
                .after(AffineTransform::translation(-a[1], -a[2]));
      }
    } else if (name == "skewX" && n == 1) {
      t = {1, 0, std::tan(radians(a[0])), 1, 0, 0};
    } else if (name == "skewY" && n == 1) {
      t = {1, std::tan(radians(a[0])), 0, 1, 0, 0};
    } else {
      return std::nullopt;
    }
    // A list applies right to left: the last transform is nearest the shape.
    result = result.after(t);
    Scanner tail(rest.substr(close + 1));
    tail.skipCommaWsp();
    sc = Scanner(tail.rest());
  }
  return result;
}

// ---- Elements --------------------------------------------------------------------------------

// The inherited painting properties in effect for an element.
struct Style {
  Paint fill{Paint::Kind::color, {0, 0, 0, 1}};
  Paint stroke;
  RGBA color{0, 0, 0, 1};  // what currentColor means; black, the colour icons are tinted from
  double fillOpacity = 1, strokeOpacity = 1;
  double strokeWidth = 1;
  SvgLineCap lineCap = SvgLineCap::butt;
  SvgLineJoin lineJoin = SvgLineJoin::miter;
  double miterLimit = 4;
  std::vector<double> dashes;
  double dashOffset = 0;
  SvgFillRule fillRule = SvgFillRule::nonZero;
};

constexpr char kSvgNamespace[] = "http://www.w3.org/2000/svg";

// Names reach the handlers as "namespace\nlocal" (or just "local" outside any namespace).
struct Name {
  std::string_view ns, local;
};
Name splitName(const char* raw) {
  std::string_view s(raw);
  const size_t sep = s.find('\n');
  if (sep == std::string_view::npos) return {{}, s};
  return {s.substr(0, sep), s.substr(sep + 1)};
}

// Attributes that do not change what is drawn.
bool isInertAttribute(std::string_view name) {
  return name == "id" || name == "class" || name == "version" || name == "baseProfile" ||
         name == "role" || name == "focusable" || name.starts_with("aria-") ||
         name.starts_with("data-");
}

class Reader {
 public:
  explicit Reader(XML_Parser parser) : parser_(parser) {}

  void start(const char* rawName, const char** atts) {
    if (failed()) return;
    const Name name = splitName(rawName);
    const bool svgElement = name.ns.empty() || name.ns == kSvgNamespace;
    Frame frame;
    if (!stack_.empty()) {
      frame.style = stack_.back().style;
      frame.transform = stack_.back().transform;
      frame.skipping = stack_.back().skipping;
    }
    if (frame.skipping) {
      stack_.push_back(std::move(frame));
      return;
    }
    const std::string_view local = name.local;
    if (stack_.empty()) {
      if (!svgElement || local != "svg") return fail("root element is not svg");
    } else if (!svgElement || local == "title" || local == "desc" || local == "metadata" ||
               local == "defs") {
      // Editors' data and things that are not drawn where they stand.
      frame.skipping = true;
      stack_.push_back(std::move(frame));
      return;
    } else if (local == "svg") {
      return fail("nested svg");
    } else if (local != "g" && local != "path" && local != "rect" && local != "circle" &&
               local != "ellipse" && local != "line" && local != "polyline" && local != "polygon") {
      return fail("element " + std::string(local));
    }

    // Presentation attributes first, so that an element's geometry sees its own style.
    Attributes geometry;
    double opacity = 1;
    for (const char** a = atts; a[0]; a += 2) {
      const Name attr = splitName(a[0]);
      if (!attr.ns.empty()) continue;  // xml:space, xlink:, editors' namespaces
      const std::string_view key = attr.local, value = a[1];
      switch (applyPresentation(key, value, frame, opacity)) {
        case Applied::yes:
          continue;
        case Applied::badValue:
          return fail(std::string(key) + "=\"" + std::string(value) + "\"");
        case Applied::no:
          break;
      }
      if (isInertAttribute(key)) continue;
      geometry.push_back({key, value});
    }
    if (failed()) return;
    // The root's size counts even when nothing is shown.
    if (local == "svg") readRoot(geometry);
    if (failed()) return;
    if (frame.hidden) {
      frame.skipping = true;
      stack_.push_back(std::move(frame));
      return;
    }

    if (local == "svg") {
      // Read above.
    } else if (local == "g") {
      if (!geometry.empty()) return fail("attribute " + std::string(geometry[0].first) + " on g");
    } else {
      auto outline = shapeOutline(local, geometry);
      if (!outline) return failWith(outline.error());
      SvgShape shape;
      shape.outline = std::move(*outline);
      shape.transform = frame.transform;
      paintShape(shape, frame.style);
      shape.opacity = opacity;
      frame.skipping = true;  // a shape's children (titles, animations) are not drawn
      stack_.push_back(std::move(frame));
      if (!shape.outline.empty() && (shape.fill || shape.stroke)) {
        icon_.items.push_back(std::move(shape));
      }
      return;
    }
    if (opacity < 1) {
      icon_.items.push_back(SvgBeginGroup{opacity});
      frame.group = true;
    }
    stack_.push_back(std::move(frame));
  }

  void end() {
    if (failed() || stack_.empty()) return;
    if (stack_.back().group) icon_.items.push_back(SvgEndGroup{});
    stack_.pop_back();
  }

  bool failed() const { return error_.has_value(); }
  const std::optional<Error>& error() const { return error_; }
  bool sawRoot() const { return sawRoot_; }
  const std::optional<Size>& declaredSize() const { return declaredSize_; }
  SvgIcon& icon() { return icon_; }

 private:
  using Attributes = std::vector<std::pair<std::string_view, std::string_view>>;
  enum class Applied { no, yes, badValue };

  struct Frame {
    Style style;
    AffineTransform transform;  // to the view box's user units
    bool skipping = false;      // inside content that is not drawn
    bool hidden = false;        // display="none"
    bool group = false;         // emitted a begin-group mark
  };

  void fail(std::string what) { failWith(unsupported(std::move(what))); }
  void failWith(Error error) {
    if (!error_) error_ = std::move(error);
    XML_StopParser(parser_, XML_FALSE);
  }

  Applied applyPresentation(std::string_view key, std::string_view value, Frame& f,
                            double& opacity) {
    Style& s = f.style;
    const std::string_view v = trim(value);
    // "inherit" on an inherited property is what happens anyway.
    const bool inherit = v == "inherit";
    auto set = [&](auto parsed, auto& target) {
      if (inherit) return Applied::yes;
      if (!parsed) return Applied::badValue;
      target = *parsed;
      return Applied::yes;
    };
    auto nonNegative = [](std::optional<double> d) { return d && *d >= 0 ? d : std::nullopt; };
    if (key == "fill") return set(parsePaint(v), s.fill);
    if (key == "stroke") return set(parsePaint(v), s.stroke);
    if (key == "color") return set(parseColorValue(v), s.color);
    if (key == "fill-opacity") return set(parseOpacity(v), s.fillOpacity);
    if (key == "stroke-opacity") return set(parseOpacity(v), s.strokeOpacity);
    if (key == "stroke-width") return set(nonNegative(parseLength(v)), s.strokeWidth);
    if (key == "stroke-dashoffset") return set(parseLength(v), s.dashOffset);
    if (key == "stroke-miterlimit") {
      auto m = numberList(v);
      return set(m && m->size() == 1 && (*m)[0] >= 1 ? std::optional((*m)[0]) : std::nullopt,
                 s.miterLimit);
    }
    if (key == "stroke-linecap") {
      std::optional<SvgLineCap> c;
      if (v == "butt") c = SvgLineCap::butt;
      if (v == "round") c = SvgLineCap::round;
      if (v == "square") c = SvgLineCap::square;
      return set(c, s.lineCap);
    }
    if (key == "stroke-linejoin") {
      std::optional<SvgLineJoin> j;
      if (v == "miter") j = SvgLineJoin::miter;
      if (v == "round") j = SvgLineJoin::round;
      if (v == "bevel") j = SvgLineJoin::bevel;
      return set(j, s.lineJoin);
    }
    if (key == "fill-rule") {
      std::optional<SvgFillRule> r;
      if (v == "nonzero") r = SvgFillRule::nonZero;
      if (v == "evenodd") r = SvgFillRule::evenOdd;
      return set(r, s.fillRule);
    }
    if (key == "stroke-dasharray") return set(parseDashes(v), s.dashes);
    if (key == "opacity") {
      auto o = parseOpacity(v);
      if (!o) return Applied::badValue;
      opacity = *o;
      return Applied::yes;
    }
    if (key == "display") {
      if (v == "none") f.hidden = true;
      return v == "inherit" ? Applied::badValue : Applied::yes;
    }
    if (key == "transform") {
      if (stack_.empty()) return Applied::no;  // on the root: refused as an unknown attribute
      auto t = parseTransform(v);
      if (!t) return Applied::badValue;
      f.transform = f.transform.after(*t);
      return Applied::yes;
    }
    return Applied::no;
  }

  static std::optional<std::vector<double>> parseDashes(std::string_view v) {
    if (v == "none") return std::vector<double>{};
    std::vector<double> out;
    Scanner sc(v);
    sc.skipWsp();
    while (!sc.atEnd()) {
      auto d = sc.number();
      if (!d || *d < 0) return std::nullopt;
      if (sc.rest().starts_with("px")) {
        sc.advance();
        sc.advance();
      }
      out.push_back(*d);
      sc.skipCommaWsp();
    }
    double total = 0;
    for (double d : out)
      total += d;
    if (total == 0) return std::vector<double>{};  // all gaps and no dashes: solid
    // An odd list repeats to make it even.
    if (out.size() % 2 == 1) out.insert(out.end(), out.begin(), out.end());
    return out;
  }

  void readRoot(const Attributes& attrs) {
    sawRoot_ = true;
    std::optional<std::string_view> width, height;
    std::optional<Rect> viewBox;
    for (const auto& [key, value] : attrs) {
      if (key == "width") {
        width = value;
      } else if (key == "height") {
        height = value;
      } else if (key == "viewBox") {
        viewBox = parseViewBox(value);
        if (!viewBox) return fail("viewBox=\"" + std::string(value) + "\"");
      } else if (key == "preserveAspectRatio") {
        auto ar = parseAspectRatio(value);
        if (!ar) return fail("preserveAspectRatio=\"" + std::string(value) + "\"");
        icon_.aspectRatio = *ar;
      } else if (key == "x" || key == "y") {
        // The outermost svg element's position has no effect.
      } else {
        return fail("attribute " + std::string(key) + " on svg");
      }
    }
    const auto w = parseRootLength(width), h = parseRootLength(height);
    if (w && std::isnan(*w)) return fail("width=\"" + std::string(*width) + "\"");
    if (h && std::isnan(*h)) return fail("height=\"" + std::string(*height) + "\"");
    if (w && h) {
      declaredSize_ = Size{*w, *h};
    } else if (viewBox) {
      declaredSize_ = Size{w.value_or(viewBox->width), h.value_or(viewBox->height)};
    }
    if (!declaredSize_) return fail("svg without width, height or viewBox");
    icon_.size = *declaredSize_;
    // Without a view box the declared size is the user space.
    icon_.viewBox = viewBox.value_or(Rect{0, 0, icon_.size.width, icon_.size.height});
    if (icon_.viewBox.width <= 0 || icon_.viewBox.height <= 0) fail("empty svg");
  }

  static Result<SvgOutline> shapeOutline(std::string_view element, const Attributes& attrs) {
    if (element == "path") {
      std::string_view d;
      for (const auto& [key, value] : attrs) {
        if (key != "d") return unsupported("attribute " + std::string(key) + " on path");
        d = value;
      }
      return parseSvgPathData(d);
    }
    if (element == "polyline" || element == "polygon") {
      std::optional<std::vector<double>> points = std::vector<double>{};
      for (const auto& [key, value] : attrs) {
        if (key != "points") {
          return unsupported("attribute " + std::string(key) + " on " + std::string(element));
        }
        points = numberList(value);
      }
      if (!points || points->size() % 2 != 0) {
        return unsupported("points of " + std::string(element));
      }
      OutlineBuilder b;
      for (size_t i = 0; i < points->size(); i += 2) {
        const Point p{(*points)[i], (*points)[i + 1]};
        i == 0 ? b.moveTo(p) : b.lineTo(p);
      }
      if (element == "polygon" && !b.outline.empty()) b.close();
      return std::move(b.outline);
    }
    // The remaining shapes take lengths only.
    static constexpr struct {
      const char* element;
      std::array<const char*, 6> keys;
    } kKeys[] = {{"rect", {"x", "y", "width", "height", "rx", "ry"}},
                 {"circle", {"cx", "cy", "r"}},
                 {"ellipse", {"cx", "cy", "rx", "ry"}},
                 {"line", {"x1", "y1", "x2", "y2"}}};
    const auto* keys = &kKeys[0].keys;
    for (const auto& k : kKeys)
      if (element == k.element) keys = &k.keys;
    std::array<std::optional<double>, 6> v;
    for (const auto& [key, value] : attrs) {
      size_t i = 0;
      while (i < keys->size() && (*keys)[i] && key != (*keys)[i])
        ++i;
      if (i == keys->size() || !(*keys)[i]) {
        return unsupported("attribute " + std::string(key) + " on " + std::string(element));
      }
      v[i] = parseLength(value);
      if (!v[i]) {
        return unsupported(std::string(key) + "=\"" + std::string(value) + "\" on " +
                           std::string(element));
      }
    }
    auto get = [&](size_t i) { return v[i].value_or(0); };
    OutlineBuilder b;
    if (element == "rect") return rectOutline(get(0), get(1), v[2], v[3], v[4], v[5]);
    if (element == "line") {
      b.moveTo({get(0), get(1)});
      b.lineTo({get(2), get(3)});
      return std::move(b.outline);
    }
    const double cx = get(0), cy = get(1);
    const double rx = get(2);
    const double ry = element == "circle" ? get(2) : get(3);
    if (rx < 0 || ry < 0) return unsupported("negative radius on " + std::string(element));
    if (rx == 0 || ry == 0) return SvgOutline{};  // not drawn
    // Four quarter arcs clockwise from three o'clock, as SVG defines these shapes' paths.
    b.moveTo({cx + rx, cy});
    b.arcTo(rx, ry, 0, false, true, {cx, cy + ry});
    b.arcTo(rx, ry, 0, false, true, {cx - rx, cy});
    b.arcTo(rx, ry, 0, false, true, {cx, cy - ry});
    b.arcTo(rx, ry, 0, false, true, {cx + rx, cy});
    b.close();
    return std::move(b.outline);
  }

  static Result<SvgOutline> rectOutline(double x, double y, std::optional<double> width,
                                        std::optional<double> height, std::optional<double> rxIn,
                                        std::optional<double> ryIn) {
    const double w = width.value_or(0), h = height.value_or(0);
    if (w < 0 || h < 0) return unsupported("negative size on rect");
    if ((rxIn && *rxIn < 0) || (ryIn && *ryIn < 0)) return unsupported("negative radius on rect");
    if (w == 0 || h == 0) return SvgOutline{};  // not drawn
    // A radius given alone serves both axes; each is at most half its side.
    double rx = rxIn.value_or(ryIn.value_or(0));
    double ry = ryIn.value_or(rxIn.value_or(0));
    rx = std::min(rx, w / 2);
    ry = std::min(ry, h / 2);
    OutlineBuilder b;
    if (rx == 0 || ry == 0) {
      b.moveTo({x, y});
      b.lineTo({x + w, y});
      b.lineTo({x + w, y + h});
      b.lineTo({x, y + h});
      b.close();
      return std::move(b.outline);
    }
    b.moveTo({x + rx, y});
    b.lineTo({x + w - rx, y});
    b.arcTo(rx, ry, 0, false, true, {x + w, y + ry});
    b.lineTo({x + w, y + h - ry});
    b.arcTo(rx, ry, 0, false, true, {x + w - rx, y + h});
    b.lineTo({x + rx, y + h});
    b.arcTo(rx, ry, 0, false, true, {x, y + h - ry});
    b.lineTo({x, y + ry});
    b.arcTo(rx, ry, 0, false, true, {x + rx, y});
    b.close();
    return std::move(b.outline);
  }

  static void paintShape(SvgShape& shape, const Style& s) {
    auto resolve = [&](const Paint& p, double opacity) -> std::optional<RGBA> {
      if (p.kind == Paint::Kind::none) return std::nullopt;
      RGBA c = p.kind == Paint::Kind::current ? s.color : p.color;
      c.alpha *= opacity;
      return c;
    };
    shape.fill = resolve(s.fill, s.fillOpacity);
    shape.fillRule = s.fillRule;
    if (s.strokeWidth > 0) shape.stroke = resolve(s.stroke, s.strokeOpacity);
    shape.strokeWidth = s.strokeWidth;
    shape.lineCap = s.lineCap;
    shape.lineJoin = s.lineJoin;
    shape.miterLimit = s.miterLimit;
    shape.dashes = s.dashes;
    shape.dashOffset = s.dashOffset;
  }

  XML_Parser parser_;
  std::vector<Frame> stack_;
  SvgIcon icon_;
  std::optional<Error> error_;
  std::optional<Size> declaredSize_;
  bool sawRoot_ = false;
};

struct ParserDeleter {
  void operator()(XML_Parser p) const { XML_ParserFree(p); }
};

// Runs the reader over the bytes; with `rootOnly`, stops once the root element is read.
Result<SvgIcon> run(std::string_view svg, bool rootOnly, std::optional<Size>* declared) {
  std::unique_ptr<XML_ParserStruct, ParserDeleter> parser(XML_ParserCreateNS(nullptr, '\n'));
  if (!parser) return Error{"out of memory"};
  Reader reader(parser.get());
  struct Context {
    Reader* reader;
    bool rootOnly;
    XML_Parser parser;
  } context{&reader, rootOnly, parser.get()};
  XML_SetUserData(parser.get(), &context);
  XML_SetElementHandler(
      parser.get(),
      [](void* data, const XML_Char* name, const XML_Char** atts) {
        auto* c = static_cast<Context*>(data);
        c->reader->start(name, atts);
        if (c->rootOnly && !c->reader->failed()) XML_StopParser(c->parser, XML_FALSE);
      },
      [](void* data, const XML_Char*) { static_cast<Context*>(data)->reader->end(); });
  const auto status =
      XML_Parse(parser.get(), svg.data(), static_cast<int>(svg.size()), /*isFinal=*/XML_TRUE);
  if (declared) *declared = reader.declaredSize();
  if (reader.error()) return *reader.error();
  if (rootOnly) {
    if (!reader.sawRoot()) return Error{"malformed XML: no root element"};
    return std::move(reader.icon());
  }
  if (status != XML_STATUS_OK) {
    return Error{std::string("malformed XML: ") + XML_ErrorString(XML_GetErrorCode(parser.get())) +
                 " at line " + std::to_string(XML_GetCurrentLineNumber(parser.get()))};
  }
  return std::move(reader.icon());
}

}  // namespace

Result<SvgIcon> parseSvgIcon(std::string_view svg) {
  if (svg.size() > static_cast<size_t>(std::numeric_limits<int>::max())) {
    return unsupported("file too large");
  }
  return run(svg, /*rootOnly=*/false, nullptr);
}

std::optional<Size> svgDeclaredSize(std::string_view svg) {
  if (svg.size() > static_cast<size_t>(std::numeric_limits<int>::max())) return std::nullopt;
  std::optional<Size> size;
  run(svg, /*rootOnly=*/true, &size);
  return size;
}

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
      cairo_set_line_width(cr, shape.strokeWidth);
      cairo_set_line_cap(cr, shape.lineCap == SvgLineCap::round    ? CAIRO_LINE_CAP_ROUND
                             : shape.lineCap == SvgLineCap::square ? CAIRO_LINE_CAP_SQUARE
                                                                   : CAIRO_LINE_CAP_BUTT);
      cairo_set_line_join(cr, shape.lineJoin == SvgLineJoin::round   ? CAIRO_LINE_JOIN_ROUND
                              : shape.lineJoin == SvgLineJoin::bevel ? CAIRO_LINE_JOIN_BEVEL
                                                                     : CAIRO_LINE_JOIN_MITER);
      cairo_set_miter_limit(cr, shape.miterLimit);
      cairo_set_dash(cr, shape.dashes.data(), static_cast<int>(shape.dashes.size()),
                     shape.dashOffset);
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
