// Configuring the offered widgets from their kind rows, and the bundle that lists them.

#include "host/km_widget.h"

#include "host/widget_kind.h"
#include "platform/widgetkit/platform_version.h"
#include "resources/widget_utils.h"

namespace km {

WidgetConfiguration KMWidget::configuration() const {
  WidgetConfiguration c;
  c.kind = kind;
  c.displayName = localizedString(displayNameKey(kind));
  c.description = localizedString(descriptionKey(kind));
  c.supportedFamilies = supportedFamilies(kind);
  c.contentMarginsDisabled = currentPlatformVersion().atLeast(17);
  return c;
}

std::vector<KMWidget> KMWidgetBundle::body() const {
  std::vector<KMWidget> widgets;
  for (const char* kind : kKinds)
    widgets.push_back(KMWidget{kind});
  return widgets;
}

}  // namespace km
