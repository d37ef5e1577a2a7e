// Hexadecimal colour text never fails: any text gives a colour with components in [0, 1], and
// text that is exactly "#RRGGBB" gives those bytes.
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "resources/widget_utils.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const km::RGBA c = km::WidgetUtils::colorFromHex(text).components();
  for (const double v : {c.red, c.green, c.blue, c.alpha}) {
    if (!(v >= 0 && v <= 1)) std::abort();
  }
  if (text.size() == 7 && text[0] == '#') {
    bool allHex = true;
    for (size_t i = 1; i < 7; ++i)
      allHex = allHex && std::isxdigit(static_cast<unsigned char>(text[i]));
    if (allHex) {
      const unsigned long v = std::strtoul(text.c_str() + 1, nullptr, 16);
      if (c.red * 255 != static_cast<double>(v >> 16) ||
          c.green * 255 != static_cast<double>((v >> 8) & 255) ||
          c.blue * 255 != static_cast<double>(v & 255) || c.alpha != 1) {
        std::abort();
      }
    }
  }
  return 0;
}
