#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "model/extension_log.h"
#include "platform/foundation/calendar.h"
#include "widget_support/widget_support.h"
#include "widgets/home/small_widget.h"
#include "widgets/home/small_widget_macro_pie.h"

namespace km {
namespace {

using testing::RecordBuilder;

// The calorie widget hides a stale day by day numbers, the macro pie by the calendar. They
// disagree for a record stamped at a UTC midnight in a zone behind UTC: the day-number test
// takes that instant as its own day start, without the zone offset, so it counts as today,
// while locally it is still yesterday evening.
TEST(SameDayTests, EachWidgetKeepsItsOwnTest) {
  struct Case {
    const char* name;
    Date stamped;
    bool calorieShowsToday;
    bool pieShowsToday;
  };
  // testNow() is 2024-03-14 11:00 UTC, 07:00 in New York (daylight saving time, UTC-4).
  const Case cases[] = {
      {"UTC midnight, 20:00 of yesterday in New York", Date::fromUnix(1710374400), true, false},
      {"23:59 of yesterday in New York", dateFromLocal(2024, 3, 13, 23, 59, 0, "America/New_York"),
       false, false},
      {"00:01 of today in New York", dateFromLocal(2024, 3, 14, 0, 1, 0, "America/New_York"), true,
       true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    testing::WidgetTestEnvironment env;
    ScopedTimeZone zone("America/New_York");
    const NutritionEntry entry = RecordBuilder()
                                     .energy(900, 2000)
                                     .carbs(10, 1)
                                     .fat(10, 1)
                                     .protein(10, 1)
                                     .date(c.stamped)
                                     .entry();
    std::ostringstream log;
    ScopedExtensionLog capture(log);

    const testing::Json calorie =
        testing::widgetJson(SmallWidget{entry}.body(), WidgetFamily::systemSmall);
    EXPECT_EQ(testing::findText(calorie, "900").has_value(), c.calorieShowsToday);
    EXPECT_EQ(testing::findText(calorie, "53% ").has_value(), c.calorieShowsToday);

    const testing::Json pie =
        testing::widgetJson(SmallWidgetMacroPie{entry, true}.body(), WidgetFamily::systemSmall);
    EXPECT_EQ(testing::findText(pie, "53%").has_value(), c.pieShowsToday);
    EXPECT_EQ(testing::findText(pie, "0%").has_value(), !c.pieShowsToday);
  }
}

}  // namespace
}  // namespace km
