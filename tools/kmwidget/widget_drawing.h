#pragma once

// How the tool draws one widget entry: shared by `kmwidget render` and the live host's render
// workers, so that a tile and a rendered file of the same entry are the same pixels.

#include <optional>
#include <string>

#include "model/nutrition_entry.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/display_list.h"
#include "platform/ui/layout.h"
#include "platform/ui/renderer.h"
#include "platform/widgetkit/family_size.h"
#include "platform/widgetkit/widget_family.h"

namespace km::cli {

// Layout settings for the widgets of one redraw: the catalogue (which must outlive the options)
// and the layout direction of the chosen language (the phone mirrors a right-to-left widget).
LayoutOptions widgetLayoutOptions(const AssetCatalog& assets);

// The entry view of `kind` in `family` for `entry`, laid out at the family's size on `device`,
// over what the platform draws behind it (on the platform version in force). The kind must be
// known (checked by the caller).
DisplayList layoutWidget(const NutritionEntry& entry, const std::string& kind, WidgetFamily family,
                         PhoneModel device, const LayoutOptions& options);

// How a widget of `family` is drawn: the lock screen in one colour (vibrant, over a dark
// wallpaper) unless `mode` says otherwise, the home screen in full colour and `scheme`, clipped
// to the family's corner radius.
RenderOptions widgetRenderOptions(WidgetFamily family, PhoneModel device, ColorScheme scheme,
                                  std::optional<RenderingMode> mode, double scale,
                                  const AssetCatalog& assets);

}  // namespace km::cli
