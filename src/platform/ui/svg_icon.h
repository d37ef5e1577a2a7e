#pragma once

// Reading the small SVG icons of an asset catalogue into shapes (drawing them is the painter's).

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/result.h"
#include "platform/ui/color.h"
#include "platform/ui/geometry.h"
#include "platform/ui/paint.h"

namespace km {

// A reader for the small SVG icons of an asset catalogue (svg/svg_draw.h draws them with Cairo).
//
// Icons are line drawings made of a handful of shapes. Reading them ourselves, rather than
// through a general SVG engine, keeps that engine (and its XML, image and I/O libraries) out of
// a process that only draws icons, and keeps icons vector in SVG and PDF output. The reader
// accepts a well-defined subset and refuses everything else with a message, so that a caller
// can hand such a file to a complete engine instead of drawing it wrongly:
//
// - elements: svg (the root only), g (nested), path, rect, circle, ellipse, line, polyline,
//   polygon; title, desc, metadata and defs are skipped with their content, as are elements
//   and attributes of other XML namespaces (editor data);
// - presentation attributes, inherited through groups as in SVG: fill, stroke, stroke-width,
//   stroke-linecap, stroke-linejoin, stroke-miterlimit, stroke-dasharray, stroke-dashoffset,
//   fill-rule, fill-opacity, stroke-opacity; and opacity, which applies to the element as a
//   whole and is not inherited; display="none" hides an element and its content;
// - colours: none, #rgb, #rrggbb, rgb(r, g, b) with numbers or percentages, the sixteen basic
//   colour keywords, and currentColor (black, the colour an icon is tinted from);
// - the transform attribute: matrix, translate, scale, rotate, skewX, skewY;
// - lengths in user units or px; on the root, width and height may also be in pt, pc, in, cm
//   or mm, at 72 dots per inch (one point per unit), or percentages (then the view box gives
//   the size);
// - the view box and preserveAspectRatio (default xMidYMid meet); without a view box the
//   width and height give one.
//
// Anything else (style attributes and style sheets, gradients and patterns, text, use, masks,
// filters, clip paths, images, nested svg, other units, malformed path data) gives an Error
// "unsupported: <what>"; malformed XML gives "malformed XML: <reason>".
//
// Parsed icons are plain values: immutable after parsing, safe to share and to draw from any
// number of threads at once (each with its own cairo_t).

// One segment of an outline. Quadratic Béziers and elliptical arcs are converted to cubic
// Béziers when read, so an outline is made of these four operations only.
struct SvgSegment {
  enum class Op { moveTo, lineTo, curveTo, close };
  Op op = Op::moveTo;
  // moveTo and lineTo use p[0]; curveTo uses the two control points p[0], p[1] and the end
  // point p[2]; close uses none.
  Point p[3];
  friend bool operator==(const SvgSegment&, const SvgSegment&) = default;
};
using SvgOutline = std::vector<SvgSegment>;

enum class SvgFillRule { nonZero, evenOdd };

// A shape as it is drawn: its outline in its own user units, the transform that takes those
// to the view box's user units, and the painting resolved from the element and its ancestors.
struct SvgShape {
  SvgOutline outline;
  AffineTransform transform;
  std::optional<RGBA> fill;  // nullopt: not filled; alpha includes fill-opacity
  SvgFillRule fillRule = SvgFillRule::nonZero;
  std::optional<RGBA> stroke;  // nullopt: not stroked; alpha includes stroke-opacity
  // SVG's defaults: width 1, butt caps, mitred joins up to 4, solid; a dash pattern has an even
  // number of lengths.
  StrokeStyle strokeStyle{.miterLimit = 4};
  double opacity = 1;  // of fill and stroke composited together
};

// A group with an opacity below one: the items between its begin and end are composited
// together, then faded. Groups with full opacity leave no marks.
struct SvgBeginGroup {
  double opacity = 1;
};
struct SvgEndGroup {};
using SvgItem = std::variant<SvgShape, SvgBeginGroup, SvgEndGroup>;

// How the view box is fitted into the viewport.
struct SvgAspectRatio {
  enum class Align { none, min, mid, max };
  Align x = Align::mid;
  Align y = Align::mid;
  bool slice = false;  // false: meet (the whole view box shows)
};

struct SvgIcon {
  Size size;     // the intrinsic size, in points
  Rect viewBox;  // the user units that fill the viewport
  SvgAspectRatio aspectRatio;
  std::vector<SvgItem> items;  // in painting order
};

// Reads an icon from the bytes of an SVG file.
Result<SvgIcon> parseSvgIcon(std::string_view svg);

// The intrinsic size the root element declares, read from the root element alone, so that a
// file whose content is unsupported or broken still has a size. nullopt when the root has no
// size the reader understands.
std::optional<Size> svgDeclaredSize(std::string_view svg);

// Reads SVG path data ("M12 2.5v5M9.5 5h5"): commands M, L, H, V, C, S, Q, T, A, Z in absolute
// and relative forms with implicit repeats and compact numbers ("1.5.5" is 1.5 and .5).
Result<SvgOutline> parseSvgPathData(std::string_view data);

// The map from the view box's user units to `viewport` (user space), honouring the aspect
// ratio rule.
AffineTransform svgViewBoxTransform(const Rect& viewBox, const SvgAspectRatio& aspectRatio,
                                    const Rect& viewport);

}  // namespace km
