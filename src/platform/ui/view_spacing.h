#pragma once

// A view's spacing preferences: how far it wants to be from the next view of a stack that
// leaves its spacing open. Private to the ui library (the layout engine's vocabulary); views
// never set it directly.

#include <array>
#include <cstdint>
#include <optional>

namespace km {

// Edges relative to the layout direction: a horizontal stack goes from leading to trailing
// whichever side that is, so preferences need no mirroring.
enum class SpacingEdge : uint8_t { top, leading, bottom, trailing };

// A set of SpacingEdge values, as bits.
using SpacingEdges = uint8_t;
constexpr SpacingEdges edgeBit(SpacingEdge e) {
  return static_cast<SpacingEdges>(1u << static_cast<unsigned>(e));
}
inline constexpr SpacingEdges kAllSpacingEdges = 0xF;

// The vertical metrics of a text's font that decide how close the next text may come.
struct TextLineMetrics {
  double lineHeight = 0;  // ascent + descent + leading, which orders competing texts
  double leading = 0;     // the font's line gap
};

// Preferences per edge and per kind of neighbour. A value is either a distance in points or,
// against another text, the text's line metrics (the gap between two texts comes from the lower
// one's font). Kinds of neighbour:
//  - textToText: this edge faces a text and is a text's edge itself;
//  - edgeAboveText / edgeBelowText / edgeBeforeText / edgeAfterText: an edge that is not a
//    text's lying above, below, before (leading of) or after a text, and the text's matching
//    edge.
// Between two views the largest distance among the kinds both have on the facing edges wins;
// without a common kind the caller's default applies (the platform's 8 points).
class ViewSpacing {
 public:
  // A plain view (shape, image, colour): nothing but zero-distance markers that let a text
  // next to it ask for its own distance.
  ViewSpacing();
  // No preferences at all: where a container starts merging its children's.
  static ViewSpacing empty();
  // A text in a font with these metrics; `edgeDistance` is what it wants from a view that is
  // not a text on any side.
  static ViewSpacing text(TextLineMetrics metrics, double edgeDistance);

  // Takes the larger preference of `other` for each kind on `edges`.
  void formUnion(const ViewSpacing& other, SpacingEdges edges);
  // Forgets what lies on `edges` and puts back the plain view's markers there: what padding
  // does to the edges it pads (the content no longer touches them).
  void reset(SpacingEdges edges);

  // The distance from this view to `next`, which follows it along a vertical (top to bottom)
  // or horizontal (leading to trailing) stack; nullopt when they share no kind of preference.
  std::optional<double> distanceTo(const ViewSpacing& next, bool vertical) const;

 private:
  enum class Kind : uint8_t {
    textToText,
    edgeAboveText,
    edgeBelowText,
    edgeBeforeText,
    edgeAfterText,
    count
  };
  struct Value {
    enum class Type : uint8_t { none, distance, textTop, textBottom };
    Type type = Type::none;
    double amount = 0;  // the distance, or the text's leading
    double lineHeight = 0;
  };
  static constexpr int kKinds = static_cast<int>(Kind::count);

  Value& at(Kind kind, SpacingEdge edge) {
    return values_[static_cast<int>(edge) * kKinds + static_cast<int>(kind)];
  }
  const Value& at(Kind kind, SpacingEdge edge) const {
    return values_[static_cast<int>(edge) * kKinds + static_cast<int>(kind)];
  }
  static bool less(const Value& a, const Value& b);
  static std::optional<double> combine(const Value& a, const Value& b);
  void putMarkers(SpacingEdges edges);

  std::array<Value, 4 * kKinds> values_{};
};

}  // namespace km
