// The display-list painter: draws a widget's display list with Cairo, onto any Cairo context or
// into an image.
#pragma once

#include <cairo.h>

#include "platform/ui/display_list.h"
#include "platform/ui/image/raster_image.h"
#include "platform/ui/render/render_options.h"

namespace km {

// Draws `list` with the cairo context's current user space in points (the caller scales).
// Named colours resolve against the options' appearance and catalogue, so the same list draws
// light and dark. Stateless; safe to call from several threads on different contexts.
void drawDisplayList(cairo_t* cr, const DisplayList& list, const RenderOptions& options);

// The longest side of a drawn image, in pixels: larger asks are drawn clamped to it.
inline constexpr int kLargestImageSide = 16384;

// The pixels of an image of `points` at `scale` pixels per point: rounded up, at least one and
// at most kLargestImageSide a side.
struct PixelSize {
  int width, height;
};
PixelSize imagePixelSize(Size points, double scale);

// Draws into a new image of size × scale pixels (rounded up).
RasterImage renderImage(const DisplayList& list, const RenderOptions& options);
// The same into `into`, which is resized and cleared first: a caller drawing many widgets
// reuses one image's memory for all of them.
void renderImage(const DisplayList& list, const RenderOptions& options, RasterImage& into);

}  // namespace km
