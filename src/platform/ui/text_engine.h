#pragma once

// Measuring and drawing texts: line breaking, fonts and shaping behind one thread-safe engine.

#include <optional>
#include <string>
#include <string_view>

#include "platform/ui/font.h"
#include "platform/ui/geometry.h"

namespace km {

class Canvas;

// How one text is broken into lines: the same spec always gives the same lines, whether
// measured for layout or drawn by the renderer.
struct TextSpec {
  std::string_view text;
  Font font;
  double wrapWidth = kInfinity;                      // infinity: no wrapping
  int maxLines = 0;                                  // 0: unlimited; otherwise cut with an ellipsis
  TruncationMode truncation = TruncationMode::tail;  // where the ellipsis goes
  TextAlignment alignment = TextAlignment::leading;
  LayoutDirection direction = LayoutDirection::leftToRight;  // where leading is
};

// The outcome of fitting a text into a proposal.
struct TextFit {
  Size size;
  Font font;  // after any shrink allowed by the minimum scale factor
  double wrapWidth = kInfinity;
  int maxLines = 0;
};

// Measures and draws text with Pango over a private font configuration that holds only the
// fonts we ship with the widgets (Inter for Latin, Greek and Cyrillic; Noto Sans Arabic; Noto
// Sans CJK), so output is the same on every machine and font set-up is quick. Glyph metrics are
// unhinted, so sizes in points do not depend on the drawing scale. One process-wide instance;
// all functions are thread-safe (serialised internally).
class TextEngine {
 public:
  static TextEngine& shared();

  // Lays `text` out the way the phone's Text does for `proposal`: no wrapping without a width,
  // wrapping at the proposed width otherwise, at most `lineLimit` lines (and no more than fit in
  // a proposed height), shrinking the font down to `minimumScaleFactor` before truncating.
  // Offered zero width, a text is zero wide and one line tall.
  TextFit fit(std::string_view text, Font font, std::optional<int> lineLimit,
              double minimumScaleFactor, ProposedSize proposal,
              TruncationMode truncation = TruncationMode::tail);

  // The extra space the primary (Latin) font puts between lines at `font`'s size (its line gap,
  // 0 for most screen fonts); what a text below another asks for between the two.
  double lineLeading(Font font);

  // The size of `spec` laid out as given.
  Size measure(const TextSpec& spec);

  // Draws `spec` with its top-leading corner at `origin` (the canvas's user space) in the
  // canvas's current colour.
  void draw(Canvas& canvas, const TextSpec& spec, Point origin);

  // Whether the font files were found (false means text draws in whatever fallback Pango has).
  bool fontsAvailable() const;

  // Forgets remembered measurements (for measuring cold layouts in benchmarks).
  void clearCache();

  TextEngine(const TextEngine&) = delete;
  TextEngine& operator=(const TextEngine&) = delete;

 private:
  TextEngine();
  ~TextEngine();
  struct Impl;
  Impl* impl_;
};

}  // namespace km
