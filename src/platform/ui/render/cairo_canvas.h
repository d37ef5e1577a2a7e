// The drawing interface on a Cairo context, and Cairo surfaces over our images: the Cairo back
// end's side of texts and images.
#pragma once

#include <cairo.h>

#include "platform/ui/image/raster_image.h"
#include "platform/ui/render/canvas.h"

namespace km {

// Draws texts and images on a Cairo context it does not own, with the context's current
// matrix, clip and source colour.
class CairoCanvas final : public Canvas {
 public:
  explicit CairoCanvas(cairo_t* cr) : cr_(cr) {}

  void prepareTextContext(PangoContext* context) override;
  void showText(PangoLayout* layout, Point topLeft) override;
  void drawIcon(const SvgIcon& icon, const Rect& rect) override;
  void drawBitmap(const RasterImage& bitmap, const Rect& rect) override;
  bool drawSvgDocument(const SvgDocument& document, const Rect& rect) override;

 private:
  cairo_t* cr_;
};

// A Cairo image surface drawing straight into `image`'s pixels (no copy). The image must
// outlive the surface and keep its size while the surface lives.
cairo_surface_t* createSurfaceFor(RasterImage& image);

}  // namespace km
