// Parses the input bytes as a view description, lays it out in a small canvas and draws it, in
// light and dark and in the accented mode. Whatever the numbers in the description (huge
// frames, dash patterns, shadow radii, line widths, rotations), drawing costs about what the
// few pixels drawn cost: no crash, no sanitizer report, no time-out, no memory blow-up.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "kmwidget/view_description/view_description.h"
#include "platform/ui/layout.h"
#include "platform/ui/renderer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const km::Result<km::View> view = km::parseViewDescription(text);
  if (!view.ok()) return 0;
  const km::DisplayList list = km::layout(view.value(), km::Size{60, 40});
  km::RenderOptions options;
  options.scale = 1;
  options.cornerRadius = 8;
  (void)km::renderImage(list, options);
  options.colorScheme = km::ColorScheme::dark;
  options.renderingMode = km::RenderingMode::accented;
  (void)km::renderImage(list, options);
  return 0;
}
