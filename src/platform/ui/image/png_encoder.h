// Turning a drawn image into PNG bytes, fast enough to do for every widget.
#pragma once

#include <cstdint>
#include <vector>

#include "base/result.h"
#include "platform/ui/image/raster_image.h"

namespace km {

// PNG bytes of an image (8-bit RGBA, straight alpha, rows unfiltered). Level 1 compresses fast
// and still well for flat widget art.
Result<std::vector<uint8_t>> encodePng(const RasterImage& image, int compressionLevel = 1);

}  // namespace km
