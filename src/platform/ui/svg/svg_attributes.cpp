// Reading the values of SVG attributes (see svg_attributes.h).

#include "platform/ui/svg/svg_attributes.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include "platform/ui/svg/svg_scanner.h"

namespace km::svg {

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

std::optional<PaintValue> parsePaint(std::string_view text) {
  const std::string name = lower(trim(text));
  if (name == "none") return PaintValue{};
  if (name == "currentcolor") return PaintValue{PaintValue::Kind::current, {}};
  if (auto c = parseColorValue(text)) return PaintValue{PaintValue::Kind::color, *c};
  return std::nullopt;
}

std::optional<double> parseLength(std::string_view text) {
  text = trim(text);
  Scanner sc(text);
  auto v = sc.number();
  if (!v) return std::nullopt;
  const std::string_view unit = sc.rest();
  if (!unit.empty() && unit != "px") return std::nullopt;
  return v;
}

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

std::optional<std::vector<double>> parseDashes(std::string_view v) {
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
    auto radians = [](double degrees) { return degrees * std::numbers::pi / 180.0; };
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

}  // namespace km::svg
