// Parsing a view description: view nodes, stacks and modifiers into a View tree, and the entry
// points that turn the first bad value into an Error naming its path.

#include "kmwidget/view_description/view_description.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kmwidget/view_description/json_values.h"

namespace km {

using namespace view_description;

namespace {

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
