// Our geometry on a Cairo context: paths, colours, stroke styles and transforms in, device-space
// boxes out.
#pragma once

#include <cairo.h>

#include "platform/ui/color.h"
#include "platform/ui/geometry.h"
#include "platform/ui/paint.h"
#include "platform/ui/path.h"

namespace km::render {

void setSourceRGBA(cairo_t* cr, const RGBA& c);
// Appends `path` to the context's current path (user space).
void appendPath(cairo_t* cr, const Path& path);
void applyStroke(cairo_t* cr, const StrokeStyle& s);
void cairoMatrix(const AffineTransform& t, cairo_matrix_t* m);

// True when drawing lands in pixels (PNG output and its groups), where some effects are cheaper
// computed per pixel than with Cairo's vector operations.
bool rasterTarget(cairo_t* cr);

// A box in device space (pixels of the target surface).
struct DeviceBox {
  double minX, minY, maxX, maxY;
};

// The device-space bounding box of the user-space rectangle (x0, y0)-(x1, y1) under the current
// matrix (which may rotate, so all four corners count).
DeviceBox deviceBoundsOf(cairo_t* cr, double x0, double y0, double x1, double y1);
// The current clip's extents in device space.
DeviceBox deviceClipExtents(cairo_t* cr);

}  // namespace km::render
