// Building view trees: the views and their modifiers.

#include "platform/ui/view.h"

#include <cmath>
#include <utility>

#include "base/fatal_error.h"
#include "platform/ui/view_node.h"

namespace km {
namespace {

// Invalid lengths (negative or not finite; infinity where only a maximum may be infinite) are
// ignored, as the phone ignores them after logging: a bad number from a widget's arithmetic
// must not poison the whole layout.
std::optional<double> validLength(std::optional<double> v, bool infinityAllowed = false) {
  if (!v || std::isnan(*v) || *v < 0) return std::nullopt;
  if (std::isinf(*v) && !infinityAllowed) return std::nullopt;
  return v;
}

double finiteOr(double v, double fallback) {
  return std::isfinite(v) ? v : fallback;
}

template <typename T>
View make(T node) {
  return View(std::make_shared<const ViewNode>(ViewNode{std::move(node)}));
}

}  // namespace

View::View() : node_(std::make_shared<const ViewNode>(ViewNode{EmptyNode{}})) {}

bool View::isEmpty() const {
  return std::holds_alternative<EmptyNode>(node_->content);
}

View View::padding(double length) const {
  return padding(Edge::all, length);
}

View View::padding(Edge edges, double length) const {
  EdgeInsets insets;
  if (contains(edges, Edge::top)) insets.top = length;
  if (contains(edges, Edge::leading)) insets.leading = length;
  if (contains(edges, Edge::bottom)) insets.bottom = length;
  if (contains(edges, Edge::trailing)) insets.trailing = length;
  return padding(insets);
}

View View::padding(EdgeInsets insets) const {
  for (double* v : {&insets.top, &insets.leading, &insets.bottom, &insets.trailing}) {
    *v = finiteOr(*v, 0);
  }
  return make(PaddingNode{*this, insets});
}

View View::frame(std::optional<double> width, std::optional<double> height,
                 Alignment alignment) const {
  FrameBounds b;
  b.minWidth = validLength(width);
  b.minHeight = validLength(height);
  b.alignment = alignment;
  return make(FrameNode{*this, b, true});
}

View View::frame(const FrameBounds& bounds) const {
  FrameBounds b = bounds;
  b.minWidth = validLength(b.minWidth);
  b.idealWidth = validLength(b.idealWidth);
  b.maxWidth = validLength(b.maxWidth, true);
  b.minHeight = validLength(b.minHeight);
  b.idealHeight = validLength(b.idealHeight);
  b.maxHeight = validLength(b.maxHeight, true);
  return make(FrameNode{*this, b, false});
}

View View::overlay(View content, Alignment alignment) const {
  return make(OverlayNode{*this, std::move(content), alignment, false});
}

View View::background(View content, Alignment alignment) const {
  return make(OverlayNode{*this, std::move(content), alignment, true});
}

View View::fixedSize(bool horizontal, bool vertical) const {
  return make(FixedSizeNode{*this, horizontal, vertical});
}

View View::background(const Paint& paint) const {
  return background(Rectangle().fill(paint));
}

View View::foregroundColor(Color color) const {
  EnvNode n{*this};
  n.foreground = std::move(color);
  return make(std::move(n));
}

View View::font(Font f) const {
  if (!(f.size > 0) || !std::isfinite(f.size)) return *this;  // an impossible size is ignored
  EnvNode n{*this};
  n.font = f;
  return make(std::move(n));
}

View View::font(double size, FontWeight weight) const {
  return font(Font::system(size, weight));
}

View View::fontWeight(FontWeight weight) const {
  EnvNode n{*this};
  n.weight = weight;
  return make(std::move(n));
}

View View::lineLimit(std::optional<int> lines) const {
  EnvNode n{*this};
  n.lineLimit = lines;
  return make(std::move(n));
}

View View::minimumScaleFactor(double factor) const {
  if (!std::isfinite(factor)) return *this;  // an impossible factor is ignored
  EnvNode n{*this};
  n.minimumScaleFactor = factor;
  return make(std::move(n));
}

View View::multilineTextAlignment(TextAlignment alignment) const {
  EnvNode n{*this};
  n.textAlignment = alignment;
  return make(std::move(n));
}

View View::truncationMode(TruncationMode mode) const {
  EnvNode n{*this};
  n.truncation = mode;
  return make(std::move(n));
}

View View::layoutDirection(LayoutDirection direction) const {
  EnvNode n{*this};
  n.layoutDirection = direction;
  return make(std::move(n));
}

View View::layoutPriority(double priority) const {
  // A priority that is not a number would break the stack's ordering; it counts as the default.
  return make(LayoutPriorityNode{*this, std::isnan(priority) ? 0.0 : priority});
}

View View::widgetAccentable(bool accentable) const {
  EnvNode n{*this};
  n.accentable = accentable;
  return make(std::move(n));
}

View View::opacity(double value) const {
  EffectNode n{*this, EffectKind::opacity};
  n.opacity = finiteOr(value, 1);
  return make(std::move(n));
}

View View::rotationEffect(Angle angle, UnitPoint anchor) const {
  EffectNode n{*this, EffectKind::transform};
  n.rotation = finiteOr(angle.radians, 0);
  n.anchor = anchor;
  return make(std::move(n));
}

View View::scaleEffect(double scale, UnitPoint anchor) const {
  return scaleEffect(scale, scale, anchor);
}

View View::scaleEffect(double x, double y, UnitPoint anchor) const {
  EffectNode n{*this, EffectKind::transform};
  n.scaleX = finiteOr(x, 1);
  n.scaleY = finiteOr(y, 1);
  n.anchor = anchor;
  return make(std::move(n));
}

View View::rotation3DEffect(Angle angle, double axisX, double axisY, double axisZ) const {
  const double len = std::sqrt(axisX * axisX + axisY * axisY + axisZ * axisZ);
  if (len == 0) return *this;
  // Seen flat from the front, a turn about the vertical axis shrinks x by cos(angle) (and so
  // mirrors at pi), one about the horizontal axis shrinks y, one about z is a plain rotation.
  // Mixed axes are rare in widgets; each component contributes its own projection.
  const double c = std::cos(angle.radians);
  const double ux = axisX / len, uy = axisY / len, uz = axisZ / len;
  const double sx = uy * uy * c + (1 - uy * uy);
  const double sy = ux * ux * c + (1 - ux * ux);
  View v = scaleEffect(sx, sy);
  if (uz != 0) v = v.rotationEffect(Angle{angle.radians * uz});
  return v;
}

View View::offset(double x, double y) const {
  EffectNode n{*this, EffectKind::transform};
  n.offsetX = finiteOr(x, 0);
  n.offsetY = finiteOr(y, 0);
  return make(std::move(n));
}

View View::shadow(Color color, double radius, double x, double y) const {
  EffectNode n{*this, EffectKind::shadow};
  n.shadowColor = std::move(color);
  n.shadowRadius = validLength(radius).value_or(0);
  n.offsetX = finiteOr(x, 0);
  n.offsetY = finiteOr(y, 0);
  return make(std::move(n));
}

View View::clipShape(const Shape& shape) const {
  return make(ClipNode{*this, shape.outline()});
}

View View::cornerRadius(double radius) const {
  return clipShape(RoundedRectangle(std::isfinite(radius) && radius > 0 ? radius : 0));
}

View View::widgetURL(std::string url) const {
  return make(WidgetURLNode{*this, std::move(url)});
}

View View::containerBackground(const Paint& paint) const {
  return make(ContainerBackgroundNode{*this, paint});
}

namespace {

ImageNode imageOf(const View& v, const char* modifier) {
  const auto* image = std::get_if<ImageNode>(&v.node()->content);
  if (!image) fatalError(std::string(modifier) + " applies to images only");
  return *image;
}

}  // namespace

View View::renderingMode(ImageRenderingMode mode) const {
  ImageNode n = imageOf(*this, "renderingMode");
  n.mode = mode;
  return make(std::move(n));
}

View View::resizable() const {
  ImageNode n = imageOf(*this, "resizable");
  n.resizable = true;
  return make(std::move(n));
}

View View::scaledToFit() const {
  ImageNode n = imageOf(*this, "scaledToFit");
  n.fit = true;
  return make(std::move(n));
}

Shape Shape::circle() {
  return custom("circle", [](const Rect& r) {
    Path p;
    p.addCircle(r.center(), std::min(r.width, r.height) / 2);
    return p;
  });
}

Shape Shape::ellipse() {
  return custom("ellipse", [](const Rect& r) {
    Path p;
    p.addEllipse(r);
    return p;
  });
}

Shape Shape::rectangle() {
  return custom("rectangle", [](const Rect& r) {
    Path p;
    p.addRect(r);
    return p;
  });
}

Shape Shape::roundedRectangle(double cornerRadius, RoundedCornerStyle style) {
  return custom("roundedRectangle", [cornerRadius, style](const Rect& r) {
    Path p;
    p.addRoundedRect(r, cornerRadius, style);
    return p;
  });
}

Shape Shape::capsule(RoundedCornerStyle style) {
  return custom("capsule", [style](const Rect& r) {
    Path p;
    p.addRoundedRect(r, std::min(r.width, r.height) / 2, style);
    return p;
  });
}

Shape Shape::path(Path path) {
  return custom("path", [path = std::move(path)](const Rect& r) {
    return path.transformed(AffineTransform::translation(r.x, r.y));
  });
}

Shape::Shape(ShapeOutline outline)
    : View(std::make_shared<const ViewNode>(ViewNode{ShapeNode{outline, std::nullopt, false, {}}})),
      outline_(std::move(outline)) {}

Shape Shape::custom(std::string kind, PathFunction makePath) {
  return Shape(ShapeOutline{std::move(kind), std::move(makePath)});
}

Shape Shape::trim(double from, double to) const {
  ShapeOutline o = outline_;
  // A trim of a trimmed shape trims the remaining part again, as on the phone.
  const double span = o.trimTo - o.trimFrom;
  o.trimFrom = outline_.trimFrom + span * std::clamp(from, 0.0, 1.0);
  o.trimTo = outline_.trimFrom + span * std::clamp(to, 0.0, 1.0);
  return Shape(std::move(o));
}

View Shape::fill(const Paint& paint) const {
  return make(ShapeNode{outline_, paint, false, {}});
}

View Shape::stroke(const Paint& paint, const StrokeStyle& style) const {
  return make(ShapeNode{outline_, paint, true, style});
}

View Shape::stroke(const Paint& paint, double lineWidth) const {
  StrokeStyle style;
  style.lineWidth = lineWidth;
  return stroke(paint, style);
}

Path ShapeOutline::pathIn(const Rect& rect) const {
  Path p = makePath ? makePath(rect) : Path{};
  if (trimFrom == 0 && trimTo == 1) return p;
  return p.trimmed(trimFrom, trimTo);
}

View Text(std::string text) {
  return make(TextNode{std::move(text)});
}
View Image(std::string assetName) {
  return make(ImageNode{std::move(assetName)});
}
View EmptyView() {
  return View();
}
View Spacer(std::optional<double> minLength) {
  return make(SpacerNode{validLength(minLength)});
}

View HStack(VerticalAlignment alignment, std::optional<double> spacing,
            std::vector<View> children) {
  return make(StackNode{StackAxis::horizontal, Alignment{HorizontalAlignment::center, alignment},
                        validLength(spacing), std::move(children)});
}
View HStack(std::vector<View> children) {
  return HStack(VerticalAlignment::center, std::nullopt, std::move(children));
}
View VStack(HorizontalAlignment alignment, std::optional<double> spacing,
            std::vector<View> children) {
  return make(StackNode{StackAxis::vertical, Alignment{alignment, VerticalAlignment::center},
                        validLength(spacing), std::move(children)});
}
View VStack(std::vector<View> children) {
  return VStack(HorizontalAlignment::center, std::nullopt, std::move(children));
}
View ZStack(Alignment alignment, std::vector<View> children) {
  return make(StackNode{StackAxis::depth, alignment, std::nullopt, std::move(children)});
}
View ZStack(std::vector<View> children) {
  return ZStack(Alignment{}, std::move(children));
}

View GeometryReader(std::function<View(const GeometryProxy&)> content) {
  return make(GeometryNode{std::move(content)});
}

View Link(std::string url, View label) {
  return make(LinkNode{std::move(url), std::move(label)});
}

}  // namespace km
