#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ui/color.h"
#include "platform/ui/font.h"
#include "platform/ui/geometry.h"
#include "platform/ui/paint.h"
#include "platform/ui/path.h"

namespace km {

struct ViewNode;  // private to the ui library
class View;
class Shape;

// What a geometry reader tells its content: the size it was given.
struct GeometryProxy {
  Size size;
};

// `template_` is the platform's "template" (a keyword in C++): the image's alpha is painted in the
// foreground colour.
enum class ImageRenderingMode { original, template_ };

// Bounds of a flexible frame; unset fields leave that side to the child.
struct FrameBounds {
  std::optional<double> minWidth;
  std::optional<double> idealWidth;
  std::optional<double> maxWidth;
  std::optional<double> minHeight;
  std::optional<double> idealHeight;
  std::optional<double> maxHeight;
  Alignment alignment{};
};

// A description of what to draw: a small immutable value over a closed set of primitives and
// modifiers. Copies share the (immutable) tree, so views are cheap to copy and safe to share
// between threads. Builders below make primitives; member functions wrap a view in a modifier
// and return the new view, in the order they are written (padding then background differs from
// background then padding, as on the phone).
class View {
 public:
  // An empty view: no size, nothing drawn, ignored by stacks.
  View();

  // Space around the view: 16 points on every edge by default.
  View padding(double length = 16) const;
  View padding(Edge edges, double length = 16) const;
  View padding(EdgeInsets insets) const;
  // A fixed frame: a set dimension replaces the child's; an unset one is the child's own.
  View frame(std::optional<double> width, std::optional<double> height,
             Alignment alignment = {}) const;
  // A flexible frame (minimum, ideal and maximum per axis; kInfinity to fill the proposal).
  View frame(const FrameBounds& bounds) const;
  // `content` drawn over (overlay) or behind (background) this view, proposed this view's size
  // and aligned within it; the result has this view's size.
  View overlay(View content, Alignment alignment = {}) const;
  View background(View content, Alignment alignment = {}) const;
  View background(const Paint& paint) const;
  // Offers the view its ideal size on the chosen axes, whatever the parent proposes (a text keeps
  // its one natural line instead of wrapping or truncating).
  View fixedSize(bool horizontal = true, bool vertical = true) const;
  // The order in which a stack sizes its children: higher priorities are offered space first,
  // after the minimum sizes of all lower-priority siblings are set aside (default 0).
  View layoutPriority(double priority) const;

  // Environment: inherited by everything inside.
  View foregroundColor(Color color) const;
  View font(Font font) const;
  View font(double size, FontWeight weight = FontWeight::regular) const;
  View fontWeight(FontWeight weight) const;
  View lineLimit(std::optional<int> lines) const;
  View minimumScaleFactor(double factor) const;
  View multilineTextAlignment(TextAlignment alignment) const;
  // Where a text cut to its line limit (or its one line) shows the ellipsis; tail by default.
  View truncationMode(TruncationMode mode) const;
  // The direction this view and everything inside it lay out in (the environment's value
  // otherwise: the layout's root direction).
  View layoutDirection(LayoutDirection direction) const;
  // Marks the content to take the accent colour in the accented rendering mode.
  View widgetAccentable(bool accentable = true) const;

  // Drawing effects: they change how the content is drawn, never its layout.
  View opacity(double value) const;
  View rotationEffect(Angle angle, UnitPoint anchor = UnitPoint::center()) const;
  View scaleEffect(double scale, UnitPoint anchor = UnitPoint::center()) const;
  View scaleEffect(double x, double y, UnitPoint anchor = UnitPoint::center()) const;
  // A rotation about an axis through the centre, projected flat: about the vertical axis
  // (0, 1, 0) by pi this is a horizontal mirror; about the horizontal axis a vertical one.
  View rotation3DEffect(Angle angle, double axisX, double axisY, double axisZ) const;
  View offset(double x, double y) const;
  // Draws only the part of the content inside `shape` fitted to this view's frame; layout is
  // unchanged. cornerRadius clips to a rounded rectangle of that radius.
  View clipShape(const Shape& shape) const;
  View cornerRadius(double radius) const;
  // A blurred copy of the content in `color`, `radius` points of blur, moved by (x, y).
  View shadow(Color color, double radius, double x = 0, double y = 0) const;

  // Widget-level settings, collected into the display list wherever they appear.
  View widgetURL(std::string url) const;
  View containerBackground(const Paint& paint) const;

  // Image-only modifiers (applying them to anything else is a programming error).
  View renderingMode(ImageRenderingMode mode) const;
  // Lets the image stretch to its proposal instead of keeping the asset's own size.
  View resizable() const;
  // With resizable: keeps the asset's aspect ratio, fitting inside the proposal.
  View scaledToFit() const;

  bool isEmpty() const;
  const std::shared_ptr<const ViewNode>& node() const { return node_; }
  explicit View(std::shared_ptr<const ViewNode> node) : node_(std::move(node)) {}

 private:
  std::shared_ptr<const ViewNode> node_;
};

// The outline of a shape: a path made to fit a frame, and the trimmed part of it.
struct ShapeOutline {
  std::string kind;
  std::function<Path(const Rect&)> makePath;
  double trimFrom = 0;
  double trimTo = 1;

  // The outline in `rect`, trimmed.
  Path pathIn(const Rect& rect) const;
};

// A shape: an outline that fits itself into the frame it is given. As a view it is filled with
// the foreground colour; trim keeps it a shape, fill and stroke (and any modifier) make a view.
class Shape : public View {
 public:
  using PathFunction = std::function<Path(const Rect&)>;
  explicit Shape(ShapeOutline outline);

  static Shape circle();  // inscribed, centred, starting at three o'clock
  static Shape ellipse();
  static Shape rectangle();
  static Shape roundedRectangle(double cornerRadius,
                                RoundedCornerStyle style = RoundedCornerStyle::circular);
  static Shape capsule(RoundedCornerStyle style = RoundedCornerStyle::circular);
  // A fixed path in the coordinates of the frame it is drawn in.
  static Shape path(Path path);
  // A path computed from the frame, for shapes of one's own.
  static Shape custom(std::string kind, PathFunction makePath);

  Shape trim(double from, double to) const;
  View fill(const Paint& paint) const;
  View stroke(const Paint& paint, const StrokeStyle& style) const;
  View stroke(const Paint& paint, double lineWidth = 1) const;

  Path pathIn(const Rect& rect) const { return outline_.pathIn(rect); }
  const ShapeOutline& outline() const { return outline_; }

 private:
  ShapeOutline outline_;
};

// Builders named like the phone's views.
View Text(std::string text);
View Image(std::string assetName);
View EmptyView();
// Flexible space along its stack's axis (both axes outside a stack); at least `minLength`
// (8 points when unset).
View Spacer(std::optional<double> minLength = std::nullopt);
// Stacks. With spacing unset, each pair of neighbours gets the distance their spacing
// preferences call for: none between a text and the text below it (beyond the lower text's line
// gap), 8 points for any other pair, none next to a spacer.
View HStack(VerticalAlignment alignment, std::optional<double> spacing, std::vector<View> children);
View HStack(std::vector<View> children);
View VStack(HorizontalAlignment alignment, std::optional<double> spacing,
            std::vector<View> children);
View VStack(std::vector<View> children);
View ZStack(Alignment alignment, std::vector<View> children);
View ZStack(std::vector<View> children);
// Takes all of its proposal and lays out `content(size)` at its top-leading corner.
View GeometryReader(std::function<View(const GeometryProxy&)> content);
// A tappable region over `label` opening `url`.
View Link(std::string url, View label);
// The platform's circular progress view: a track and an arc growing clockwise from twelve
// o'clock by value/total (clamped to [0, 1]; not-a-number counts as 0), with the current-value
// label in the middle. `label` (the phone's accessibility label) is not drawn, as in the circular
// style.
View ProgressView(double value, double total, View label, View currentValueLabel);
// The translucent backdrop of lock-screen widgets: a circle in a square frame, otherwise a
// rounded rectangle.
View AccessoryWidgetBackground();

inline Shape Circle() {
  return Shape::circle();
}
inline Shape Ellipse() {
  return Shape::ellipse();
}
inline Shape Rectangle() {
  return Shape::rectangle();
}
inline Shape RoundedRectangle(double cornerRadius,
                              RoundedCornerStyle style = RoundedCornerStyle::circular) {
  return Shape::roundedRectangle(cornerRadius, style);
}
inline Shape Capsule(RoundedCornerStyle style = RoundedCornerStyle::circular) {
  return Shape::capsule(style);
}

}  // namespace km
