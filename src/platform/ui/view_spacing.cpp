// Combining views' spacing preferences into the gaps of a stack.

#include "platform/ui/view_spacing.h"

#include <algorithm>
#include <cmath>

namespace km {
namespace {

// The phone draws at three pixels per point; a gap between texts is rounded up to whole pixels
// so that the lower text starts on a pixel row.
constexpr double kPixelLength = 1.0 / 3.0;

double roundUpToPixel(double v) {
  // The small allowance keeps a value that is already a whole pixel from rising by one.
  return std::ceil(v / kPixelLength - 1e-9) * kPixelLength;
}

}  // namespace

ViewSpacing::ViewSpacing() {
  putMarkers(kAllSpacingEdges);
}

ViewSpacing ViewSpacing::empty() {
  ViewSpacing s;
  s.values_ = {};
  return s;
}

ViewSpacing ViewSpacing::text(TextLineMetrics metrics, double edgeDistance) {
  ViewSpacing s = empty();
  const Value edge{Value::Type::distance, edgeDistance, 0};
  s.at(Kind::textToText, SpacingEdge::top) = {Value::Type::textTop, metrics.leading,
                                              metrics.lineHeight};
  s.at(Kind::textToText, SpacingEdge::bottom) = {Value::Type::textBottom, metrics.leading,
                                                 metrics.lineHeight};
  // Each edge answers the marker a plain view puts on the edge that faces it.
  s.at(Kind::edgeAboveText, SpacingEdge::top) = edge;
  s.at(Kind::edgeBelowText, SpacingEdge::bottom) = edge;
  s.at(Kind::edgeBeforeText, SpacingEdge::leading) = edge;
  s.at(Kind::edgeAfterText, SpacingEdge::trailing) = edge;
  return s;
}

void ViewSpacing::putMarkers(SpacingEdges edges) {
  // A plain view's top edge lies below whatever text is above it, and so on round the edges.
  const Value zero{Value::Type::distance, 0, 0};
  if (edges & edgeBit(SpacingEdge::top)) at(Kind::edgeBelowText, SpacingEdge::top) = zero;
  if (edges & edgeBit(SpacingEdge::bottom)) at(Kind::edgeAboveText, SpacingEdge::bottom) = zero;
  if (edges & edgeBit(SpacingEdge::leading)) at(Kind::edgeAfterText, SpacingEdge::leading) = zero;
  if (edges & edgeBit(SpacingEdge::trailing)) {
    at(Kind::edgeBeforeText, SpacingEdge::trailing) = zero;
  }
}

bool ViewSpacing::less(const Value& a, const Value& b) {
  if (a.type != b.type) return a.type < b.type;  // any distance is less than any text
  return a.type == Value::Type::distance ? a.amount < b.amount : a.lineHeight < b.lineHeight;
}

std::optional<double> ViewSpacing::combine(const Value& a, const Value& b) {
  using T = Value::Type;
  if (a.type == T::distance && b.type == T::distance) return a.amount + b.amount;
  if (a.type == T::distance) return a.amount;
  if (b.type == T::distance) return b.amount;
  // Two texts: the lower one's line gap, whichever side asks.
  if (a.type == T::textBottom && b.type == T::textTop) return roundUpToPixel(b.amount);
  if (a.type == T::textTop && b.type == T::textBottom) return roundUpToPixel(a.amount);
  return std::nullopt;
}

void ViewSpacing::formUnion(const ViewSpacing& other, SpacingEdges edges) {
  for (int e = 0; e < 4; ++e) {
    if (!(edges & (1u << e))) continue;
    for (int k = 0; k < kKinds; ++k) {
      const Value& theirs = other.values_[e * kKinds + k];
      Value& mine = values_[e * kKinds + k];
      if (theirs.type == Value::Type::none) continue;
      if (mine.type == Value::Type::none || less(mine, theirs)) mine = theirs;
    }
  }
}

void ViewSpacing::reset(SpacingEdges edges) {
  for (int e = 0; e < 4; ++e) {
    if (!(edges & (1u << e))) continue;
    for (int k = 0; k < kKinds; ++k)
      values_[e * kKinds + k] = {};
  }
  putMarkers(edges);
}

std::optional<double> ViewSpacing::distanceTo(const ViewSpacing& next, bool vertical) const {
  const SpacingEdge from = vertical ? SpacingEdge::bottom : SpacingEdge::trailing;
  const SpacingEdge to = vertical ? SpacingEdge::top : SpacingEdge::leading;
  std::optional<double> best;
  for (int k = 0; k < kKinds; ++k) {
    const Value& a = at(static_cast<Kind>(k), from);
    const Value& b = next.at(static_cast<Kind>(k), to);
    if (a.type == Value::Type::none || b.type == Value::Type::none) continue;
    if (const auto d = combine(a, b)) best = best ? std::max(*best, *d) : *d;
  }
  return best;
}

}  // namespace km
