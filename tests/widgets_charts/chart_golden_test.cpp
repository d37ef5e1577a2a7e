#include <gtest/gtest.h>

#include <sstream>

#include "host/km_widget_entry_view.h"
#include "model/extension_log.h"
#include "widget_support/widget_support.h"

namespace km {
namespace {

using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

// Whole-widget images catch what the display-list checks do not: arc placement, the mirror,
// the hole over the pie, text fitting. Drawn through the entry view, as the host draws them.
TEST(ChartGolden, SmallPieLightAndCalorieDonutDark) {
  WidgetTestEnvironment env;
  const NutritionEntry entry =
      RecordBuilder().energy(1450, 2000).carbs(160, 250).fat(45, 70).protein(70, 120).entry();
  std::ostringstream log;
  ScopedExtensionLog capture(log);
  RenderOptions light;
  light.cornerRadius = familyCornerRadius(WidgetFamily::systemSmall);
  EXPECT_GOLDEN(testing::layoutWidget(
                    KMWidgetEntryView{entry, WidgetFamily::systemSmall, "small_pie_macros"}.body(),
                    WidgetFamily::systemSmall),
                "small_pie_macros.systemSmall.light", light);
  RenderOptions dark = light;
  dark.colorScheme = ColorScheme::dark;
  EXPECT_GOLDEN(
      testing::layoutWidget(
          KMWidgetEntryView{entry, WidgetFamily::systemSmall, "small_energy_macros"}.body(),
          WidgetFamily::systemSmall),
      "small_energy_macros.systemSmall.dark", dark);
}

}  // namespace
}  // namespace km
