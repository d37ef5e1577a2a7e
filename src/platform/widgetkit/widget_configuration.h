#pragma once

// WidgetConfiguration: what a widget tells the host about itself.

#include <string>
#include <vector>

#include "platform/widgetkit/widget_family.h"

namespace km {

// What a widget tells the host about itself: the host's gallery shows the display name and
// description, offers the families in this order, and draws to the edges when content margins
// are disabled. A plain value; the entry view that draws the widget is wired up separately.
struct WidgetConfiguration {
  std::string kind;
  std::string displayName;
  std::string description;
  std::vector<WidgetFamily> supportedFamilies;
  bool contentMarginsDisabled = false;

  friend bool operator==(const WidgetConfiguration&, const WidgetConfiguration&) = default;
};

}  // namespace km
