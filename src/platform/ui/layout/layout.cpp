// The layout pass: the size memo, what each kind of view chooses for a proposal, where it puts
// its content, and the items it draws; stacks have their own file.

#include "platform/ui/layout.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "platform/ui/asset_catalog.h"
#include "platform/ui/layout/layouter.h"

namespace km {
namespace layout_pass {
namespace {

constexpr double kShapeIdealSize = 10;  // what shapes and readers choose when asked for ideal
constexpr Size kMissingImageSize{16, 16};

// nullopt is kept apart from every number in memo keys.
double keyOf(std::optional<double> v) {
  return v ? *v : -1e300;
}

// A linear gradient runs from leading to trailing points, so right to left it runs the other
// way across the frame. Angular gradients keep their sweep: rings turn clockwise either way.
Paint mirrored(const Paint& paint) {
  if (const auto* linear = std::get_if<LinearGradient>(&paint)) {
    LinearGradient flipped = *linear;
    flipped.startPoint.x = 1 - flipped.startPoint.x;
    flipped.endPoint.x = 1 - flipped.endPoint.x;
    return flipped;
  }
  return paint;
}

std::optional<double> shrink(std::optional<double> v, double by) {
  if (!v) return v;
  return std::max(0.0, *v - by);
}

ProposedSize fixedProposal(const FixedSizeNode& n, ProposedSize p) {
  return {n.horizontal ? std::nullopt : p.width, n.vertical ? std::nullopt : p.height};
}

}  // namespace

bool MemoKey::operator==(const MemoKey& o) const {
  auto same = [](double a, double b) {
    return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b);
  };
  return node == o.node && same(pw, o.pw) && same(ph, o.ph) && same(fontSize, o.fontSize) &&
         weight == o.weight && lineLimit == o.lineLimit && same(minScale, o.minScale) &&
         axis == o.axis;
}

// Keys are hashed by their bits with a multiply-and-rotate mix: std::hash<double> goes through
// a byte-wise hash, which made hashing a visible share of a widget's layout.
size_t MemoHash::operator()(const MemoKey& k) const {
  uint64_t h = reinterpret_cast<uintptr_t>(k.node);
  auto mix = [&h](uint64_t v) { h = std::rotl((h ^ v) * 0x9E3779B97F4A7C15ull, 29); };
  mix(std::bit_cast<uint64_t>(k.pw));
  mix(std::bit_cast<uint64_t>(k.ph));
  mix(std::bit_cast<uint64_t>(k.fontSize));
  mix(std::bit_cast<uint64_t>(k.minScale));
  mix(static_cast<uint64_t>(static_cast<uint32_t>(k.weight)) << 40 ^
      static_cast<uint64_t>(static_cast<uint32_t>(k.lineLimit)) << 8 ^
      static_cast<uint64_t>(static_cast<uint32_t>(k.axis + 1)));
  return static_cast<size_t>(h ^ (h >> 32));
}

bool rightToLeft(const Env& env) {
  return env.direction == LayoutDirection::rightToLeft;
}

double alignOffset(HorizontalAlignment a, double space, const Env& env) {
  switch (a) {
    case HorizontalAlignment::leading:
      return rightToLeft(env) ? space : 0;
    case HorizontalAlignment::center:
      return space / 2;
    case HorizontalAlignment::trailing:
      return rightToLeft(env) ? 0 : space;
  }
  return 0;
}

double alignOffset(VerticalAlignment a, double space) {
  switch (a) {
    case VerticalAlignment::top:
      return 0;
    case VerticalAlignment::center:
      return space / 2;
    case VerticalAlignment::bottom:
      return space;
  }
  return 0;
}

Rect aligned(const Rect& container, Size child, Alignment a, const Env& env) {
  return {container.x + alignOffset(a.horizontal, container.width - child.width, env),
          container.y + alignOffset(a.vertical, container.height - child.height), child.width,
          child.height};
}

Layouter::Layouter(const LayoutOptions& options) : options_(options) {
  // A widget asks a few hundred sizes; growing the tables as it goes cost more than this.
  memo_.reserve(512);
  pinned_.reserve(512);
}

Size Layouter::size(const View& v, ProposedSize p, const Env& env) {
  const MemoKey key{v.node().get(),
                    keyOf(p.width),
                    keyOf(p.height),
                    env.font.size,
                    static_cast<int>(env.font.weight) | static_cast<int>(env.truncation) << 8,
                    env.lineLimit.value_or(-1),
                    env.minimumScaleFactor,
                    env.stackAxis ? static_cast<int>(*env.stackAxis) : -1};
  if (auto it = memo_.find(key); it != memo_.end()) return it->second;
  const Size s = computeSize(v, p, env);
  memo_.emplace(key, s);
  // The memo is keyed by node address. Views made during layout (a geometry reader's content,
  // such as a progress view's body) die when their builder returns, and a new node could then
  // reuse the address and hit a stale size; holding every memoised node for the pass prevents
  // that.
  pinned_.push_back(v.node());
  return s;
}

TextFit Layouter::fitText(const TextNode& t, ProposedSize p, const Env& env) const {
  return TextEngine::shared().fit(t.text, env.font, env.lineLimit, env.minimumScaleFactor, p,
                                  env.truncation);
}

Env Layouter::childEnv(const Env& env, std::optional<StackAxis> axis) const {
  Env e = env;
  e.stackAxis = axis;
  return e;
}

void Layouter::emit(const Rect& frame, const Env& env, const PlaceContext& ctx,
                    decltype(DisplayItem::content) content) {
  DisplayItem item;
  item.frame = frame;
  item.transform = ctx.transform;
  item.opacity = ctx.opacity;
  item.shadows = ctx.shadows;
  item.clips = ctx.clips;
  item.accentable = env.accentable;
  item.content = std::move(content);
  list.items.push_back(std::move(item));
}

Size Layouter::imageSize(const ImageNode& n, ProposedSize p) const {
  std::optional<Size> own = options_.assets ? options_.assets->imageSize(n.name) : std::nullopt;
  const Size intrinsic = own.value_or(kMissingImageSize);
  if (!n.resizable) return intrinsic;
  if (n.fit && intrinsic.width > 0 && intrinsic.height > 0) {
    double scale = kInfinity;
    if (p.width) scale = std::min(scale, *p.width / intrinsic.width);
    if (p.height) scale = std::min(scale, *p.height / intrinsic.height);
    if (!std::isfinite(scale)) scale = 1;
    return {intrinsic.width * scale, intrinsic.height * scale};
  }
  return {p.width.value_or(intrinsic.width), p.height.value_or(intrinsic.height)};
}

TextLineMetrics Layouter::textMetrics(Font font) {
  for (const auto& [f, m] : metrics_) {
    if (f == font) return m;
  }
  TextEngine& engine = TextEngine::shared();
  const double leading = engine.lineLeading(font);
  const TextLineMetrics m{engine.measure({"X", font}).height + leading, leading};
  metrics_.emplace_back(font, m);
  return m;
}

ProposedSize Layouter::frameChildProposal(const FrameNode& f, ProposedSize p) const {
  const FrameBounds& b = f.bounds;
  if (f.fixed) {
    return {b.minWidth ? b.minWidth : p.width, b.minHeight ? b.minHeight : p.height};
  }
  auto axis = [](std::optional<double> offer, std::optional<double> lo, std::optional<double> ideal,
                 std::optional<double> hi) -> std::optional<double> {
    if (!offer) return ideal;
    double v = *offer;
    if (hi) v = std::min(v, *hi);
    if (lo) v = std::max(v, *lo);
    return v;
  };
  return {axis(p.width, b.minWidth, b.idealWidth, b.maxWidth),
          axis(p.height, b.minHeight, b.idealHeight, b.maxHeight)};
}

Size Layouter::frameSize(const FrameNode& f, ProposedSize p, Size child) const {
  const FrameBounds& b = f.bounds;
  if (f.fixed) {
    return {b.minWidth.value_or(child.width), b.minHeight.value_or(child.height)};
  }
  // Unset bounds are replaced by the child's size; the offer (or the ideal size when there is
  // none) is clamped between them, the minimum winning over the maximum.
  auto axis = [](std::optional<double> offer, std::optional<double> lo, std::optional<double> ideal,
                 std::optional<double> hi, double c) {
    if (!lo && !hi) return ideal && !offer ? *ideal : c;
    double v = offer ? *offer : ideal.value_or(c);
    v = std::min(v, hi.value_or(c));
    v = std::max(v, lo.value_or(c));
    return v;
  };
  return {axis(p.width, b.minWidth, b.idealWidth, b.maxWidth, child.width),
          axis(p.height, b.minHeight, b.idealHeight, b.maxHeight, child.height)};
}

Size Layouter::computeSize(const View& v, ProposedSize p, const Env& env) {
  return std::visit(
      [&](const auto& n) -> Size {
        using T = std::decay_t<decltype(n)>;
        if constexpr (std::is_same_v<T, EmptyNode>) {
          return {};
        } else if constexpr (std::is_same_v<T, TextNode>) {
          return fitText(n, p, env).size;
        } else if constexpr (std::is_same_v<T, ShapeNode> || std::is_same_v<T, GeometryNode>) {
          return {p.width.value_or(kShapeIdealSize), p.height.value_or(kShapeIdealSize)};
        } else if constexpr (std::is_same_v<T, ImageNode>) {
          return imageSize(n, p);
        } else if constexpr (std::is_same_v<T, StackNode>) {
          return stackSize(n, stackChildren(n, p, env));
        } else if constexpr (std::is_same_v<T, SpacerNode>) {
          const double minLength = n.minLength.value_or(kDefaultSpacing);
          auto grow = [&](std::optional<double> offer) {
            return offer ? std::max(minLength, *offer) : minLength;
          };
          if (env.stackAxis == StackAxis::horizontal) return {grow(p.width), 0};
          if (env.stackAxis == StackAxis::vertical) return {0, grow(p.height)};
          return {grow(p.width), grow(p.height)};
        } else if constexpr (std::is_same_v<T, LinkNode>) {
          return size(n.label, p, env);
        } else if constexpr (std::is_same_v<T, PaddingNode>) {
          const EdgeInsets& in = n.insets;
          const ProposedSize inner{shrink(p.width, in.leading + in.trailing),
                                   shrink(p.height, in.top + in.bottom)};
          const Size c = size(n.child, inner, childEnv(env, std::nullopt));
          return {c.width + in.leading + in.trailing, c.height + in.top + in.bottom};
        } else if constexpr (std::is_same_v<T, FrameNode>) {
          const Size c = size(n.child, frameChildProposal(n, p), childEnv(env, std::nullopt));
          return frameSize(n, p, c);
        } else if constexpr (std::is_same_v<T, FixedSizeNode>) {
          return size(n.child, fixedProposal(n, p), env);
        } else if constexpr (std::is_same_v<T, OverlayNode>) {
          return size(n.base, p, env);
        } else if constexpr (std::is_same_v<T, EnvNode>) {
          Env e = env;
          if (n.font) e.font = *n.font;
          if (n.weight) e.font.weight = *n.weight;
          if (n.lineLimit) e.lineLimit = *n.lineLimit;
          if (n.minimumScaleFactor) e.minimumScaleFactor = *n.minimumScaleFactor;
          if (n.truncation) e.truncation = *n.truncation;
          return size(n.child, p, e);
        } else {
          return size(n.child, p, env);  // effects, widgetURL, container background
        }
      },
      v.node()->content);
}

void Layouter::place(const View& v, const Rect& frame, ProposedSize p, const Env& env,
                     const PlaceContext& ctx) {
  std::visit(
      [&](const auto& n) {
        using T = std::decay_t<decltype(n)>;
        if constexpr (std::is_same_v<T, EmptyNode> || std::is_same_v<T, SpacerNode>) {
          // Nothing to draw.
        } else if constexpr (std::is_same_v<T, TextNode>) {
          const TextFit fit = fitText(n, p, env);
          emit(frame, env, ctx,
               DisplayText{n.text, fit.font, fit.wrapWidth, fit.maxLines, env.truncation,
                           env.textAlignment, env.direction, env.foreground});
        } else if constexpr (std::is_same_v<T, ShapeNode>) {
          DisplayShape shape;
          shape.kind = n.shape.kind;
          shape.path = n.shape.pathIn(frame);
          const Paint paint = n.paint ? *n.paint
                              : n.foregroundOpacity == 1
                                  ? Paint{env.foreground}
                                  : Paint{env.foreground.opacity(n.foregroundOpacity)};
          (n.stroked ? shape.stroke : shape.fill) = rightToLeft(env) ? mirrored(paint) : paint;
          shape.strokeStyle = n.style;
          shape.trimFrom = n.shape.trimFrom;
          shape.trimTo = n.shape.trimTo;
          emit(frame, env, ctx, std::move(shape));
        } else if constexpr (std::is_same_v<T, ImageNode>) {
          bool isTemplate = false;
          if (n.mode) {
            isTemplate = *n.mode == ImageRenderingMode::template_;
          } else if (options_.assets) {
            isTemplate = options_.assets->isTemplateImage(n.name);
          }
          emit(frame, env, ctx,
               DisplayImage{n.name,
                            isTemplate ? std::optional<Color>(env.foreground) : std::nullopt});
        } else if constexpr (std::is_same_v<T, StackNode>) {
          placeStack(n, frame, p, env, ctx);
        } else if constexpr (std::is_same_v<T, GeometryNode>) {
          const View content = n.content ? n.content(GeometryProxy{frame.size()}) : View();
          const ProposedSize offer{frame.width, frame.height};
          const Env inner = childEnv(env, std::nullopt);
          const Size c = size(content, offer, inner);
          // At the top-leading corner.
          place(content, aligned(frame, c, Alignment::topLeading(), env), offer, inner, ctx);
        } else if constexpr (std::is_same_v<T, LinkNode>) {
          place(n.label, frame, p, env, ctx);
          emit(frame, env, ctx, DisplayLink{n.url});
        } else if constexpr (std::is_same_v<T, PaddingNode>) {
          const EdgeInsets& in = n.insets;
          const ProposedSize inner{shrink(p.width, in.leading + in.trailing),
                                   shrink(p.height, in.top + in.bottom)};
          const Env e = childEnv(env, std::nullopt);
          const Size c = size(n.child, inner, e);
          const double left = rightToLeft(env) ? in.trailing : in.leading;
          place(n.child, {frame.x + left, frame.y + in.top, c.width, c.height}, inner, e, ctx);
        } else if constexpr (std::is_same_v<T, FrameNode>) {
          const ProposedSize offer = frameChildProposal(n, p);
          const Env e = childEnv(env, std::nullopt);
          const Size c = size(n.child, offer, e);
          place(n.child, aligned(frame, c, n.bounds.alignment, env), offer, e, ctx);
        } else if constexpr (std::is_same_v<T, FixedSizeNode>) {
          place(n.child, frame, fixedProposal(n, p), env, ctx);
        } else if constexpr (std::is_same_v<T, LayoutPriorityNode>) {
          place(n.child, frame, p, env, ctx);
        } else if constexpr (std::is_same_v<T, OverlayNode>) {
          const ProposedSize offer{frame.width, frame.height};
          const Env e = childEnv(env, std::nullopt);
          const Size layer = size(n.layer, offer, e);
          const Rect layerFrame = aligned(frame, layer, n.alignment, env);
          if (n.behind) place(n.layer, layerFrame, offer, e, ctx);
          place(n.base, frame, p, env, ctx);
          if (!n.behind) place(n.layer, layerFrame, offer, e, ctx);
        } else if constexpr (std::is_same_v<T, EnvNode>) {
          Env e = env;
          if (n.foreground) e.foreground = *n.foreground;
          if (n.font) e.font = *n.font;
          if (n.weight) e.font.weight = *n.weight;
          if (n.lineLimit) e.lineLimit = *n.lineLimit;
          if (n.minimumScaleFactor) e.minimumScaleFactor = *n.minimumScaleFactor;
          if (n.accentable) e.accentable = *n.accentable;
          if (n.textAlignment) e.textAlignment = *n.textAlignment;
          if (n.truncation) e.truncation = *n.truncation;
          if (n.layoutDirection) e.direction = *n.layoutDirection;
          place(n.child, frame, p, e, ctx);
        } else if constexpr (std::is_same_v<T, EffectNode>) {
          PlaceContext inner = ctx;
          switch (n.kind) {
            case EffectKind::opacity:
              inner.opacity *= std::clamp(n.opacity, 0.0, 1.0);
              break;
            case EffectKind::transform: {
              const Point a = n.anchor.in(frame);
              const AffineTransform local =
                  AffineTransform::translation(a.x + n.offsetX, a.y + n.offsetY)
                      .after(AffineTransform::rotation(Angle{n.rotation}))
                      .after(AffineTransform::scale(n.scaleX, n.scaleY))
                      .after(AffineTransform::translation(-a.x, -a.y));
              inner.transform = ctx.transform.after(local);
              break;
            }
            case EffectKind::shadow:
              inner.shadows.push_back(Shadow{n.shadowColor, n.shadowRadius, n.offsetX, n.offsetY});
              break;
          }
          place(n.child, frame, p, env, inner);
        } else if constexpr (std::is_same_v<T, ClipNode>) {
          // The clip is fixed where the modifier is: effects outside it move it, effects inside
          // move only the content.
          PlaceContext inner = ctx;
          inner.clips.push_back(n.shape.pathIn(frame).transformed(ctx.transform));
          place(n.child, frame, p, env, inner);
        } else if constexpr (std::is_same_v<T, WidgetURLNode>) {
          if (!list.widgetURL) list.widgetURL = n.url;
          place(n.child, frame, p, env, ctx);
        } else if constexpr (std::is_same_v<T, ContainerBackgroundNode>) {
          if (!list.containerBackground) {
            list.containerBackground = rightToLeft(env) ? mirrored(n.paint) : n.paint;
          }
          place(n.child, frame, p, env, ctx);
        }
      },
      v.node()->content);
}

}  // namespace layout_pass

using layout_pass::aligned;
using layout_pass::Env;
using layout_pass::Layouter;
using layout_pass::PlaceContext;

Size sizeThatFits(const View& view, ProposedSize proposal, const LayoutOptions& options) {
  Layouter layouter(options);
  return layouter.size(view, proposal, Env{});
}

DisplayList layout(const View& view, Size size, const LayoutOptions& options) {
  Layouter layouter(options);
  const ProposedSize offer{size.width, size.height};
  Env env;
  env.direction = options.layoutDirection;
  const Size chosen = layouter.size(view, offer, env);
  layouter.place(view, aligned(Rect{0, 0, size.width, size.height}, chosen, Alignment{}, env),
                 offer, env, PlaceContext{});
  layouter.list.size = size;
  return std::move(layouter.list);
}

}  // namespace km