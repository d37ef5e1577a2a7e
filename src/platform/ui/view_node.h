#pragma once

// The node types behind View. Private to the ui library: only the view builders and layout
// include this header; everyone else builds views through view.h.

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/ui/view.h"

namespace km {

enum class StackAxis { horizontal, vertical, depth };

struct EmptyNode {};
struct TextNode {
  std::string text;
};
struct ShapeNode {
  ShapeOutline shape;
  std::optional<Paint> paint;  // unset: the foreground colour, at foregroundOpacity
  bool stroked = false;
  StrokeStyle style;
  double foregroundOpacity = 1;
};
struct ImageNode {
  std::string name;
  std::optional<ImageRenderingMode> mode;
  bool resizable = false;
  bool fit = false;
};
struct StackNode {
  StackAxis axis = StackAxis::vertical;
  Alignment alignment;
  std::optional<double> spacing;
  std::vector<View> children;
};
struct SpacerNode {
  std::optional<double> minLength;
};
struct GeometryNode {
  std::function<View(const GeometryProxy&)> content;
};
struct LinkNode {
  std::string url;
  View label;
};
struct PaddingNode {
  View child;
  EdgeInsets insets;
};
struct FrameNode {
  View child;
  FrameBounds bounds;
  bool fixed = false;  // fixed: width/height are in minWidth/minHeight
};
struct FixedSizeNode {
  View child;
  bool horizontal = true;
  bool vertical = true;
};
// Read by the enclosing stack; lays out exactly like its child.
struct LayoutPriorityNode {
  View child;
  double priority = 0;
};
struct OverlayNode {
  View base;
  View layer;
  Alignment alignment;
  bool behind = false;
};
// An environment change for everything inside.
struct EnvNode {
  View child;
  std::optional<Color> foreground;
  std::optional<Font> font;
  std::optional<FontWeight> weight;
  std::optional<std::optional<int>> lineLimit;
  std::optional<double> minimumScaleFactor;
  std::optional<bool> accentable;
  std::optional<TextAlignment> textAlignment;
  std::optional<TruncationMode> truncation;
  std::optional<LayoutDirection> layoutDirection;
};
enum class EffectKind { opacity, transform, shadow };
struct EffectNode {
  View child;
  EffectKind kind = EffectKind::opacity;
  double opacity = 1;
  // For transforms: the map in the child's own frame, where (0, 0) is its top-leading corner and
  // `anchor` the fixed point; built at layout time once the frame is known.
  double rotation = 0;
  double scaleX = 1;
  double scaleY = 1;
  double offsetX = 0;
  double offsetY = 0;
  UnitPoint anchor;
  Color shadowColor;
  double shadowRadius = 0;
};
struct ClipNode {
  View child;
  ShapeOutline shape;
};
struct WidgetURLNode {
  View child;
  std::string url;
};
struct ContainerBackgroundNode {
  View child;
  Paint paint;
};

struct ViewNode {
  std::variant<EmptyNode, TextNode, ShapeNode, ImageNode, StackNode, SpacerNode, GeometryNode,
               LinkNode, PaddingNode, FrameNode, FixedSizeNode, LayoutPriorityNode, OverlayNode,
               EnvNode, EffectNode, ClipNode, WidgetURLNode, ContainerBackgroundNode>
      content;
};

}  // namespace km
