#include "widgets/lockscreen/lockscreen_medium_calories.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "widget_support/widget_support.h"

namespace km {
namespace {

using testing::Json;
using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

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

TEST(LockscreenMediumCaloriesTest, ColumnsShowNamesPercentagesAndBars) {
  WidgetTestEnvironment env;
  for (const ShareCase& c : shareCases()) {
    if (c.fatPct < 0) continue;  // a negative share has no bar length to check
    SCOPED_TRACE(c.name);
    const NutritionEntry entry = RecordBuilder()
                                     .carbs(c.carbs, 250)
                                     .fat(c.fat, 70)
                                     .protein(c.protein, 100)
                                     .daysAgo(c.daysAgo)
                                     .entry();
    const Json json = testing::widgetJson(LockscreenMediumCalories{entry}.body(),
                                          WidgetFamily::accessoryRectangular, ColorScheme::dark);
    const std::vector<std::string> expectedTexts = {"Carbs",   std::to_string(c.carbsPct) + "%",
                                                    "Fat",     std::to_string(c.fatPct) + "%",
                                                    "Protein", std::to_string(c.proteinPct) + "%"};
    EXPECT_EQ(testing::texts(json), expectedTexts);

    const std::vector<Json> bars = testing::shapes(json, "roundedRectangle");
    ASSERT_EQ(bars.size(), 3u);
    const std::vector<Json> textItems = testing::itemsOfType(json, "text");
    const std::int64_t pcts[] = {c.carbsPct, c.fatPct, c.proteinPct};
    for (size_t i = 0; i < 3; ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(bars[i]["fill"], "#FFFFFFBF");
      EXPECT_NEAR(bars[i]["frame"][3].get<double>(), 6, 0.001);
      // Each bar lies under its own column's texts, starting at their leading edge.
      EXPECT_NEAR(bars[i]["frame"][0].get<double>(), textItems[2 * i]["frame"][0].get<double>(),
                  0.01);
      EXPECT_GT(bars[i]["frame"][1].get<double>(), textItems[2 * i + 1]["frame"][1].get<double>());
    }
    // Bars are as long as their share of the column (a 6-point dot at least); the three
    // columns are equally wide, so lengths compare across columns.
    const double column =
        (bars[1]["frame"][0].get<double>() - bars[0]["frame"][0].get<double>()) - 8;
    ASSERT_GT(column, 30);
    for (size_t i = 0; i < 3; ++i) {
      const double expected = std::max(6.0, column * static_cast<double>(pcts[i]) / 100);
      EXPECT_NEAR(bars[i]["frame"][2].get<double>(), expected, 0.01);
    }
  }
}

TEST(LockscreenMediumCaloriesTest, LinkBackgroundAndLanguages) {
  struct Case {
    const char* language;
    int platform;
    std::vector<std::string> names;
    bool containerBackground;
  };
  const std::vector<Case> cases = {
      {"en", 17, {"Carbs", "Fat", "Protein"}, true},
      {"de", 16, {"Kohlenh.", "Fett", "Eiweiß"}, false},
      {"ja", 17, {"炭水化物", "脂質", "たんぱく質"}, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.language);
    WidgetTestEnvironment env(c.language, c.platform);
    const NutritionEntry entry =
        RecordBuilder().carbs(100, 250).fat(50, 70).protein(50, 90).entry();
    const DisplayList list = testing::layoutWidget(LockscreenMediumCalories{entry}.body(),
                                                   WidgetFamily::accessoryRectangular);
    const Json json = testing::displayJson(list, WidgetFamily::accessoryRectangular);
    const std::vector<std::string> all = testing::texts(json);
    ASSERT_EQ(all.size(), 6u);
    EXPECT_EQ((std::vector<std::string>{all[0], all[2], all[4]}), c.names);
    EXPECT_EQ(testing::widgetURLOf(json), "kalomate://diary-widget-lockscreen_macros");
    EXPECT_EQ(urlAt(list, {10, 10}), "kalomate://diary-widget-lockscreen_macros");
    if (c.containerBackground) {
      EXPECT_EQ(json["containerBackgroundName"], "widget-background-primary");
    } else {
      EXPECT_TRUE(json["containerBackground"].is_null());
    }
    // Nothing is drawn outside the widget, even for long names.
    const Size size = familySize(WidgetFamily::accessoryRectangular);
    for (const Json& t : testing::itemsOfType(json, "text")) {
      EXPECT_GE(t["frame"][0].get<double>(), -0.01);
      EXPECT_LE(t["frame"][0].get<double>() + t["frame"][2].get<double>(), size.width + 0.01);
    }
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

}  // namespace
}  // namespace km
