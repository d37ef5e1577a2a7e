// The summary record is the one input the extension takes from outside (the app writes it into
// the shared store). Whatever the bytes, decoding returns a record or an error, never a crash;
// and a record that decodes must come back unchanged from its own encoding.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "model/widget_nutrition_summary.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto decoded = km::decodeSummary(text);
  if (!decoded.ok()) return 0;
  const auto again = km::decodeSummary(km::encodeSummary(decoded.value()));
  if (!again.ok() || !(again.value() == decoded.value())) std::abort();
  return 0;
}
