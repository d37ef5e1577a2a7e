#pragma once

// The extension's entry point: the widget bundle and the widgets it offers, each configured by
// its kind string.

#include <string>
#include <vector>

#include "host/widget_kind.h"
#include "platform/widgetkit/widget_configuration.h"

namespace km {

// One widget of the gallery, configured by its kind string. Its configuration is computed when
// asked, from the process's platform version and the language chosen at that moment. Plain
// values; configuration() may be called from any thread.
struct KMWidget {
  std::string kind;
  // The family the host shows the widget in; the configuration does not depend on it.
  WidgetFamily family = WidgetFamily::systemSmall;

  // Kind, localised display name and description, families for the current platform version,
  // and content margins disabled from platform 17 (the widgets draw to the edges and pad
  // themselves). Fatal for an unknown kind.
  WidgetConfiguration configuration() const;
};

// The extension's entry point: the widgets offered in the gallery, in gallery order.
struct KMWidgetBundle {
  static constexpr auto kKinds = kGalleryKinds;

  std::vector<KMWidget> body() const;
};

}  // namespace km
