// The drawing interface on a Cairo context, and Cairo surfaces over our images: the Cairo back
// end's side of texts and images.
#include "platform/ui/render/cairo_canvas.h"

#include <pango/pangocairo.h>

#include "platform/ui/render/svg_document.h"
#include "platform/ui/svg/svg_draw.h"
#include "platform/ui/svg_icon.h"

namespace km {

void CairoCanvas::prepareTextContext(PangoContext* context) {
  pango_cairo_update_context(cr_, context);
}

void CairoCanvas::showText(PangoLayout* layout, Point topLeft) {
  cairo_move_to(cr_, topLeft.x, topLeft.y);
  pango_cairo_show_layout(cr_, layout);
}

void CairoCanvas::drawIcon(const SvgIcon& icon, const Rect& rect) {
  drawSvgIcon(cr_, icon, rect);
}

void CairoCanvas::drawBitmap(const RasterImage& bitmap, const Rect& rect) {
  if (bitmap.empty()) return;
  // Cairo only reads a source surface, so it may look at the shared pixels without a copy.
  cairo_surface_t* source = createSurfaceFor(const_cast<RasterImage&>(bitmap));
  cairo_save(cr_);
  cairo_translate(cr_, rect.x, rect.y);
  cairo_scale(cr_, rect.width / bitmap.width(), rect.height / bitmap.height());
  cairo_set_source_surface(cr_, source, 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cr_), CAIRO_FILTER_GOOD);
  cairo_paint(cr_);
  cairo_restore(cr_);
  cairo_surface_destroy(source);
}

bool CairoCanvas::drawSvgDocument(const SvgDocument& document, const Rect& rect) {
  return document.draw(cr_, rect);
}

cairo_surface_t* createSurfaceFor(RasterImage& image) {
  return cairo_image_surface_create_for_data(image.data(), CAIRO_FORMAT_ARGB32, image.width(),
                                             image.height(), image.stride());
}

}  // namespace km
