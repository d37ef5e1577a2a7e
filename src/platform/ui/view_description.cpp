#include "platform/ui/view_description.h"

#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/message_text.h"

namespace km {
namespace {

using nlohmann::json;

// Thrown inside the parser only and turned into an Error at the entry points: the path and the
// message travel together from wherever the bad value is found.
struct DescriptionError {
  std::string message;
};

[[noreturn]] void fail(const std::string& path, const std::string& message) {
  throw DescriptionError{path + ": " + message};
}

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

[[noreturn]] void wrongType(const std::string& path, const json& j, const std::string& expected) {
  fail(path, "expected " + expected + ", got " + typeName(j));
}

std::string key(const std::string& path, const std::string& name) {
  return path + "." + name;
}
std::string index(const std::string& path, size_t i) {
  return path + "[" + std::to_string(i) + "]";
}

// Rejects keys the caller does not know, so that a misspelt option is reported instead of
// silently ignored.
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

// A length: a finite number of points, at least zero.
double length(const json& j, const std::string& path) {
  const double v = number(j, path);
  if (!std::isfinite(v) || v < 0) fail(path, "expected a length of zero or more points");
  return v;
}

// A maximum may also be "infinity" (fill the proposal).
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

template <typename T>
T oneOf(const json& j, const std::string& path, const std::map<std::string, T>& names) {
  const std::string& s = string(j, path);
  if (auto it = names.find(s); it != names.end()) return it->second;
  std::string list;
  for (const auto& [name, value] : names)
    list += (list.empty() ? "" : ", ") + name;
  fail(path, "unknown value \"" + echoedInput(s) + "\" (expected one of: " + list + ")");
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

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
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
  if (j.contains("lineCap")) {
    static const std::map<std::string, LineCap> caps{
        {"butt", LineCap::butt}, {"round", LineCap::round}, {"square", LineCap::square}};
    s.lineCap = oneOf(j["lineCap"], key(path, "lineCap"), caps);
  }
  if (j.contains("lineJoin")) {
    static const std::map<std::string, LineJoin> joins{
        {"miter", LineJoin::miter}, {"round", LineJoin::round}, {"bevel", LineJoin::bevel}};
    s.lineJoin = oneOf(j["lineJoin"], key(path, "lineJoin"), joins);
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

enum class Axis { horizontal, vertical };

// The platform's hairline divider: one pixel at the phone's usual 3x scale, in the system's
// separator colour (which follows the appearance), across its stack (horizontal outside any
// stack).
constexpr double kDividerThickness = 1.0 / 3.0;

// A view under construction: the shape modifiers (trim, fill, stroke) need the shape itself,
// which is kept until any other modifier makes it a plain view.
struct Built {
  View view;
  std::optional<Shape> shape;
};

Built fromShape(Shape s) {
  View v = s;
  return {std::move(v), std::move(s)};
}

class Parser {
 public:
  View view(const json& j, const std::string& path, std::optional<Axis> stack, int depth) {
    if (depth > kMaxViewDescriptionDepth) fail(path, "views nested too deeply");
    if (!j.is_object()) wrongType(path, j, "a view object such as {\"Text\": \"Hello\"}");
    const json* modifiers = nullptr;
    const json* body = nullptr;
    std::string name;
    for (const auto& [k, v] : j.items()) {
      if (k == "modifiers") {
        modifiers = &v;
      } else if (body) {
        fail(key(path, k), "a view has one name besides \"modifiers\" (already \"" + name + "\")");
      } else {
        name = k;
        body = &v;
      }
    }
    if (!body) fail(path, "missing the view's name, such as \"Text\" or \"VStack\"");
    Built b = primitive(name, *body, key(path, name), stack, depth);
    if (modifiers) {
      const std::string mp = key(path, "modifiers");
      if (!modifiers->is_array()) wrongType(mp, *modifiers, "an array of modifiers");
      for (size_t i = 0; i < modifiers->size(); ++i) {
        b = modifier(std::move(b), (*modifiers)[i], index(mp, i), depth);
      }
    }
    return std::move(b.view);
  }

 private:
  Built primitive(const std::string& name, const json& j, const std::string& path,
                  std::optional<Axis> stack, int depth) {
    if (name == "Text") return {text(j, path), std::nullopt};
    if (name == "Color") return {Rectangle().fill(color(j, path)), std::nullopt};
    if (name == "Image") return {image(j, path), std::nullopt};
    if (name == "Spacer") {
      std::optional<double> minLength;
      if (j.is_object()) {
        onlyKeys(j, path, {"minLength"});
        if (j.contains("minLength")) minLength = length(j["minLength"], key(path, "minLength"));
      } else if (!j.is_null()) {
        wrongType(path, j, "{} or {\"minLength\": n}");
      }
      return {Spacer(minLength), std::nullopt};
    }
    if (name == "Divider") {
      emptyOptions(j, path);
      const View line = Rectangle().fill(Color::separator());
      if (stack == Axis::horizontal) return {line.frame(kDividerThickness, std::nullopt)};
      return {line.frame(std::nullopt, kDividerThickness)};
    }
    if (name == "HStack" || name == "VStack" || name == "ZStack") {
      return {stackView(name, j, path, depth), std::nullopt};
    }
    if (name == "EmptyView") {
      emptyOptions(j, path);
      return {EmptyView(), std::nullopt};
    }
    if (name == "Circle" || name == "Rectangle" || name == "Ellipse") {
      emptyOptions(j, path);
      if (name == "Circle") return fromShape(Circle());
      if (name == "Ellipse") return fromShape(Shape::ellipse());
      return fromShape(Rectangle());
    }
    if (name == "Capsule") {
      RoundedCornerStyle style = RoundedCornerStyle::circular;
      if (j.is_object()) {
        onlyKeys(j, path, {"style"});
        if (j.contains("style")) style = cornerStyle(j["style"], key(path, "style"));
      } else if (!j.is_null()) {
        wrongType(path, j, "{} or {\"style\": ...}");
      }
      return fromShape(Capsule(style));
    }
    if (name == "RoundedRectangle") {
      if (!j.is_object()) wrongType(path, j, "{\"cornerRadius\": n}");
      onlyKeys(j, path, {"cornerRadius", "style"});
      if (!j.contains("cornerRadius")) fail(path, "missing \"cornerRadius\"");
      RoundedCornerStyle style = RoundedCornerStyle::circular;
      if (j.contains("style")) style = cornerStyle(j["style"], key(path, "style"));
      return fromShape(
          RoundedRectangle(length(j["cornerRadius"], key(path, "cornerRadius")), style));
    }
    if (name == "Path") return fromShape(Shape::path(pathOf(j, path)));
    fail(path,
         "unknown view (expected Text, Color, Image, Spacer, Divider, HStack, VStack, ZStack, "
         "EmptyView, Circle, Ellipse, Rectangle, RoundedRectangle, Capsule or Path)");
  }

  static void emptyOptions(const json& j, const std::string& path) {
    if (j.is_null() || (j.is_object() && j.empty())) return;
    wrongType(path, j, "{} (this view takes no options)");
  }

  View text(const json& j, const std::string& path) {
    if (j.is_string()) return Text(j.get<std::string>());
    if (!j.is_object()) wrongType(path, j, "a string or {\"text\": ...}");
    onlyKeys(j, path,
             {"text", "font", "fontWeight", "lineLimit", "minimumScaleFactor",
              "multilineTextAlignment", "truncationMode", "foregroundColor"});
    if (!j.contains("text")) fail(path, "missing \"text\"");
    View v = Text(string(j["text"], key(path, "text")));
    // The same settings as the modifiers of the same names, in the order the phone applies them
    // when written after the text.
    for (const char* k : {"font", "fontWeight", "lineLimit", "minimumScaleFactor",
                          "multilineTextAlignment", "truncationMode", "foregroundColor"}) {
      if (j.contains(k)) v = environment(v, k, j[k], key(path, k)).value();
    }
    return v;
  }

  View image(const json& j, const std::string& path) {
    if (j.is_string()) return Image(j.get<std::string>());
    if (!j.is_object()) wrongType(path, j, "an asset name or {\"name\": ...}");
    onlyKeys(j, path, {"name", "resizable", "renderingMode", "scaledToFit"});
    if (!j.contains("name")) fail(path, "missing \"name\"");
    View v = Image(string(j["name"], key(path, "name")));
    if (j.contains("renderingMode")) {
      static const std::map<std::string, ImageRenderingMode> modes{
          {"original", ImageRenderingMode::original}, {"template", ImageRenderingMode::template_}};
      v = v.renderingMode(oneOf(j["renderingMode"], key(path, "renderingMode"), modes));
    }
    if (j.contains("resizable") && boolean(j["resizable"], key(path, "resizable"))) {
      v = v.resizable();
    }
    if (j.contains("scaledToFit") && boolean(j["scaledToFit"], key(path, "scaledToFit"))) {
      v = v.scaledToFit();
    }
    return v;
  }

  View stackView(const std::string& name, const json& j, const std::string& path, int depth) {
    const json* children = &j;
    std::string childrenPath = path;
    const json* align = nullptr;
    std::optional<double> spacing;
    if (j.is_object()) {
      onlyKeys(j, path,
               name == "ZStack"
                   ? std::initializer_list<std::string_view>{"alignment", "children"}
                   : std::initializer_list<std::string_view>{"alignment", "spacing", "children"});
      if (!j.contains("children")) fail(path, "missing \"children\"");
      children = &j["children"];
      childrenPath = key(path, "children");
      if (j.contains("alignment")) align = &j["alignment"];
      if (j.contains("spacing")) spacing = finite(j["spacing"], key(path, "spacing"));
    }
    if (!children->is_array()) wrongType(childrenPath, *children, "an array of views");
    // Set step by step: GCC 12 at -O3 takes the conditional-expression form for uninitialised.
    std::optional<Axis> axis;
    if (name == "HStack") axis.emplace(Axis::horizontal);
    if (name == "VStack") axis.emplace(Axis::vertical);
    std::vector<View> views;
    for (size_t i = 0; i < children->size(); ++i) {
      views.push_back(view((*children)[i], index(childrenPath, i), axis, depth + 1));
    }
    const std::string ap = key(path, "alignment");
    if (name == "HStack") {
      static const std::map<std::string, VerticalAlignment> names{
          {"top", VerticalAlignment::top},
          {"center", VerticalAlignment::center},
          {"bottom", VerticalAlignment::bottom}};
      return HStack(align ? oneOf(*align, ap, names) : VerticalAlignment::center, spacing,
                    std::move(views));
    }
    if (name == "VStack") {
      static const std::map<std::string, HorizontalAlignment> names{
          {"leading", HorizontalAlignment::leading},
          {"center", HorizontalAlignment::center},
          {"trailing", HorizontalAlignment::trailing}};
      return VStack(align ? oneOf(*align, ap, names) : HorizontalAlignment::center, spacing,
                    std::move(views));
    }
    return ZStack(align ? alignment(*align, ap) : Alignment::center(), std::move(views));
  }

  // Environment settings shared by the Text options and the modifiers; nullopt when `name` is
  // none of them.
  std::optional<View> environment(const View& v, const std::string& name, const json& j,
                                  const std::string& path) {
    if (name == "font") return v.font(font(j, path));
    if (name == "fontWeight") return v.fontWeight(fontWeight(j, path));
    if (name == "lineLimit") {
      if (j.is_null()) return v.lineLimit(std::nullopt);
      return v.lineLimit(lineCount(j, path));
    }
    if (name == "minimumScaleFactor") {
      const double f = number(j, path);
      if (!(f > 0 && f <= 1)) fail(path, "expected a factor above 0 up to 1");
      return v.minimumScaleFactor(f);
    }
    if (name == "multilineTextAlignment") return v.multilineTextAlignment(textAlignment(j, path));
    if (name == "truncationMode") return v.truncationMode(truncationMode(j, path));
    if (name == "foregroundColor") return v.foregroundColor(color(j, path));
    return std::nullopt;
  }

  // A view or a colour for background and overlay: "red", a view object, or
  // {"content": view, "alignment": ...}.
  View layered(const View& base, bool behind, const json& j, const std::string& path, int depth) {
    if (j.is_string()) {
      const Color c = color(j, path);
      return behind ? base.background(Paint{c}) : base.overlay(Rectangle().fill(c));
    }
    if (!j.is_object()) wrongType(path, j, "a colour or a view");
    if (!j.contains("content")) {
      const View layer = view(j, path, std::nullopt, depth + 1);
      return behind ? base.background(layer) : base.overlay(layer);
    }
    onlyKeys(j, path, {"content", "alignment"});
    const Alignment a =
        j.contains("alignment") ? alignment(j["alignment"], key(path, "alignment")) : Alignment{};
    const View layer = j["content"].is_string()
                           ? Rectangle().fill(color(j["content"], key(path, "content")))
                           : view(j["content"], key(path, "content"), std::nullopt, depth + 1);
    return behind ? base.background(layer, a) : base.overlay(layer, a);
  }

  View padding(const View& v, const json& j, const std::string& path) {
    constexpr double kDefault = 16;
    if (j.is_null()) return v.padding();
    if (j.is_number()) return v.padding(length(j, path));
    if (!j.is_object()) wrongType(path, j, "a length, {\"edges\", \"length\"} or per-edge lengths");
    if (j.contains("edges") || j.contains("length") || j.empty()) {
      onlyKeys(j, path, {"edges", "length"});
      const double len = j.contains("length") ? length(j["length"], key(path, "length")) : kDefault;
      Edge edges = Edge::all;
      if (j.contains("edges")) {
        static const std::map<std::string, Edge> names{{"top", Edge::top},
                                                       {"leading", Edge::leading},
                                                       {"bottom", Edge::bottom},
                                                       {"trailing", Edge::trailing},
                                                       {"horizontal", Edge::horizontal},
                                                       {"vertical", Edge::vertical},
                                                       {"all", Edge::all}};
        const json& e = j["edges"];
        const std::string ep = key(path, "edges");
        if (e.is_array()) {
          unsigned set = 0;
          for (size_t i = 0; i < e.size(); ++i) {
            set |= static_cast<unsigned>(oneOf(e[i], index(ep, i), names));
          }
          edges = static_cast<Edge>(set);
        } else {
          edges = oneOf(e, ep, names);
        }
      }
      return v.padding(edges, len);
    }
    onlyKeys(j, path, {"top", "leading", "bottom", "trailing"});
    EdgeInsets in;
    auto edge = [&](const char* k, double& out) {
      if (j.contains(k)) out = length(j[k], key(path, k));
    };
    edge("top", in.top);
    edge("leading", in.leading);
    edge("bottom", in.bottom);
    edge("trailing", in.trailing);
    return v.padding(in);
  }

  View frame(const View& v, const json& j, const std::string& path) {
    if (!j.is_object()) wrongType(path, j, "an object");
    onlyKeys(j, path,
             {"width", "height", "minWidth", "idealWidth", "maxWidth", "minHeight", "idealHeight",
              "maxHeight", "alignment"});
    const Alignment a =
        j.contains("alignment") ? alignment(j["alignment"], key(path, "alignment")) : Alignment{};
    const bool fixed = j.contains("width") || j.contains("height");
    const bool flexible = j.contains("minWidth") || j.contains("idealWidth") ||
                          j.contains("maxWidth") || j.contains("minHeight") ||
                          j.contains("idealHeight") || j.contains("maxHeight");
    if (fixed && flexible) {
      fail(path, "a frame is either fixed (width, height) or flexible (min, ideal, max), not both");
    }
    auto get = [&](const char* k, bool isMax) -> std::optional<double> {
      if (!j.contains(k)) return std::nullopt;
      return isMax ? maxLength(j[k], key(path, k)) : length(j[k], key(path, k));
    };
    if (!flexible) return v.frame(get("width", false), get("height", false), a);
    FrameBounds b;
    b.minWidth = get("minWidth", false);
    b.idealWidth = get("idealWidth", false);
    b.maxWidth = get("maxWidth", true);
    b.minHeight = get("minHeight", false);
    b.idealHeight = get("idealHeight", false);
    b.maxHeight = get("maxHeight", true);
    b.alignment = a;
    return v.frame(b);
  }

  Built shapeModifier(Built b, const std::string& name, const json& j, const std::string& path) {
    if (!b.shape) fail(path, name + " applies to a shape only, before any other modifier");
    if (name == "trim") {
      if (!j.is_object()) wrongType(path, j, "{\"from\", \"to\"}");
      onlyKeys(j, path, {"from", "to"});
      const double from = j.contains("from") ? finite(j["from"], key(path, "from")) : 0;
      const double to = j.contains("to") ? finite(j["to"], key(path, "to")) : 1;
      return fromShape(b.shape->trim(from, to));
    }
    if (name == "fill") return {b.shape->fill(Paint{color(j, path)}), std::nullopt};
    // stroke: a colour, or {"color", "lineWidth", "lineCap", "lineJoin", "dash"}.
    if (j.is_string()) return {b.shape->stroke(Paint{color(j, path)}), std::nullopt};
    if (!j.is_object()) wrongType(path, j, "a colour or {\"color\", \"lineWidth\", ...}");
    onlyKeys(j, path, {"color", "lineWidth", "lineCap", "lineJoin", "dash"});
    const Color c = j.contains("color") ? color(j["color"], key(path, "color")) : Color::primary();
    return {b.shape->stroke(Paint{c}, strokeStyle(j, path)), std::nullopt};
  }

  // A bare shape node ({"Circle": {}}): what a clip keeps of the view.
  Shape clipOutline(const json& j, const std::string& path, int depth) {
    if (!j.is_object() || j.size() != 1 || j.contains("modifiers")) {
      wrongType(path, j, "a shape without modifiers, such as {\"Circle\": {}}");
    }
    const std::string& name = j.begin().key();
    Built b = primitive(name, j.begin().value(), key(path, name), std::nullopt, depth + 1);
    if (!b.shape) {
      fail(key(path, name),
           "expected a shape (Circle, Ellipse, Rectangle, RoundedRectangle, Capsule or Path)");
    }
    return *b.shape;
  }

  Built modifier(Built b, const json& m, const std::string& path, int depth) {
    if (!m.is_object() || m.size() != 1) {
      wrongType(path, m, "a modifier object with one key, such as {\"padding\": 8}");
    }
    const std::string& name = m.begin().key();
    const json& j = m.begin().value();
    const std::string p = key(path, name);
    if (name == "trim" || name == "fill" || name == "stroke") {
      return shapeModifier(std::move(b), name, j, p);
    }
    const View& v = b.view;
    if (auto e = environment(v, name, j, p)) return {*e, std::nullopt};
    if (name == "padding") return {padding(v, j, p), std::nullopt};
    if (name == "frame") return {frame(v, j, p), std::nullopt};
    if (name == "background") return {layered(v, true, j, p, depth), std::nullopt};
    if (name == "overlay") return {layered(v, false, j, p, depth), std::nullopt};
    if (name == "opacity") return {v.opacity(finite(j, p)), std::nullopt};
    if (name == "rotationEffect") {
      if (j.is_number()) return {v.rotationEffect(Angle::degrees(finite(j, p)))};
      if (!j.is_object()) wrongType(p, j, "degrees or {\"degrees\", \"anchor\"}");
      onlyKeys(j, p, {"degrees", "anchor"});
      if (!j.contains("degrees")) fail(p, "missing \"degrees\"");
      const UnitPoint anchor =
          j.contains("anchor") ? unitPoint(j["anchor"], key(p, "anchor")) : UnitPoint::center();
      return {v.rotationEffect(Angle::degrees(finite(j["degrees"], key(p, "degrees"))), anchor)};
    }
    if (name == "scaleEffect") {
      if (j.is_number()) return {v.scaleEffect(finite(j, p))};
      if (!j.is_object()) wrongType(p, j, "a factor or {\"x\", \"y\", \"anchor\"}");
      onlyKeys(j, p, {"x", "y", "anchor"});
      const double x = j.contains("x") ? finite(j["x"], key(p, "x")) : 1;
      const double y = j.contains("y") ? finite(j["y"], key(p, "y")) : 1;
      const UnitPoint anchor =
          j.contains("anchor") ? unitPoint(j["anchor"], key(p, "anchor")) : UnitPoint::center();
      return {v.scaleEffect(x, y, anchor)};
    }
    if (name == "offset") {
      if (!j.is_object()) wrongType(p, j, "{\"x\", \"y\"}");
      onlyKeys(j, p, {"x", "y"});
      const double x = j.contains("x") ? finite(j["x"], key(p, "x")) : 0;
      const double y = j.contains("y") ? finite(j["y"], key(p, "y")) : 0;
      return {v.offset(x, y)};
    }
    if (name == "shadow") {
      if (!j.is_object()) wrongType(p, j, "{\"color\", \"radius\", \"x\", \"y\"}");
      onlyKeys(j, p, {"color", "radius", "x", "y"});
      if (!j.contains("radius")) fail(p, "missing \"radius\"");
      // The phone's default shadow colour: black at a third opacity.
      const Color c =
          j.contains("color") ? color(j["color"], key(p, "color")) : Color::black().opacity(0.33);
      const double x = j.contains("x") ? finite(j["x"], key(p, "x")) : 0;
      const double y = j.contains("y") ? finite(j["y"], key(p, "y")) : 0;
      return {v.shadow(c, length(j["radius"], key(p, "radius")), x, y)};
    }
    if (name == "fixedSize") {
      if (j.is_null() || (j.is_object() && j.empty())) return {v.fixedSize()};
      if (!j.is_object()) wrongType(p, j, "{} or {\"horizontal\", \"vertical\"}");
      onlyKeys(j, p, {"horizontal", "vertical"});
      const bool h = !j.contains("horizontal") || boolean(j["horizontal"], key(p, "horizontal"));
      const bool vv = !j.contains("vertical") || boolean(j["vertical"], key(p, "vertical"));
      return {v.fixedSize(h, vv)};
    }
    if (name == "clipShape") return {v.clipShape(clipOutline(j, p, depth))};
    if (name == "cornerRadius") return {v.cornerRadius(length(j, p))};
    if (name == "layoutPriority") return {v.layoutPriority(finite(j, p))};
    if (name == "widgetURL") return {v.widgetURL(string(j, p))};
    if (name == "widgetAccentable") return {v.widgetAccentable(boolean(j, p))};
    if (name == "layoutDirection") {
      static const std::map<std::string, LayoutDirection> names{
          {"leftToRight", LayoutDirection::leftToRight},
          {"rightToLeft", LayoutDirection::rightToLeft}};
      return {v.layoutDirection(oneOf(j, p, names))};
    }
    fail(
        p,
        "unknown modifier (expected padding, frame, background, overlay, fill, stroke, trim, "
        "foregroundColor, font, fontWeight, lineLimit, minimumScaleFactor, "
        "multilineTextAlignment, truncationMode, opacity, rotationEffect, scaleEffect, offset, "
        "shadow, clipShape, "
        "cornerRadius, fixedSize, layoutPriority, widgetURL, widgetAccentable or layoutDirection)");
  }
};

}  // namespace

Result<View> parseViewDescription(const nlohmann::json& description) {
  try {
    return Parser().view(description, "$", std::nullopt, 0);
  } catch (const DescriptionError& e) {
    return Error{e.message};
  }
}

Result<View> parseViewDescription(std::string_view text) {
  // The nesting limit is enforced while parsing: deeper documents are refused before they are
  // built, so neither the JSON tree nor the views can exhaust the stack.
  bool tooDeep = false;
  const json::parser_callback_t limit = [&tooDeep](int depth, json::parse_event_t, json&) -> bool {
    if (depth > kMaxViewDescriptionDepth) tooDeep = true;
    return !tooDeep;
  };
  json j;
  try {
    j = json::parse(text.begin(), text.end(), limit);
  } catch (const json::exception& e) {
    return Error{"$: not valid JSON: " + std::string(e.what())};
  }
  if (tooDeep)
    return Error{"$: nested too deeply (at most " + std::to_string(kMaxViewDescriptionDepth) +
                 " levels)"};
  return parseViewDescription(j);
}

}  // namespace km
