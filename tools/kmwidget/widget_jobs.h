#pragma once

// WidgetJob: the widgets a render draws, and the layouter that draws them.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/result.h"
#include "model/nutrition_entry.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/display_list.h"
#include "platform/ui/layout.h"
#include "platform/widgetkit/family_size.h"
#include "platform/widgetkit/widget_family.h"
#include "resources/widget_utils.h"

namespace km::cli {

// One widget to draw: a kind string in one family.
struct WidgetJob {
  std::string kind;
  WidgetFamily family;
};

// Every widget of the bundle in every family it offers on the process's platform version.
std::vector<WidgetJob> bundleJobs();
// All nine kinds, each in the families the entry view draws it in on this platform version.
std::vector<WidgetJob> allKindJobs();

// Lays widgets out as `kmwidget render` does, from entry to display list: the bundle's asset
// catalogue, the layout direction of the chosen language, and one redraw scope (the language
// and its texts read once) for as long as it lives. Everything that turns a record into a
// widget goes through here, so what `validate` checks is what `render` draws. Not thread-safe.
class WidgetLayouter {
 public:
  static Result<std::unique_ptr<WidgetLayouter>> make(PhoneModel device);

  // The widget's display list; stops the process where the widget's own rules say so.
  DisplayList layout(const NutritionEntry& entry, const WidgetJob& job) const;
  const AssetCatalog& assets() const { return assets_; }

 private:
  WidgetLayouter(AssetCatalog assets, PhoneModel device);

  AssetCatalog assets_;
  PhoneModel device_;
  LayoutOptions options_;
  ScopedRedraw redraw_;
};

}  // namespace km::cli
