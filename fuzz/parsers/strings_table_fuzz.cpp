// `.strings` tables come with the bundle, in UTF-8 or UTF-16 with any escapes. Parsing must
// return a table or an error naming the line, never crash or read past the bytes. Texts go to
// Pango and ICU as UTF-8, so a table read from well-formed UTF-8 or from UTF-16 must hold
// well-formed UTF-8 whatever its escapes say (a lone \uD800 included).
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/foundation/strings_table.h"

namespace {

// Well-formed UTF-8: no stray continuation bytes, no truncated sequences, no surrogates.
bool isUtf8(std::string_view s) {
  for (size_t i = 0; i < s.size();) {
    const auto c = static_cast<unsigned char>(s[i]);
    const size_t extra = c < 0x80         ? 0
                         : (c >> 5) == 6  ? 1
                         : (c >> 4) == 14 ? 2
                         : (c >> 3) == 30 ? 3
                                          : 4;
    if (extra == 4 || i + extra >= s.size()) return false;
    char32_t cp = extra == 0 ? c : c & (0x3F >> extra);
    for (size_t k = 1; k <= extra; ++k) {
      const auto b = static_cast<unsigned char>(s[i + k]);
      if ((b >> 6) != 2) return false;
      cp = (cp << 6) | (b & 0x3F);
    }
    if (cp >= 0xD800 && cp <= 0xDFFF) return false;
    i += extra + 1;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto table = km::parseStringsTable(bytes, "fuzz.strings");
  if (!table.ok()) {
    if (table.error().message.rfind("fuzz.strings:", 0) != 0) std::abort();
    return 0;
  }
  const bool utf16 =
      size >= 2 && ((data[0] == 0xFF && data[1] == 0xFE) || (data[0] == 0xFE && data[1] == 0xFF));
  if (!utf16 && !isUtf8(bytes)) return 0;
  for (const auto& [key, text] : table.value()) {
    if (!isUtf8(key) || !isUtf8(text)) std::abort();
  }
  return 0;
}
