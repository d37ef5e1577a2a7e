// Paints as Cairo sources: colours, linear gradients, and angular gradients, which Cairo lacks,
// built from mesh patches for vector output or computed per pixel for images.
#pragma once

#include <cairo.h>

#include "platform/ui/geometry.h"
#include "platform/ui/paint.h"
#include "platform/ui/render/color_treatment.h"

namespace km::render {

// The paint with non-finite numbers (from a widget's arithmetic) replaced by the defaults:
// they would put the Cairo context into an error state or loop without end.
Paint sanitized(const Paint& paint);

// Sets the paint as the source for the current path (whose extents an angular gradient needs),
// its colours through the treatment; `frame` is what the gradient's unit points refer to.
void setSourcePaint(cairo_t* cr, const Paint& paint, const Rect& frame, const ColorTreatment& t,
                    bool stroking);

// Draws the current path (filled or stroked with the context's stroke settings) in an angular
// gradient computed per pixel: the shape's coverage is drawn into a mask, and only covered
// pixels get a colour, looked up by their angle about the centre. For image targets only; the
// gradient must be sanitized.
void drawConicRaster(cairo_t* cr, const AngularGradient& g, const Rect& frame,
                     const ColorTreatment& t, bool stroking);

}  // namespace km::render
