// Parses the input bytes as a view description; whatever parses is laid out in a small canvas
// and dumped as JSON. Bad input must come back as an error, never a crash, hang or sanitizer
// report. Seed it with the scenario files (tests/view_description/scenarios, one view per file
// after extracting them) and the dictionary beside this file.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "kmwidget/view_description/view_description.h"
#include "platform/ui/display_list_json.h"
#include "platform/ui/layout.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const km::Result<km::View> view = km::parseViewDescription(text);
  if (!view.ok()) return 0;
  const km::DisplayList list = km::layout(view.value(), km::Size{120, 80});
  (void)km::displayListToJson(list, "layout", "custom", km::ColorScheme::light, nullptr);
  return 0;
}
