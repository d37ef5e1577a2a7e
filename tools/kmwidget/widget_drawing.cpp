// Laying out and drawing one widget entry with the tool's options.

#include "kmwidget/widget_drawing.h"

#include "host/km_widget_entry_view.h"
#include "platform/widgetkit/platform_backdrop.h"
#include "resources/widget_utils.h"

namespace km::cli {

LayoutOptions widgetLayoutOptions(const AssetCatalog& assets) {
  LayoutOptions options;
  options.assets = &assets;
  options.layoutDirection = WidgetUtils::layoutDirection();
  return options;
}

DisplayList layoutWidget(const NutritionEntry& entry, const std::string& kind, WidgetFamily family,
                         PhoneModel device, const LayoutOptions& options) {
  const View view = KMWidgetEntryView{entry, family, kind}.body();
  DisplayList list = layout(view, familySize(family, device), options);
  list.backdrop = platformBackdrop(family);
  return list;
}

RenderOptions widgetRenderOptions(WidgetFamily family, PhoneModel device, ColorScheme scheme,
                                  std::optional<RenderingMode> mode, double scale,
                                  const AssetCatalog& assets) {
  RenderOptions options;
  options.scale = scale;
  options.renderingMode =
      mode ? *mode : (isAccessory(family) ? RenderingMode::vibrant : RenderingMode::fullColor);
  // The phone draws lock-screen widgets in the dark appearance over the wallpaper.
  options.colorScheme = isAccessory(family) && options.renderingMode == RenderingMode::vibrant
                            ? ColorScheme::dark
                            : scheme;
  options.cornerRadius = familyCornerRadius(family, device);
  options.assets = &assets;
  return options;
}

}  // namespace km::cli
