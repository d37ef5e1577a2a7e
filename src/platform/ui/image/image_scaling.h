// Shrinking a drawn image by a whole factor onto another, as a contact sheet composes widgets.
#pragma once

#include "platform/ui/image/raster_image.h"

namespace km {

// The size of `length` pixels shrunk by `factor` (a partial block still makes a pixel).
int shrunkLength(int length, int factor);

// Lays `source`, shrunk by `factor` (each factor × factor block averaged, premultiplied, with
// pixels beyond the source's edge counting as transparent), over `target` with its top-left corner
// at (x, y); what falls outside `target` is dropped. Factor 1 composites as it is.
void composeShrunk(const RasterImage& source, int factor, RasterImage& target, int x, int y);

}  // namespace km
