// The widgets' arithmetic on its own, in tables: shares, percentages, week maximum and the
// history's validity window. What the widgets draw from it is in cases.json.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "platform/foundation/calendar.h"
#include "widget_support/widget_support.h"
#include "widgets/home/medium_widget.h"
#include "widgets/home/small_widget.h"
#include "widgets/home/small_widget_macro_pie.h"
#include "widgets/lockscreen/lockscreen_medium_calories.h"

namespace km {
namespace {

using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

TEST(SmallWidget, NaNProgressPassesThroughAndNonFiniteEnergyIsFatal) {
  WidgetTestEnvironment env;
  const NutritionEntry entry = RecordBuilder().energy(0, 0).entry();
  const SmallWidget::CalorieView view{0, 0, false, entry.nutrition.currentDate};
  EXPECT_TRUE(std::isnan(view.progress()));
  const SmallWidget::CalorieView infinite{INFINITY, 2000, false, entry.nutrition.currentDate};
  EXPECT_DEATH((void)infinite.eatenText(), "Fatal error");
}

TEST(SmallWidgetMacroPie, SharesAlwaysAddUpToAHundred) {
  struct Case {
    double carbs, fat, prot;
    MacroPieShares expected;
  };
  const Case cases[] = {
      {50, 0, 0, {100, 0, 0}},
      {0, 0, 0, {0, 0, 0}},
      {16.5, 67.0 / 9, 16.75, {32, 34, 34}},
      {10, 10, 10, {23, 53, 24}},
      // Fat 51.88% and protein 50.13% of a total that a negative carbohydrate value lowers:
      // carbohydrate takes what is left, below zero.
      {-1, 11.5, 25, {-2, 52, 50}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(macroPieShares(c.carbs, c.fat, c.prot), c.expected)
        << c.carbs << " " << c.fat << " " << c.prot;
  }
}

struct ShareCase {
  const char* name;
  double carbs, fat, protein;
  int daysAgo;
  std::int64_t carbsPct, fatPct, proteinPct;
};

const std::vector<ShareCase>& shareCases() {
  static const std::vector<ShareCase> cases = {
      // 400 + 450 + 200 = 1050 kcal: fat 42.86, protein 19.05, carbohydrate keeps the rest
      // (39, not its own 38.10).
      {"worked example", 100, 50, 50, 0, 39, 42, 19},
      {"only fat", 0, 30, 0, 0, 0, 100, 0},
      {"only protein", 0, 0, 80, 0, 0, 0, 100},
      {"only carbohydrate", 120, 0, 0, 0, 100, 0, 0},
      {"nothing eaten", 0, 0, 0, 0, 0, 0, 0},
      {"yesterday's food", 100, 50, 50, 1, 0, 0, 0},
      // 33.33 and 33.33 truncate to 33 each; carbohydrate gets 34.
      {"equal energy", 75, 100.0 / 3, 75, 0, 34, 33, 33},
      // Negative grams enter the sums as they are: E = 400 - 90 = 310, fat -29.03 → -29.
      {"negative correction", 100, -10, 0, 0, 129, -29, 0},
  };
  return cases;
}

TEST(PercentageMachineTest, TruncatedFatAndProteinWithCarbohydrateTakingTheRest) {
  WidgetTestEnvironment env;
  for (const ShareCase& c : shareCases()) {
    SCOPED_TRACE(c.name);
    const PercentageMachine machine{c.carbs, c.fat, c.protein,
                                    testing::daysBeforeTestNow(c.daysAgo)};
    const PercentageMachine::Shares expected{c.carbsPct, c.fatPct, c.proteinPct};
    EXPECT_EQ(machine.shares(), expected);
  }
}

TEST(LockscreenMediumCaloriesDeathTest, NonFiniteGramsStopTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto sharesWithInfiniteFat = [] {
    WidgetTestEnvironment env;
    PercentageMachine machine;
    machine.carbs = 10;
    machine.fat = std::numeric_limits<double>::infinity();
    machine.prot = 10;
    machine.dateCheck = testing::testNow();
    (void)machine.shares();
  };
  EXPECT_DEATH(sharesWithInfiniteFat(), "Fatal error");
}

constexpr const char* kZone = "Europe/Berlin";

Date localNoon(int year, int month, int day) {
  return dateFromLocal(year, month, day, 12, 0, 0, kZone);
}

TEST(MediumWidgetTest, WeekMaximumLooksAtSevenDaysAndNeverGoesBelowZero) {
  const struct {
    std::vector<double> days;
    double maximum;
  } cases[] = {
      {{}, 0},
      {{-5, -1, -20}, 0},
      {{300}, 300},
      {{100, 900, 300, 0, 0, 0, 0}, 900},
      {{100, 200, 300, 400, 500, 600, 700, 5000}, 700},
  };
  for (const auto& c : cases)
    EXPECT_DOUBLE_EQ(weekMaximum(c.days), c.maximum);
}

struct ValidityCase {
  const char* name;
  Date data;
  Date now;
  bool valid;
};

TEST(MediumWidgetTest, HistoryValidityByDayOfMonthAndWeekday) {
  WidgetTestEnvironment env;
  // March 2024: the 4th and 11th are Mondays, the 10th and 17th Sundays.
  const std::vector<ValidityCase> cases = {
      {"same day", localNoon(2024, 3, 14).addingTimeInterval(-3 * 3600), localNoon(2024, 3, 14),
       true},
      {"Monday seen on Thursday", localNoon(2024, 3, 11), localNoon(2024, 3, 14), true},
      {"previous Sunday seen on Monday", localNoon(2024, 3, 10), localNoon(2024, 3, 11), false},
      {"last Friday seen on Tuesday", localNoon(2024, 3, 8), localNoon(2024, 3, 12), false},
      {"Monday seen on Sunday", localNoon(2024, 3, 4), localNoon(2024, 3, 10), true},
      {"more than six days back", localNoon(2024, 3, 1), localNoon(2024, 3, 14), false},
      {"30th (Tue) seen on the 2nd (Fri)", localNoon(2024, 1, 30), localNoon(2024, 2, 2), true},
      {"30th (Sat) seen on the 2nd (Tue)", localNoon(2024, 3, 30), localNoon(2024, 4, 2), false},
  };
  for (const ValidityCase& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(isHistoryDataValid(c.data, c.now), c.valid);
  }
}

}  // namespace
}  // namespace km
