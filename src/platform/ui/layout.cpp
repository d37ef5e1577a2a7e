#include "platform/ui/layout.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <memory_resource>
#include <numbers>
#include <unordered_map>

#include "platform/ui/asset_catalog.h"
#include "platform/ui/text_engine.h"
#include "platform/ui/view_node.h"
#include "platform/ui/view_spacing.h"

namespace km {
namespace {

constexpr double kDefaultSpacing = 8;
constexpr double kShapeIdealSize = 10;  // what shapes and readers choose when asked for ideal
constexpr Size kMissingImageSize{16, 16};

struct Env {
  Font font = Font::body();
  Color foreground = Color::primary();
  std::optional<int> lineLimit;
  double minimumScaleFactor = 1;
  bool accentable = false;
  TextAlignment textAlignment = TextAlignment::leading;
  TruncationMode truncation = TruncationMode::tail;
  LayoutDirection direction = LayoutDirection::leftToRight;
  std::optional<StackAxis> stackAxis;  // the enclosing stack, for spacers
};

struct PlaceContext {
  AffineTransform transform;
  double opacity = 1;
  std::vector<Shadow> shadows;
  std::vector<Path> clips;
};

struct MemoKey {
  const ViewNode* node;
  double pw, ph;
  double fontSize;
  int weight;  // and the truncation mode, which can change a cut text's width
  int lineLimit;
  double minScale;
  int axis;
  bool operator==(const MemoKey&) const = default;
};

// Keys are hashed by their bits with a multiply-and-rotate mix: std::hash<double> goes through
// a byte-wise hash, which made hashing a visible share of a widget's layout.
struct MemoHash {
  size_t operator()(const MemoKey& k) const {
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
};

// nullopt is kept apart from every number in memo keys.
double keyOf(std::optional<double> v) {
  return v ? *v : -1e300;
}

// Sizes never depend on the direction (a mirrored layout is as large), so the memo ignores it;
// only placement reads it, through these helpers.
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

bool isSpacer(const View& v) {
  return std::holds_alternative<SpacerNode>(v.node()->content);
}

// The layout priority a stack reads from its child: the outermost one set on it, looking
// through the modifiers that wrap a single view.
double priorityOf(const View& v) {
  const ViewNode* node = v.node().get();
  while (true) {
    if (const auto* p = std::get_if<LayoutPriorityNode>(&node->content)) return p->priority;
    const View* inner = std::visit(
        [](const auto& n) -> const View* {
          using T = std::decay_t<decltype(n)>;
          if constexpr (std::is_same_v<T, OverlayNode>) {
            return &n.base;
          } else if constexpr (requires { n.child; }) {
            return &n.child;
          } else {
            return nullptr;
          }
        },
        node->content);
    if (!inner) return 0;
    node = inner->node().get();
  }
}

struct ChildLayout {
  ProposedSize proposal;
  Size size;
};

// A stack's children as sized for one proposal, with the gap before each (0 before the first
// and for empty children).
struct StackLayout {
  std::vector<ChildLayout> kids;
  std::vector<double> gaps;
};

class Layouter {
 public:
  explicit Layouter(const LayoutOptions& options) : options_(options) {
    // A widget asks a few hundred sizes; growing the tables as it goes cost more than this.
    memo_.reserve(512);
    pinned_.reserve(512);
  }

  Size size(const View& v, ProposedSize p, const Env& env) {
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

  void place(const View& v, const Rect& frame, ProposedSize p, const Env& env,
             const PlaceContext& ctx);

  DisplayList list;

 private:
  Size computeSize(const View& v, ProposedSize p, const Env& env);
  StackLayout stackChildren(const StackNode& s, ProposedSize p, const Env& env);
  std::vector<double> stackGaps(const StackNode& s, const Env& inner);
  Size stackSize(const StackNode& s, const StackLayout& layout) const;
  ViewSpacing spacing(const View& v, const Env& env);
  TextLineMetrics textMetrics(Font font);
  Size imageSize(const ImageNode& n, ProposedSize p) const;
  ProposedSize frameChildProposal(const FrameNode& f, ProposedSize p) const;
  Size frameSize(const FrameNode& f, ProposedSize p, Size child) const;
  TextFit fitText(const TextNode& t, ProposedSize p, const Env& env) const {
    return TextEngine::shared().fit(t.text, env.font, env.lineLimit, env.minimumScaleFactor, p,
                                    env.truncation);
  }
  Env childEnv(const Env& env, std::optional<StackAxis> axis) const {
    Env e = env;
    e.stackAxis = axis;
    return e;
  }
  void emit(const Rect& frame, const Env& env, const PlaceContext& ctx,
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

  LayoutOptions options_;
  // The memo's entries (a few hundred per widget) come from one arena freed with the pass
  // instead of one allocation each.
  std::pmr::monotonic_buffer_resource arena_{48 * 1024};
  std::pmr::unordered_map<MemoKey, Size, MemoHash> memo_{&arena_};
  std::vector<std::shared_ptr<const ViewNode>> pinned_;
  // Line metrics by font (a widget uses a handful).
  std::vector<std::pair<Font, TextLineMetrics>> metrics_;
};

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

// A view's spacing preferences. Modifiers that only move, decorate or constrain a view keep its
// content's preferences (a text in a frame still wants its text neighbours close); padding
// resets the edges it pads, since the content no longer reaches them.
ViewSpacing Layouter::spacing(const View& v, const Env& env) {
  return std::visit(
      [&](const auto& n) -> ViewSpacing {
        using T = std::decay_t<decltype(n)>;
        if constexpr (std::is_same_v<T, TextNode>) {
          return ViewSpacing::text(textMetrics(env.font), kDefaultSpacing);
        } else if constexpr (std::is_same_v<T, StackNode>) {
          // The first child's leading edge along the axis, the last one's trailing edge, and
          // every child's edges across it.
          ViewSpacing out = ViewSpacing::empty();
          const Env inner = childEnv(env, n.axis);
          const bool vertical = n.axis == StackAxis::vertical;
          const SpacingEdges across =
              n.axis == StackAxis::depth ? kAllSpacingEdges
              : vertical ? edgeBit(SpacingEdge::leading) | edgeBit(SpacingEdge::trailing)
                         : edgeBit(SpacingEdge::top) | edgeBit(SpacingEdge::bottom);
          const SpacingEdges start =
              vertical ? edgeBit(SpacingEdge::top) : edgeBit(SpacingEdge::leading);
          const SpacingEdges end =
              vertical ? edgeBit(SpacingEdge::bottom) : edgeBit(SpacingEdge::trailing);
          size_t first = n.children.size(), last = 0;
          for (size_t i = 0; i < n.children.size(); ++i) {
            if (n.children[i].isEmpty()) continue;
            first = std::min(first, i);
            last = i;
          }
          for (size_t i = first; i < n.children.size(); ++i) {
            if (n.children[i].isEmpty()) continue;
            SpacingEdges edges = across;
            if (i == first) edges |= start;
            if (i == last) edges |= end;
            out.formUnion(spacing(n.children[i], inner), edges);
          }
          return out;
        } else if constexpr (std::is_same_v<T, PaddingNode>) {
          ViewSpacing out = spacing(n.child, childEnv(env, std::nullopt));
          SpacingEdges padded = 0;
          if (n.insets.top != 0) padded |= edgeBit(SpacingEdge::top);
          if (n.insets.leading != 0) padded |= edgeBit(SpacingEdge::leading);
          if (n.insets.bottom != 0) padded |= edgeBit(SpacingEdge::bottom);
          if (n.insets.trailing != 0) padded |= edgeBit(SpacingEdge::trailing);
          out.reset(padded);
          return out;
        } else if constexpr (std::is_same_v<T, OverlayNode>) {
          return spacing(n.base, env);
        } else if constexpr (std::is_same_v<T, LinkNode>) {
          return spacing(n.label, env);
        } else if constexpr (std::is_same_v<T, EnvNode>) {
          if (!n.font && !n.weight) return spacing(n.child, env);
          Env e = env;
          if (n.font) e.font = *n.font;
          if (n.weight) e.font.weight = *n.weight;
          return spacing(n.child, e);
        } else if constexpr (std::is_same_v<T, FrameNode>) {
          return spacing(n.child, childEnv(env, std::nullopt));
        } else if constexpr (requires { n.child; }) {
          return spacing(n.child, env);  // effects, clips, fixed size, priority, widget settings
        } else {
          return ViewSpacing();  // shapes, images, spacers, readers
        }
      },
      v.node()->content);
}

std::vector<double> Layouter::stackGaps(const StackNode& s, const Env& inner) {
  std::vector<double> gaps(s.children.size(), 0);
  const View* previous = nullptr;
  std::optional<ViewSpacing> previousSpacing;
  for (size_t i = 0; i < s.children.size(); ++i) {
    const View& child = s.children[i];
    if (child.isEmpty()) continue;
    if (s.spacing) {
      if (previous) gaps[i] = *s.spacing;
    } else if (isSpacer(child)) {
      // Spacers bring their own space; nothing is added on either side of them.
      previousSpacing.reset();
    } else {
      ViewSpacing mine = spacing(child, inner);
      if (previousSpacing) {
        gaps[i] = previousSpacing->distanceTo(mine, s.axis == StackAxis::vertical)
                      .value_or(kDefaultSpacing);
      }
      previousSpacing = std::move(mine);
    }
    previous = &child;
  }
  return gaps;
}

StackLayout Layouter::stackChildren(const StackNode& s, ProposedSize p, const Env& env) {
  StackLayout layout;
  std::vector<ChildLayout>& out = layout.kids;
  out.resize(s.children.size());
  const Env inner = childEnv(env, s.axis);
  if (s.axis == StackAxis::depth) {
    for (size_t i = 0; i < s.children.size(); ++i) {
      out[i] = {p, size(s.children[i], p, inner)};
    }
    return layout;
  }
  layout.gaps = stackGaps(s, inner);
  const bool horizontal = s.axis == StackAxis::horizontal;
  const std::optional<double> along = horizontal ? p.width : p.height;
  const std::optional<double> across = horizontal ? p.height : p.width;
  auto proposal = [&](std::optional<double> a) {
    return horizontal ? ProposedSize{a, across} : ProposedSize{across, a};
  };
  auto length = [&](Size sz) { return horizontal ? sz.width : sz.height; };

  std::vector<size_t> order;
  for (size_t i = 0; i < s.children.size(); ++i) {
    if (!s.children[i].isEmpty()) order.push_back(i);
  }
  if (!along) {
    for (size_t i : order) {
      out[i] = {proposal(std::nullopt), size(s.children[i], proposal(std::nullopt), inner)};
    }
    return layout;
  }
  // Higher layout priorities first; within a priority least flexible first, each child offered
  // an equal share of what the earlier ones left.
  std::vector<double> flexibility(s.children.size(), 0);
  std::vector<double> priority(s.children.size(), 0);
  for (size_t i : order) {
    const double most = length(size(s.children[i], proposal(kInfinity), inner));
    const double least = length(size(s.children[i], proposal(0.0), inner));
    flexibility[i] = most - least;
    priority[i] = priorityOf(s.children[i]);
  }
  // Spacers go last within their priority and only take what the others leave: a text next to
  // a spacer keeps its whole width when it fits, as on the phone.
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    if (priority[a] != priority[b]) return priority[a] > priority[b];
    const bool sa = isSpacer(s.children[a]), sb = isSpacer(s.children[b]);
    if (sa != sb) return !sa;
    return flexibility[a] < flexibility[b];
  });
  double remaining = *along;
  for (double gap : layout.gaps)
    remaining -= gap;
  auto minimum = [&](size_t i) { return length(size(s.children[i], proposal(0.0), inner)); };
  // Each priority group is sized in turn. While a group chooses, the minimum lengths of every
  // lower-priority child are kept back, and so are the group's own spacers' until its other
  // children have chosen.
  double lowerMinimum = 0;
  for (size_t i : order)
    lowerMinimum += minimum(i);
  for (size_t begin = 0; begin < order.size();) {
    size_t end = begin;
    while (end < order.size() && priority[order[end]] == priority[order[begin]])
      ++end;
    size_t others = 0, spacers = 0;
    double reserved = 0;
    for (size_t k = begin; k < end; ++k) {
      const size_t i = order[k];
      lowerMinimum -= minimum(i);
      if (isSpacer(s.children[i])) {
        ++spacers;
        reserved += minimum(i);
      } else {
        ++others;
      }
    }
    double available = remaining;
    if (std::isfinite(available)) available -= lowerMinimum + reserved;
    bool released = false;
    for (size_t k = begin; k < end; ++k) {
      const size_t i = order[k];
      const bool spacer = isSpacer(s.children[i]);
      if (spacer && !released) {
        if (std::isfinite(available)) available += reserved;
        released = true;
      }
      size_t& left = spacer ? spacers : others;
      const double share = std::isfinite(available)
                               ? std::max(0.0, available / static_cast<double>(left))
                               : available;
      const ProposedSize offer = proposal(share);
      const Size chosen = size(s.children[i], offer, inner);
      out[i] = {offer, chosen};
      if (std::isfinite(available)) available -= length(chosen);
      if (std::isfinite(remaining)) remaining -= length(chosen);
      --left;
    }
    begin = end;
  }
  return layout;
}

Size Layouter::stackSize(const StackNode& s, const StackLayout& layout) const {
  Size total;
  for (size_t i = 0; i < s.children.size(); ++i) {
    const View& child = s.children[i];
    if (child.isEmpty()) continue;
    const Size c = layout.kids[i].size;
    switch (s.axis) {
      case StackAxis::depth:
        total.width = std::max(total.width, c.width);
        total.height = std::max(total.height, c.height);
        break;
      case StackAxis::horizontal:
      case StackAxis::vertical: {
        const double gap = layout.gaps[i];
        if (s.axis == StackAxis::horizontal) {
          total.width += gap + c.width;
          total.height = std::max(total.height, c.height);
        } else {
          total.height += gap + c.height;
          total.width = std::max(total.width, c.width);
        }
        break;
      }
    }
  }
  return total;
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
          const StackLayout stack = stackChildren(n, p, env);
          const auto& kids = stack.kids;
          const Env inner = childEnv(env, n.axis);
          double cursor = 0;
          for (size_t i = 0; i < n.children.size(); ++i) {
            const View& child = n.children[i];
            if (child.isEmpty()) continue;
            const Size c = kids[i].size;
            Rect r;
            if (n.axis == StackAxis::depth) {
              r = aligned(frame, c, n.alignment, env);
            } else {
              cursor += stack.gaps[i];
              if (n.axis == StackAxis::horizontal) {
                // Right to left, the first child sits at the right edge.
                r = {rightToLeft(env) ? frame.x + frame.width - cursor - c.width : frame.x + cursor,
                     frame.y + alignOffset(n.alignment.vertical, frame.height - c.height), c.width,
                     c.height};
                cursor += c.width;
              } else {
                r = {frame.x + alignOffset(n.alignment.horizontal, frame.width - c.width, env),
                     frame.y + cursor, c.width, c.height};
                cursor += c.height;
              }
            }
            place(child, r, kids[i].proposal, inner, ctx);
          }
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

}  // namespace

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
