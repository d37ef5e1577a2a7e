// Reading an SVG icon: the XML walk (through expat) over the elements the reader accepts, the
// presentation attributes inherited through groups, and the root's size and view box.

#include <expat.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "base/enum_names.h"
#include "platform/ui/svg/svg_attributes.h"
#include "platform/ui/svg/svg_scanner.h"
#include "platform/ui/svg/svg_shapes.h"
#include "platform/ui/svg_icon.h"

namespace km {
namespace {

using svg::Attributes;
using svg::PaintValue;
using svg::trim;
using svg::unsupported;

// The inherited painting properties in effect for an element.
struct Style {
  PaintValue fill{PaintValue::Kind::color, {0, 0, 0, 1}};
  PaintValue stroke;
  RGBA color{0, 0, 0, 1};  // what currentColor means; black, the colour icons are tinted from
  double fillOpacity = 1, strokeOpacity = 1;
  StrokeStyle strokeStyle{.miterLimit = 4};
  SvgFillRule fillRule = SvgFillRule::nonZero;
};

constexpr char kSvgNamespace[] = "http://www.w3.org/2000/svg";

constexpr auto kFillRules =
    enumNames<SvgFillRule>({{SvgFillRule::nonZero, "nonzero"}, {SvgFillRule::evenOdd, "evenodd"}});

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
      auto outline = svg::shapeOutline(local, geometry);
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
    if (key == "fill") return set(svg::parsePaint(v), s.fill);
    if (key == "stroke") return set(svg::parsePaint(v), s.stroke);
    if (key == "color") return set(svg::parseColorValue(v), s.color);
    if (key == "fill-opacity") return set(svg::parseOpacity(v), s.fillOpacity);
    if (key == "stroke-opacity") return set(svg::parseOpacity(v), s.strokeOpacity);
    if (key == "stroke-width")
      return set(nonNegative(svg::parseLength(v)), s.strokeStyle.lineWidth);
    if (key == "stroke-dashoffset") return set(svg::parseLength(v), s.strokeStyle.dashPhase);
    if (key == "stroke-miterlimit") {
      auto m = svg::numberList(v);
      return set(m && m->size() == 1 && (*m)[0] >= 1 ? std::optional((*m)[0]) : std::nullopt,
                 s.strokeStyle.miterLimit);
    }
    if (key == "stroke-linecap") return set(kLineCapNames.value(v), s.strokeStyle.lineCap);
    if (key == "stroke-linejoin") return set(kLineJoinNames.value(v), s.strokeStyle.lineJoin);
    if (key == "fill-rule") return set(kFillRules.value(v), s.fillRule);
    if (key == "stroke-dasharray") return set(svg::parseDashes(v), s.strokeStyle.dash);
    if (key == "opacity") {
      auto o = svg::parseOpacity(v);
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
      auto t = svg::parseTransform(v);
      if (!t) return Applied::badValue;
      f.transform = f.transform.after(*t);
      return Applied::yes;
    }
    return Applied::no;
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
        viewBox = svg::parseViewBox(value);
        if (!viewBox) return fail("viewBox=\"" + std::string(value) + "\"");
      } else if (key == "preserveAspectRatio") {
        auto ar = svg::parseAspectRatio(value);
        if (!ar) return fail("preserveAspectRatio=\"" + std::string(value) + "\"");
        icon_.aspectRatio = *ar;
      } else if (key == "x" || key == "y") {
        // The outermost svg element's position has no effect.
      } else {
        return fail("attribute " + std::string(key) + " on svg");
      }
    }
    const auto w = svg::parseRootLength(width), h = svg::parseRootLength(height);
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

  static void paintShape(SvgShape& shape, const Style& s) {
    auto resolve = [&](const PaintValue& p, double opacity) -> std::optional<RGBA> {
      if (p.kind == PaintValue::Kind::none) return std::nullopt;
      RGBA c = p.kind == PaintValue::Kind::current ? s.color : p.color;
      c.alpha *= opacity;
      return c;
    };
    shape.fill = resolve(s.fill, s.fillOpacity);
    shape.fillRule = s.fillRule;
    if (s.strokeStyle.lineWidth > 0) shape.stroke = resolve(s.stroke, s.strokeOpacity);
    shape.strokeStyle = s.strokeStyle;
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

}  // namespace km
