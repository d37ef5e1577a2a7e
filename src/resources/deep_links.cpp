// Building the widgets' deep links.

#include "resources/deep_links.h"

#include "base/fatal_error.h"

namespace km {
namespace {

URL validated(const std::string& text) {
  auto url = URL::fromString(text);
  if (!url) fatalError("invalid deep link \"" + text + "\"");
  return *url;
}

}  // namespace

URL diaryLink(std::string_view widgetName) {
  return validated(std::string(kAppURLScheme) + "://diary-widget-" + std::string(widgetName));
}

URL actionLink(std::string_view destination, std::string_view widgetName) {
  return validated(std::string(kAppURLScheme) + "://" + std::string(destination) + "-widget-" +
                   std::string(widgetName));
}

URL smallEnergyLink() {
  return diaryLink("small_energy");
}
URL lockscreenCaloriesLink() {
  return diaryLink("lockscreen_calories");
}
URL lockscreenCaloriesInlineLink() {
  return diaryLink("lockscreen_calories_inline");
}
URL lockscreenMacrosLink() {
  return diaryLink("lockscreen_macros");
}

}  // namespace km
