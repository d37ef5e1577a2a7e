#include "platform/widgetkit/widget_family.h"

namespace km {

std::string_view familyName(WidgetFamily family) {
  switch (family) {
    case WidgetFamily::systemSmall:
      return "systemSmall";
    case WidgetFamily::systemMedium:
      return "systemMedium";
    case WidgetFamily::accessoryCircular:
      return "accessoryCircular";
    case WidgetFamily::accessoryRectangular:
      return "accessoryRectangular";
    case WidgetFamily::accessoryInline:
      return "accessoryInline";
  }
  return "unknown";
}

std::optional<WidgetFamily> familyFromName(std::string_view name) {
  for (WidgetFamily family : kAllWidgetFamilies) {
    if (familyName(family) == name) return family;
  }
  return std::nullopt;
}

bool isAccessory(WidgetFamily family) {
  return family == WidgetFamily::accessoryCircular ||
         family == WidgetFamily::accessoryRectangular || family == WidgetFamily::accessoryInline;
}

}  // namespace km
