#pragma once

// Font and the text enumerations: weight, alignment and truncation.

#include <string_view>

namespace km {

enum class FontWeight { regular, medium, semibold, bold };

// How the lines of a multi-line text align with each other (leading is the right edge in
// right-to-left paragraphs).
enum class TextAlignment { leading, center, trailing };

// Where a text that does not fit its lines loses characters for the ellipsis: at its start, in
// its middle or at its end (the default).
enum class TruncationMode { head, middle, tail };

std::string_view fontWeightName(FontWeight weight);

// A system font at a point size and weight. The text styles are the phone's sizes for its
// default content size category. A small value type.
struct Font {
  double size = 17;
  FontWeight weight = FontWeight::regular;

  static constexpr Font system(double size, FontWeight weight = FontWeight::regular) {
    return {size, weight};
  }
  static constexpr Font headline() { return {17, FontWeight::semibold}; }
  static constexpr Font body() { return {17, FontWeight::regular}; }
  static constexpr Font caption() { return {12, FontWeight::regular}; }
  friend bool operator==(const Font&, const Font&) = default;
};

}  // namespace km
