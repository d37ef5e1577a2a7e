// Stacks: the gap before each child from its neighbours' spacing preferences, how a stack
// shares its length among its children (layout priority, then least flexible first), its size,
// and where each child goes.

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "platform/ui/layout/layouter.h"

namespace km::layout_pass {
namespace {

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

}  // namespace

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

void Layouter::placeStack(const StackNode& n, const Rect& frame, ProposedSize p, const Env& env,
                          const PlaceContext& ctx) {
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
}

}  // namespace km::layout_pass
