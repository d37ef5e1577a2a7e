// Drawing widgets in one include: the display-list painter, images in memory, PNG encoding and
// files.
#pragma once

#include "platform/ui/image/image_file.h"       // IWYU pragma: export
#include "platform/ui/image/png_encoder.h"      // IWYU pragma: export
#include "platform/ui/image/raster_image.h"     // IWYU pragma: export
#include "platform/ui/render/painter.h"         // IWYU pragma: export
#include "platform/ui/render/render_options.h"  // IWYU pragma: export
