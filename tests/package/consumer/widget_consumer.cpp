// Draws the small energy widget's placeholder entry to a PNG, as an outside program would.
#include <cstdio>

#include "host/km_widget_entry_view.h"
#include "host/provider.h"
#include "platform/foundation/process_settings.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/layout.h"
#include "platform/ui/renderer.h"
#include "platform/widgetkit/family_size.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: widget_consumer BUNDLE OUT.png\n");
    return 2;
  }
  km::ScopedMainBundlePath bundle(argv[1]);
  auto assets = km::AssetCatalog::load(std::string(argv[1]) + "/Assets.xcassets");
  if (!assets) {
    std::fprintf(stderr, "%s\n", assets.error().message.c_str());
    return 1;
  }
  const km::WidgetFamily family = km::WidgetFamily::systemSmall;
  km::KMWidgetEntryView view{km::Provider().placeholder({}), family, "small_energy"};
  km::LayoutOptions layoutOptions;
  layoutOptions.assets = &*assets;
  km::DisplayList list = km::layout(view.body(), km::familySize(family), layoutOptions);
  km::RenderOptions renderOptions;
  renderOptions.scale = 2;
  renderOptions.assets = &*assets;
  km::Status written = km::writeImageFile(list, renderOptions, argv[2]);
  if (!written) {
    std::fprintf(stderr, "%s\n", written.error().message.c_str());
    return 1;
  }
  return 0;
}
