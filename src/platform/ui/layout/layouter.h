#pragma once

// The working state of one layout pass, shared by the files that implement it: the environment
// handed down the tree, what placement carries to each drawn item, the size memo, and the
// Layouter that sizes views (first step) and places them into a display list (second step).

#include <cstddef>
#include <memory>
#include <memory_resource>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/ui/layout.h"
#include "platform/ui/text_engine.h"
#include "platform/ui/view_node.h"
#include "platform/ui/view_spacing.h"

namespace km::layout_pass {

// Between neighbours that state no preference, and a spacer's least length.
inline constexpr double kDefaultSpacing = 8;

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
  // Numbers compare by their bits, as they hash: a key holding a NaN must find its own entry
  // again, or every layout below it is redone at each visit and the entries pile up in one
  // bucket.
  bool operator==(const MemoKey& o) const;
};

struct MemoHash {
  size_t operator()(const MemoKey& k) const;
};

// Sizes never depend on the direction (a mirrored layout is as large), so the memo ignores it;
// only placement reads it, through these helpers.
bool rightToLeft(const Env& env);
double alignOffset(HorizontalAlignment a, double space, const Env& env);
double alignOffset(VerticalAlignment a, double space);
Rect aligned(const Rect& container, Size child, Alignment a, const Env& env);

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
  explicit Layouter(const LayoutOptions& options);

  // The size `v` chooses for `p`, remembered for the rest of the pass.
  Size size(const View& v, ProposedSize p, const Env& env);
  // Lays `v` out in `frame` (the size it chose for `p`) and appends what it draws to `list`.
  void place(const View& v, const Rect& frame, ProposedSize p, const Env& env,
             const PlaceContext& ctx);

  DisplayList list;

 private:
  Size computeSize(const View& v, ProposedSize p, const Env& env);
  // A stack's children sized for the proposal `p`, with the gaps between them.
  StackLayout stackChildren(const StackNode& s, ProposedSize p, const Env& env);
  // The gap before each child: the stack's own spacing, or what neighbours' spacing preferences
  // ask for, none next to a spacer.
  std::vector<double> stackGaps(const StackNode& s, const Env& inner);
  Size stackSize(const StackNode& s, const StackLayout& layout) const;
  void placeStack(const StackNode& s, const Rect& frame, ProposedSize p, const Env& env,
                  const PlaceContext& ctx);
  ViewSpacing spacing(const View& v, const Env& env);
  TextLineMetrics textMetrics(Font font);
  Size imageSize(const ImageNode& n, ProposedSize p) const;
  ProposedSize frameChildProposal(const FrameNode& f, ProposedSize p) const;
  Size frameSize(const FrameNode& f, ProposedSize p, Size child) const;
  TextFit fitText(const TextNode& t, ProposedSize p, const Env& env) const;
  // The environment of a child: `axis` is its enclosing stack's, if any.
  Env childEnv(const Env& env, std::optional<StackAxis> axis) const;
  void emit(const Rect& frame, const Env& env, const PlaceContext& ctx,
            decltype(DisplayItem::content) content);

  LayoutOptions options_;
  // The memo's entries (a few hundred per widget) come from one arena freed with the pass
  // instead of one allocation each.
  std::pmr::monotonic_buffer_resource arena_{48 * 1024};
  std::pmr::unordered_map<MemoKey, Size, MemoHash> memo_{&arena_};
  std::vector<std::shared_ptr<const ViewNode>> pinned_;
  // Line metrics by font (a widget uses a handful).
  std::vector<std::pair<Font, TextLineMetrics>> metrics_;
};

}  // namespace km::layout_pass
