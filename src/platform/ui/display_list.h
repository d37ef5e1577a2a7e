#pragma once

// DisplayList: the flat result of layout, everything to draw back to front.

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/ui/color.h"
#include "platform/ui/font.h"
#include "platform/ui/geometry.h"
#include "platform/ui/paint.h"
#include "platform/ui/path.h"

namespace km {

// The flat result of layout: everything to draw, back to front, in points in the widget's
// coordinates. It knows nothing of views or widgets; the renderer and the JSON dump consume it.
// A value type; colours stay unresolved (named colours resolve at render time).

struct DisplayText {
  std::string text;
  Font font;             // the size actually drawn, after any minimum-scale-factor shrink
  double wrapWidth = 0;  // lines break at this width (points)
  int maxLines = 0;      // 0: no limit; otherwise the last line ends in an ellipsis if cut
  TruncationMode truncation = TruncationMode::tail;  // where that ellipsis goes
  TextAlignment alignment = TextAlignment::leading;
  // Where leading is for `alignment`; the glyphs' own order follows the text's script.
  LayoutDirection direction = LayoutDirection::leftToRight;
  Color color;
};

struct DisplayShape {
  std::string kind;  // "circle", "roundedRectangle", "path", ...
  Path path;         // already trimmed, in widget coordinates (before `transform`)
  std::optional<Paint> fill;
  std::optional<Paint> stroke;
  StrokeStyle strokeStyle;
  double trimFrom = 0;
  double trimTo = 1;
};

struct DisplayImage {
  std::string name;
  std::optional<Color> tint;  // set for template rendering: the image's alpha in this colour
};

struct DisplayLink {
  std::string url;
};

struct Shadow {
  Color color;
  double radius = 0;
  double x = 0;
  double y = 0;
};

struct DisplayItem {
  Rect frame;  // the layout frame, before `transform`
  // Rotation, scale and offset effects: maps the frame's points to where they are drawn.
  AffineTransform transform;
  double opacity = 1;
  // Shadows from the outermost modifier in: each is drawn under the ones after it, all under
  // the item (a shadow of a shadowed view also shadows the inner shadow on the phone; here each
  // shadows the item's own shape, which looks the same for the soft shadows widgets use).
  std::vector<Shadow> shadows;
  bool accentable = false;
  // Outlines the item is drawn inside (all of them), in widget coordinates with any transform
  // already applied; from clipping modifiers around the item.
  std::vector<Path> clips;
  std::variant<DisplayText, DisplayShape, DisplayImage, DisplayLink> content;
};

struct DisplayList {
  Size size;
  std::optional<std::string> widgetURL;
  std::optional<Paint> containerBackground;
  // What the system itself draws behind the widget, under everything else (the widget host sets
  // it for the families and platform versions that have one).
  std::optional<Paint> backdrop;
  std::vector<DisplayItem> items;
};

// What a tap at `point` (widget coordinates, points) opens: the topmost link whose drawn region
// holds the point, otherwise the widget's URL; nothing when neither applies.
std::optional<std::string> urlAt(const DisplayList& list, Point point);

}  // namespace km
