// The names of the widget families, both ways, and which families are the lock screen's.

#include "platform/widgetkit/widget_family.h"

#include "base/enum_names.h"

namespace km {
namespace {

constexpr auto kFamilyNames = enumNames<WidgetFamily>({
    {WidgetFamily::systemSmall, "systemSmall"},
    {WidgetFamily::systemMedium, "systemMedium"},
    {WidgetFamily::accessoryCircular, "accessoryCircular"},
    {WidgetFamily::accessoryRectangular, "accessoryRectangular"},
    {WidgetFamily::accessoryInline, "accessoryInline"},
});
static_assert(kFamilyNames.covers(kAllWidgetFamilies) && kFamilyNames.namesAreUnique());

}  // namespace

std::string_view familyName(WidgetFamily family) {
  return kFamilyNames.name(family).value_or("unknown");
}

std::optional<WidgetFamily> familyFromName(std::string_view name) {
  return kFamilyNames.value(name);
}

bool isAccessory(WidgetFamily family) {
  return family == WidgetFamily::accessoryCircular ||
         family == WidgetFamily::accessoryRectangular || family == WidgetFamily::accessoryInline;
}

}  // namespace km
