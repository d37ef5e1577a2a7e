#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/km_widget_entry_view.h"
#include "widget_support/widget_support.h"

namespace km {
namespace {

using testing::Json;
using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

enum class Drawn { nothing, history, macros, other };

struct RowCase {
  const char* kind;
  WidgetFamily family;
  int platform;
  Drawn drawn;
};

// What the entry view drew, told apart by marks only each widget has: the history widget's
// goal line, the macros widget's tap URL.
Drawn drawnBy(const Json& json) {
  if (!testing::shapes(json, "line").empty()) return Drawn::history;
  if (testing::widgetURLOf(json) == "kalomate://diary-widget-lockscreen_macros") {
    return Drawn::macros;
  }
  return json["items"].empty() ? Drawn::nothing : Drawn::other;
}

TEST(EntryViewRowsTest, HistoryAndRectangularMacrosRoutes) {
  const std::vector<RowCase> cases = {
      {"medium_history", WidgetFamily::systemMedium, 17, Drawn::history},
      {"medium_history", WidgetFamily::systemMedium, 15, Drawn::history},
      {"medium_history", WidgetFamily::systemSmall, 17, Drawn::nothing},
      {"medium_history", WidgetFamily::accessoryRectangular, 17, Drawn::nothing},
      {"small_energy", WidgetFamily::accessoryRectangular, 16, Drawn::macros},
      {"small_energy", WidgetFamily::accessoryRectangular, 15, Drawn::nothing},
      {"medium_pie_macros", WidgetFamily::accessoryRectangular, 17, Drawn::macros},
      {"medium_pie_macros", WidgetFamily::accessoryCircular, 16, Drawn::nothing},
  };
  for (const RowCase& c : cases) {
    SCOPED_TRACE(std::string(c.kind) + " " + std::string(familyName(c.family)) + " " +
                 std::to_string(c.platform));
    WidgetTestEnvironment env("en", c.platform);
    const NutritionEntry entry = RecordBuilder()
                                     .energy(1200, 2000)
                                     .carbs(100, 250)
                                     .fat(50, 70)
                                     .protein(50, 100)
                                     .history({1000, 2000, 0, 0, 0, 0, 0})
                                     .entry();
    const Json json =
        testing::widgetJson(KMWidgetEntryView{entry, c.family, c.kind}.body(), c.family);
    EXPECT_EQ(drawnBy(json), c.drawn);
  }
}

// The look of both widgets, guarded by images (regenerate with KM_UPDATE_GOLDENS=1).
TEST(EntryViewRowsTest, GoldenImages) {
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
