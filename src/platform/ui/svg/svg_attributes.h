#pragma once

// The values of SVG's presentation and root attributes: paints and colours, lengths, opacities,
// dash lists, the view box, preserveAspectRatio and transform lists. Each parser returns
// nullopt for a value it does not accept; the caller names the attribute in its error.

#include <optional>
#include <string_view>
#include <vector>

#include "platform/ui/svg_icon.h"

namespace km::svg {

// A paint as written: none, a colour, or currentColor (resolved against the element's colour).
struct PaintValue {
  enum class Kind { none, color, current };
  Kind kind = Kind::none;
  RGBA color;
};

// #rgb, #rrggbb, rgb(r, g, b) with numbers or percentages, or a basic colour keyword.
std::optional<RGBA> parseColorValue(std::string_view text);
std::optional<PaintValue> parsePaint(std::string_view text);
// A length in user units: a number, optionally in px.
std::optional<double> parseLength(std::string_view text);
// The root's width or height. nullopt: absent or a percentage (the view box then decides);
// NaN: a value or unit the reader does not know.
std::optional<double> parseRootLength(std::optional<std::string_view> text);
// A number or a percentage, clamped to [0, 1].
std::optional<double> parseOpacity(std::string_view text);
// "none" or non-negative lengths; an empty list means solid, an odd list is repeated to make it
// even.
std::optional<std::vector<double>> parseDashes(std::string_view text);
std::optional<Rect> parseViewBox(std::string_view text);
std::optional<SvgAspectRatio> parseAspectRatio(std::string_view text);
// A transform list, composed so that the last transform is nearest the shape.
std::optional<AffineTransform> parseTransform(std::string_view text);

}  // namespace km::svg
