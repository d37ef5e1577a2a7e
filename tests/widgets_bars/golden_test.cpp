#include <gtest/gtest.h>

#include <string>

#include "host/km_widget_entry_view.h"
#include "widget_support/widget_support.h"

namespace km {
namespace {

using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

// Whole-widget images through the entry view, as the host draws them, so a change anywhere from
// the bars' arithmetic to the renderer shows up. Regenerate with KM_UPDATE_GOLDENS=1 after a
// deliberate change, and look at the new image before committing it.
TEST(BarsGolden, WidgetsMatchTheirImages) {
  struct Case {
    std::string kind;
    WidgetFamily family;
    ColorScheme scheme;
    RenderingMode mode;
  };
  const Case cases[] = {
      {"small_bar_macros", WidgetFamily::systemSmall, ColorScheme::light, RenderingMode::fullColor},
      {"medium_buttons", WidgetFamily::systemMedium, ColorScheme::dark, RenderingMode::fullColor},
      {"lockscreen_button", WidgetFamily::accessoryCircular, ColorScheme::dark,
       RenderingMode::vibrant},
  };
  WidgetTestEnvironment env;
  const NutritionEntry entry =
      RecordBuilder().energy(1500, 2000).carbs(120, 250).fat(80, 70).protein(60.9, 60).entry();
  for (const Case& c : cases) {
    const std::string appearance = c.mode == RenderingMode::vibrant ? "vibrant"
                                   : c.scheme == ColorScheme::dark  ? "dark"
                                                                    : "light";
    const std::string name = c.kind + "." + std::string(familyName(c.family)) + "." + appearance;
    SCOPED_TRACE(name);
    const DisplayList list =
        testing::layoutWidget(KMWidgetEntryView{entry, c.family, c.kind}.body(), c.family);
    RenderOptions options;
    options.colorScheme = c.scheme;
    options.renderingMode = c.mode;
    options.cornerRadius = familyCornerRadius(c.family);
    options.scale = 2;
    EXPECT_GOLDEN(list, name, options);
  }
}

}  // namespace
}  // namespace km
