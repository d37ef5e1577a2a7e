#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "host/km_widget_entry_view.h"
#include "model/extension_log.h"
#include "widget_support/widget_support.h"
#include "widgets_charts/chart_test_support.h"

namespace km {
namespace {

using testing::RecordBuilder;

// What the entry view draws for the chart widgets' kinds, recognised by their marks: the
// calorie widget's donut hole, the macro pie's track (a pie cell and "Carbs" without the hole)
// and the medium pie's energy ring beside it.
TEST(EntryViewCharts, RoutesKindsAndFamiliesToTheChartWidgets) {
  enum class Drawn { nothing, calorieDonut, macroPie, energyAndPie, other };
  struct Case {
    const char* kind;
    WidgetFamily family;
    int platform;
    Drawn expected;
  };
  const Case cases[] = {
      {"small_energy_macros", WidgetFamily::systemSmall, 17, Drawn::calorieDonut},
      {"small_energy_macros", WidgetFamily::systemMedium, 17, Drawn::nothing},
      {"small_pie_macros", WidgetFamily::systemSmall, 17, Drawn::macroPie},
      {"small_pie_macros", WidgetFamily::systemMedium, 16, Drawn::macroPie},
      {"medium_pie_macros", WidgetFamily::systemMedium, 17, Drawn::energyAndPie},
      {"medium_pie_macros", WidgetFamily::accessoryCircular, 16, Drawn::nothing},
      {"medium_pie_macros", WidgetFamily::systemSmall, 16, Drawn::nothing},
      // Before lock-screen widgets the medium pie is drawn whatever the family.
      {"medium_pie_macros", WidgetFamily::systemSmall, 15, Drawn::energyAndPie},
      {"medium_pie_macros", WidgetFamily::accessoryRectangular, 17, Drawn::other},
  };
  const NutritionEntry entry = RecordBuilder().energy(1200, 2000).carbs(100, 200).entry();
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.kind) + " " + std::string(familyName(c.family)) + " " +
                 std::to_string(c.platform));
    testing::WidgetTestEnvironment env("en", c.platform);
    std::ostringstream log;
    ScopedExtensionLog capture(log);
    const View view = KMWidgetEntryView{entry, c.family, c.kind}.body();
    const DisplayList list = testing::layoutWidget(view, c.family);
    const bool hole = !testing::shapeItems(list, "innerCircle").empty();
    const bool pie = !testing::shapeItems(list, "pieChartCell").empty();
    const testing::Json json = testing::displayJson(list, c.family);
    const bool energyRing = testing::findText(json, "800").has_value();  // 2000 - 1200 left
    Drawn drawn = Drawn::other;
    if (list.items.empty()) {
      drawn = Drawn::nothing;
    } else if (hole && pie) {
      drawn = Drawn::calorieDonut;
    } else if (pie && energyRing) {
      drawn = Drawn::energyAndPie;
    } else if (pie) {
      drawn = Drawn::macroPie;
    }
    EXPECT_EQ(static_cast<int>(drawn), static_cast<int>(c.expected));
  }
}

}  // namespace
}  // namespace km
