// The home screen's backdrop behind a widget, per platform version.

#include "platform/widgetkit/platform_backdrop.h"

namespace km {

std::optional<Paint> platformBackdrop(WidgetFamily family, PlatformVersion version) {
  if (isAccessory(family) || version.atLeast(17)) return std::nullopt;
  return Paint{Color::systemBackground()};
}

}  // namespace km
