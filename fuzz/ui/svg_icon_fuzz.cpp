// Reads the input bytes as an SVG icon and, when they parse, draws the icon into a small image at
// a few viewport shapes; reads them as path data too. Nothing may crash, hang or trip a sanitizer,
// whatever the file says (numbers out of range, huge arcs, degenerate transforms, deep nesting).
#include <cairo.h>

#include <cstdint>
#include <string_view>

#include "platform/ui/svg/svg_draw.h"
#include "platform/ui/svg_icon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)km::svgDeclaredSize(text);
  (void)km::parseSvgPathData(text);
  const auto icon = km::parseSvgIcon(text);
  if (!icon) return 0;
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 32, 32);
  cairo_t* cr = cairo_create(surface);
  for (const km::Rect& viewport :
       {km::Rect{0, 0, 32, 32}, km::Rect{4, 2, 24, 12}, km::Rect{0, 0, 0, 5}}) {
    km::drawSvgIcon(cr, *icon, viewport);
  }
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  return 0;
}
