#pragma once

// The outlines of SVG's drawing elements (path, rect, circle, ellipse, line, polyline, polygon)
// from their geometry attributes.

#include <string_view>
#include <utility>
#include <vector>

#include "base/result.h"
#include "platform/ui/svg_icon.h"

namespace km::svg {

// An element's attributes as (local name, value), presentation attributes already taken out.
using Attributes = std::vector<std::pair<std::string_view, std::string_view>>;

// The outline `element` draws, in its own user units; empty when the element draws nothing (a
// zero radius or size). An attribute the element does not take, or a bad value, is an error.
Result<SvgOutline> shapeOutline(std::string_view element, const Attributes& attrs);

}  // namespace km::svg
