// Reading a view description's values: each reader checks one JSON value and names its path
// in the error.

#include "kmwidget/view_description/json_values.h"

#include <cmath>

namespace km::view_description {
namespace {

std::string typeName(const json& j) {
  switch (j.type()) {
    case json::value_t::null:
      return "null";
    case json::value_t::boolean:
      return "a boolean";
    case json::value_t::string:
      return "a string";
    case json::value_t::array:
      return "an array";
    case json::value_t::object:
      return "an object";
    case json::value_t::discarded:
      return "nothing";
    default:
      return "a number";
  }
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

void fail(const std::string& path, const std::string& message) {
  throw DescriptionError{path + ": " + message};
}

void wrongType(const std::string& path, const json& j, const std::string& expected) {
  fail(path, "expected " + expected + ", got " + typeName(j));
}

std::string key(const std::string& path, const std::string& name) {
  return path + "." + name;
}
std::string index(const std::string& path, size_t i) {
  return path + "[" + std::to_string(i) + "]";
}

void onlyKeys(const json& object, const std::string& path,
              std::initializer_list<std::string_view> allowed) {
  for (const auto& [name, value] : object.items()) {
    bool known = false;
    for (std::string_view a : allowed)
      known = known || a == name;
    if (!known) {
      std::string list;
      for (std::string_view a : allowed)
        list += (list.empty() ? "" : ", ") + std::string(a);
      fail(key(path, name), "unknown key (expected one of: " + list + ")");
    }
  }
}

double number(const json& j, const std::string& path) {
  if (!j.is_number()) wrongType(path, j, "a number");
  return j.get<double>();
}

double length(const json& j, const std::string& path) {
  const double v = number(j, path);
  if (!std::isfinite(v) || v < 0) fail(path, "expected a length of zero or more points");
  return v;
}

double maxLength(const json& j, const std::string& path) {
  if (j.is_string() && j.get<std::string>() == "infinity") return kInfinity;
  if (!j.is_number()) wrongType(path, j, "a number or \"infinity\"");
  return length(j, path);
}

double finite(const json& j, const std::string& path) {
  const double v = number(j, path);
  if (!std::isfinite(v)) fail(path, "expected a finite number");
  return v;
}

bool boolean(const json& j, const std::string& path) {
  if (!j.is_boolean()) wrongType(path, j, "true or false");
  return j.get<bool>();
}

const std::string& string(const json& j, const std::string& path) {
  if (!j.is_string()) wrongType(path, j, "a string");
  return j.get_ref<const std::string&>();
}

int lineCount(const json& j, const std::string& path) {
  if (!j.is_number_integer()) wrongType(path, j, "a whole number of lines");
  const auto v = j.get<long long>();
  if (v < 1 || v > 10000) fail(path, "expected 1 to 10000 lines");
  return static_cast<int>(v);
}

Alignment alignment(const json& j, const std::string& path) {
  static const std::map<std::string, Alignment> names{
      {"center", Alignment::center()},
      {"leading", Alignment::leading()},
      {"trailing", Alignment::trailing()},
      {"top", Alignment::top()},
      {"bottom", Alignment::bottom()},
      {"topLeading", Alignment::topLeading()},
      {"topTrailing", Alignment::topTrailing()},
      {"bottomLeading", Alignment::bottomLeading()},
      {"bottomTrailing", Alignment::bottomTrailing()},
  };
  return oneOf(j, path, names);
}

UnitPoint unitPoint(const json& j, const std::string& path) {
  if (j.is_array()) {
    if (j.size() != 2) fail(path, "expected [x, y]");
    return {finite(j[0], index(path, 0)), finite(j[1], index(path, 1))};
  }
  static const std::map<std::string, UnitPoint> names{
      {"center", UnitPoint::center()},
      {"leading", UnitPoint::leading()},
      {"trailing", UnitPoint::trailing()},
      {"top", UnitPoint::top()},
      {"bottom", UnitPoint::bottom()},
      {"topLeading", UnitPoint::topLeading()},
      {"topTrailing", UnitPoint::topTrailing()},
      {"bottomLeading", UnitPoint::bottomLeading()},
      {"bottomTrailing", UnitPoint::bottomTrailing()},
  };
  return oneOf(j, path, names);
}

Point point(const json& j, const std::string& path) {
  if (!j.is_array() || j.size() != 2) wrongType(path, j, "[x, y]");
  return {finite(j[0], index(path, 0)), finite(j[1], index(path, 1))};
}

// The system colours at their light-appearance values; anything else that is not "#RRGGBB" or
// "#RRGGBBAA" names a colour set of the asset catalogue.
Color color(const json& j, const std::string& path) {
  const std::string& s = string(j, path);
  if (s.empty()) fail(path, "expected a colour name or \"#RRGGBB\"");
  if (s[0] == '#') {
    if (s.size() != 7 && s.size() != 9) fail(path, "expected \"#RRGGBB\" or \"#RRGGBBAA\"");
    double c[4] = {0, 0, 0, 1};
    for (size_t i = 1; i < s.size(); i += 2) {
      const int hi = hexDigit(s[i]), lo = hexDigit(s[i + 1]);
      if (hi < 0 || lo < 0) fail(path, "not a hexadecimal colour: \"" + s + "\"");
      c[(i - 1) / 2] = (hi * 16 + lo) / 255.0;
    }
    return Color::sRGB(c[0], c[1], c[2], c[3]);
  }
  static const std::map<std::string, Color> system{
      {"black", Color::black()},
      {"white", Color::white()},
      {"clear", Color::clear()},
      {"primary", Color::primary()},
      {"secondary", Color::secondary()},
      {"red", Color::sRGB(255 / 255.0, 59 / 255.0, 48 / 255.0)},
      {"orange", Color::sRGB(255 / 255.0, 149 / 255.0, 0)},
      {"yellow", Color::sRGB(255 / 255.0, 204 / 255.0, 0)},
      {"green", Color::sRGB(52 / 255.0, 199 / 255.0, 89 / 255.0)},
      {"mint", Color::sRGB(0, 199 / 255.0, 190 / 255.0)},
      {"teal", Color::sRGB(48 / 255.0, 176 / 255.0, 199 / 255.0)},
      {"cyan", Color::sRGB(50 / 255.0, 173 / 255.0, 230 / 255.0)},
      {"blue", Color::sRGB(0, 122 / 255.0, 255 / 255.0)},
      {"indigo", Color::sRGB(88 / 255.0, 86 / 255.0, 214 / 255.0)},
      {"purple", Color::sRGB(175 / 255.0, 82 / 255.0, 222 / 255.0)},
      {"pink", Color::sRGB(255 / 255.0, 45 / 255.0, 85 / 255.0)},
      {"brown", Color::sRGB(162 / 255.0, 132 / 255.0, 94 / 255.0)},
      {"gray", Color::sRGB(142 / 255.0, 142 / 255.0, 147 / 255.0)},
  };
  if (auto it = system.find(s); it != system.end()) return it->second;
  return Color::named(s);
}

FontWeight fontWeight(const json& j, const std::string& path) {
  static const std::map<std::string, FontWeight> names{{"regular", FontWeight::regular},
                                                       {"medium", FontWeight::medium},
                                                       {"semibold", FontWeight::semibold},
                                                       {"bold", FontWeight::bold}};
  return oneOf(j, path, names);
}

// A text style by name (the phone's sizes for the default content size), or {size, weight}.
Font font(const json& j, const std::string& path) {
  if (j.is_string()) {
    static const std::map<std::string, Font> styles{
        {"largeTitle", Font::system(34)}, {"title", Font::system(28)},
        {"title2", Font::system(22)},     {"title3", Font::system(20)},
        {"headline", Font::headline()},   {"body", Font::body()},
        {"callout", Font::system(16)},    {"subheadline", Font::system(15)},
        {"footnote", Font::system(13)},   {"caption", Font::caption()},
        {"caption2", Font::system(11)},
    };
    return oneOf(j, path, styles);
  }
  if (!j.is_object()) wrongType(path, j, "a text style name or {\"size\", \"weight\"}");
  onlyKeys(j, path, {"size", "weight"});
  Font f = Font::body();
  if (j.contains("size")) {
    f.size = length(j["size"], key(path, "size"));
    if (f.size <= 0 || f.size > 1000) fail(key(path, "size"), "expected a size above 0 up to 1000");
  }
  if (j.contains("weight")) f.weight = fontWeight(j["weight"], key(path, "weight"));
  return f;
}

TextAlignment textAlignment(const json& j, const std::string& path) {
  static const std::map<std::string, TextAlignment> names{{"leading", TextAlignment::leading},
                                                          {"center", TextAlignment::center},
                                                          {"trailing", TextAlignment::trailing}};
  return oneOf(j, path, names);
}

TruncationMode truncationMode(const json& j, const std::string& path) {
  static const std::map<std::string, TruncationMode> names{{"head", TruncationMode::head},
                                                           {"middle", TruncationMode::middle},
                                                           {"tail", TruncationMode::tail}};
  return oneOf(j, path, names);
}

RoundedCornerStyle cornerStyle(const json& j, const std::string& path) {
  static const std::map<std::string, RoundedCornerStyle> names{
      {"circular", RoundedCornerStyle::circular}, {"continuous", RoundedCornerStyle::continuous}};
  return oneOf(j, path, names);
}

StrokeStyle strokeStyle(const json& j, const std::string& path) {
  StrokeStyle s;
  if (j.contains("lineWidth")) s.lineWidth = length(j["lineWidth"], key(path, "lineWidth"));
  if (j.contains("lineCap")) s.lineCap = oneOf(j["lineCap"], key(path, "lineCap"), kLineCapNames);
  if (j.contains("lineJoin")) {
    s.lineJoin = oneOf(j["lineJoin"], key(path, "lineJoin"), kLineJoinNames);
  }
  if (j.contains("dash")) {
    const std::string p = key(path, "dash");
    if (!j["dash"].is_array()) wrongType(p, j["dash"], "an array of lengths");
    for (size_t i = 0; i < j["dash"].size(); ++i)
      s.dash.push_back(length(j["dash"][i], index(p, i)));
  }
  return s;
}

Path pathOf(const json& j, const std::string& path) {
  if (!j.is_array()) wrongType(path, j, "an array of path elements");
  Path out;
  for (size_t i = 0; i < j.size(); ++i) {
    const std::string p = index(path, i);
    const json& e = j[i];
    if (!e.is_object() || e.size() != 1) wrongType(p, e, "an object with one key");
    const std::string& name = e.begin().key();
    const json& value = e.begin().value();
    const std::string vp = key(p, name);
    if (name == "move") {
      out.move(point(value, vp));
    } else if (name == "line") {
      out.addLine(point(value, vp));
    } else if (name == "arc") {
      if (!value.is_object()) wrongType(vp, value, "an object");
      onlyKeys(value, vp, {"center", "radius", "startAngle", "endAngle", "clockwise"});
      for (const char* k : {"center", "radius", "startAngle", "endAngle"}) {
        if (!value.contains(k)) fail(vp, std::string("missing \"") + k + "\"");
      }
      out.addArc(point(value["center"], key(vp, "center")),
                 length(value["radius"], key(vp, "radius")),
                 Angle::degrees(finite(value["startAngle"], key(vp, "startAngle"))),
                 Angle::degrees(finite(value["endAngle"], key(vp, "endAngle"))),
                 value.contains("clockwise") && boolean(value["clockwise"], key(vp, "clockwise")));
    } else if (name == "curve") {
      if (!value.is_object()) wrongType(vp, value, "an object");
      onlyKeys(value, vp, {"to", "control1", "control2"});
      for (const char* k : {"to", "control1", "control2"}) {
        if (!value.contains(k)) fail(vp, std::string("missing \"") + k + "\"");
      }
      out.addCurve(point(value["to"], key(vp, "to")), point(value["control1"], key(vp, "control1")),
                   point(value["control2"], key(vp, "control2")));
    } else if (name == "rect") {
      if (!value.is_array() || value.size() != 4) wrongType(vp, value, "[x, y, width, height]");
      out.addRect({finite(value[0], index(vp, 0)), finite(value[1], index(vp, 1)),
                   length(value[2], index(vp, 2)), length(value[3], index(vp, 3))});
    } else if (name == "close") {
      out.closeSubpath();
    } else {
      fail(vp, "unknown path element (expected move, line, arc, curve, rect or close)");
    }
  }
  return out;
}

}  // namespace km::view_description
