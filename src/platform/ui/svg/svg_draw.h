#pragma once

// Drawing a parsed SVG icon with Cairo; only the Cairo canvas (and tests of the drawing) use it,
// so the icon reader's own header stays free of Cairo.

#include "platform/ui/svg_icon.h"

typedef struct _cairo cairo_t;

namespace km {

// Draws the icon into `viewport` on `cr`, as vector paths. The context's state is restored.
void drawSvgIcon(cairo_t* cr, const SvgIcon& icon, const Rect& viewport);

}  // namespace km
