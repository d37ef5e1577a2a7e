#include <gtest/gtest.h>

#include "host/km_widget_entry_view.h"
#include "widget_support/widget_support.h"

namespace km {
namespace {

using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

// The look of both widgets, guarded by images (regenerate with KM_UPDATE_GOLDENS=1).
TEST(HistoryGolden, HistoryAndLockScreenMacros) {
  WidgetTestEnvironment env;
  const NutritionEntry entry = RecordBuilder()
                                   .energy(1450, 2000)
                                   .carbs(100, 250)
                                   .fat(50, 70)
                                   .protein(50, 100)
                                   .history({1850, 2350, 1200, 1640, 0, 0, 0})
                                   .entry();
  RenderOptions home;
  home.cornerRadius = familyCornerRadius(WidgetFamily::systemMedium);
  EXPECT_GOLDEN(testing::layoutWidget(
                    KMWidgetEntryView{entry, WidgetFamily::systemMedium, "medium_history"}.body(),
                    WidgetFamily::systemMedium),
                "medium_history.systemMedium.light", home);
  RenderOptions lock;
  lock.colorScheme = ColorScheme::dark;
  lock.renderingMode = RenderingMode::vibrant;
  EXPECT_GOLDEN(
      testing::layoutWidget(
          KMWidgetEntryView{entry, WidgetFamily::accessoryRectangular, "medium_pie_macros"}.body(),
          WidgetFamily::accessoryRectangular),
      "medium_pie_macros.accessoryRectangular.vibrant", lock);
}

}  // namespace
}  // namespace km
