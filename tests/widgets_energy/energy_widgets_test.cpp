#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>

#include "widget_support/widget_support.h"
#include "widgets/home/small_widget_energy.h"
#include "widgets/lockscreen/lockscreen_inline_calories.h"
#include "widgets/lockscreen/lockscreen_small_calories.h"

namespace km {
namespace {

using namespace km::testing;

constexpr const char* kTextPrimary = "#1C1F23FF";
constexpr const char* kTextSecondary = "#5F6670FF";
constexpr const char* kOrange = "#DE7300FF";

struct SmallEnergyCase {
  const char* name;
  double eaten;
  double goal;
  int daysAgo;
  bool kilojoules;
  const char* mainNumber;
  bool overWord;
  const char* goalLine;
  const char* track;
  std::optional<double> arcTrim;
  int dots;
};

TEST(SmallWidgetEnergyTest, WorkedExamples) {
  WidgetTestEnvironment env;
  const SmallEnergyCase cases[] = {
      {"under goal", 1500, 2000, 0, false, "500", false, "/2000 Kcal", "#E9ECEFFF", 0.75, 1},
      {"over goal", 2300, 2000, 0, false, "300", true, "2000 Kcal", "#03B000FF", 0.15, 0},
      {"exactly the goal", 2000, 2000, 0, false, "0", false, "/2000 Kcal", "#E9ECEFFF", 1.0, 2},
      {"yesterday", 1500, 2000, 1, false, "2000", false, "/2000 Kcal", "#E9ECEFFF", std::nullopt,
       0},
      {"kilojoules", 6000, 8400, 0, true, "2400", false, "/8400 kJ", "#E9ECEFFF", 0.714, 1},
      // Both values truncate before subtracting: 2000 - 1200, not 2000.7 - 1200.9 rounded.
      {"fractions", 1200.9, 2000.7, 0, false, "800", false, "/2000 Kcal", "#E9ECEFFF", 0.6, 1},
      {"two laps", 4100, 2000, 0, false, "2100", true, "2000 Kcal", kOrange, std::nullopt, 0},
  };
  for (const SmallEnergyCase& c : cases) {
    SCOPED_TRACE(c.name);
    const NutritionEntry entry =
        RecordBuilder().energy(c.eaten, c.goal).daysAgo(c.daysAgo).kilojoules(c.kilojoules).entry();
    const Json list = widgetJson(SmallWidgetEnergy{entry, false}.body(), WidgetFamily::systemSmall);

    std::vector<std::string> expectedTexts = {c.mainNumber};
    if (c.overWord) expectedTexts.push_back("over");
    expectedTexts.push_back(c.goalLine);
    EXPECT_EQ(texts(list), expectedTexts);

    const auto main = findText(list, c.mainNumber);
    ASSERT_TRUE(main);
    EXPECT_EQ(main->at("font").at("size"), 18.0);
    EXPECT_EQ(main->at("font").at("weight"), "bold");
    EXPECT_EQ(main->at("color"), kTextPrimary);
    const auto goal = findText(list, c.goalLine);
    ASSERT_TRUE(goal);
    EXPECT_EQ(goal->at("font").at("size"), 14.0);
    EXPECT_EQ(goal->at("font").at("weight"), "regular");
    EXPECT_EQ(goal->at("color"), kTextSecondary);
    if (c.overWord) {
      const auto word = findText(list, "over");
      ASSERT_TRUE(word);
      EXPECT_EQ(word->at("font").at("weight"), "semibold");
      EXPECT_EQ(word->at("font").at("size"), 14.0);
      EXPECT_EQ(word->at("color"), kOrange);
    }

    const std::vector<Json> circles = shapes(list, "circle");
    ASSERT_FALSE(circles.empty());
    EXPECT_EQ(circles[0].at("stroke"), c.track);
    // The ring sits 4 + 16 points inside the 158-point widget.
    EXPECT_EQ(circles[0].at("frame"), Json::array({20.0, 20.0, 118.0, 118.0}));
    int arcs = 0, dots = 0;
    for (std::size_t i = 1; i < circles.size(); ++i) {
      if (circles[i].contains("fill")) {
        ++dots;
        continue;
      }
      ++arcs;
      ASSERT_TRUE(c.arcTrim);
      EXPECT_NEAR(circles[i].at("trim")[1].get<double>(), *c.arcTrim, 1e-3);
    }
    EXPECT_EQ(arcs, c.arcTrim ? 1 : 0);
    EXPECT_EQ(dots, c.dots);
    EXPECT_EQ(widgetURLOf(list), "kalomate://diary-widget-small_energy");
    EXPECT_EQ(list.at("containerBackgroundName"), "widget-background-primary");
  }
}

TEST(SmallWidgetEnergyTest, BlockLinkLeavesTheTapToTheEmbeddingWidget) {
  WidgetTestEnvironment env;
  const NutritionEntry entry = RecordBuilder().energy(1500, 2000).entry();
  const Json list = widgetJson(SmallWidgetEnergy{entry, true}.body(), WidgetFamily::systemSmall);
  EXPECT_EQ(widgetURLOf(list), std::nullopt);
  EXPECT_TRUE(links(list).empty());
  EXPECT_EQ(texts(list), (std::vector<std::string>{"500", "/2000 Kcal"}));
}

// Before platform 17 there is no container background: the colour is drawn behind the content.
TEST(SmallWidgetEnergyTest, PlainBackgroundBeforePlatform17) {
  WidgetTestEnvironment env("en", 16);
  const NutritionEntry entry = RecordBuilder().energy(1500, 2000).entry();
  const Json list = widgetJson(SmallWidgetEnergy{entry, false}.body(), WidgetFamily::systemSmall);
  EXPECT_TRUE(list.at("containerBackground").is_null());
  const std::vector<Json> all = shapes(list);
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all[0].value("fillName", ""), "widget-background-primary");
  EXPECT_EQ(all[0].at("frame"), Json::array({0.0, 0.0, 158.0, 158.0}));
}

TEST(SmallWidgetEnergyTest, GermanTexts) {
  WidgetTestEnvironment env("de");
  const NutritionEntry entry = RecordBuilder().energy(2300, 2000).entry();
  const Json list = widgetJson(SmallWidgetEnergy{entry, false}.body(), WidgetFamily::systemSmall);
  EXPECT_EQ(texts(list), (std::vector<std::string>{"300", "über", "2000 Kcal"}));
}

TEST(SmallWidgetEnergyDeathTest, UnrepresentableGoalIsFatal) {
  WidgetTestEnvironment env;
  for (double goal : {std::numeric_limits<double>::quiet_NaN(), 1e300}) {
    const NutritionEntry entry = RecordBuilder().energy(100, goal).entry();
    EXPECT_DEATH((SmallWidgetEnergy{entry, false}.body()), "Fatal error");
  }
}

struct GaugeCase {
  const char* name;
  double eaten;
  double goal;
  int daysAgo;
  bool bigWord;
  bool kilojoules;
  // Under the goal: the progress view's arc trim (nullopt: no arc drawn) and label.
  std::optional<double> progress;
  const char* label;
  // Over the goal: the open ring's trim and turn, and the number and unit above "over".
  double ringTrim;
  double ringDegrees;
  const char* overNumber;  // null under the goal
  const char* overUnit;
};

TEST(LockscreenSmallCaloriesTest, WorkedExamples) {
  WidgetTestEnvironment env;
  const std::nullopt_t over = std::nullopt;
  const GaugeCase cases[] = {
      {"half", 1000, 2000, 0, false, false, 0.5, "1000\nKcal", 0, 0, nullptr, nullptr},
      {"exactly the goal", 2000, 2000, 0, false, false, 1.0, "2000\nKcal", 0, 0, nullptr, nullptr},
      {"over, yesterday", 2500, 2000, 1, false, false, 0.0, "0\nKcal", 0, 0, nullptr, nullptr},
      {"kilojoules", 3000, 8000, 0, false, true, 0.375, "3000\nkJ", 0, 0, nullptr, nullptr},
      // 0 of 0 is not a number: not over the goal, and the progress view counts it as 0.
      {"no goal, nothing eaten", 0, 0, 0, false, false, 0.0, "0\nKcal", 0, 0, nullptr, nullptr},
      {"over", 2500, 2000, 0, false, false, over, "", 0.6666, -210, "500", "Kcal"},
      {"over, big word", 2500, 2000, 0, true, false, over, "", 0.58, -193.5, "500", "Kcal"},
      {"over, kilojoules", 9000.8, 8000.1, 0, false, true, over, "", 0.6666, -210, "1000", "kJ"},
      {"no goal, something eaten", 250, 0, 0, false, false, over, "", 0.6666, -210, "250", "Kcal"},
  };
  for (const GaugeCase& c : cases) {
    SCOPED_TRACE(c.name);
    const NutritionEntry entry =
        RecordBuilder().energy(c.eaten, c.goal).daysAgo(c.daysAgo).kilojoules(c.kilojoules).entry();
    const Json list = widgetJson(LockscreenSmallCalories{entry, 20, c.bigWord}.body(),
                                 WidgetFamily::accessoryCircular);
    EXPECT_EQ(widgetURLOf(list), "kalomate://diary-widget-lockscreen_calories");
    for (const Json& item : list.at("items"))
      EXPECT_EQ(item.value("accentable", false), true);

    const std::vector<Json> circles = shapes(list, "circle");
    if (!c.overNumber) {
      EXPECT_EQ(texts(list), std::vector<std::string>{c.label});
      // The progress view: a track and an arc.
      ASSERT_EQ(circles.size(), 2u);
      if (c.progress) {
        EXPECT_NEAR(circles[1].at("trim")[1].get<double>(), *c.progress, 1e-3);
      }
      EXPECT_EQ(findText(list, c.label)->at("color"), "#FFFFFFFF");
    } else {
      EXPECT_EQ(texts(list), (std::vector<std::string>{c.overNumber, c.overUnit, "over"}));
      ASSERT_EQ(circles.size(), 1u);
      const Json& ring = circles[0];
      EXPECT_NEAR(ring.at("trim")[1].get<double>(), c.ringTrim, 1e-3);
      EXPECT_EQ(ring.at("stroke"), "#FFFFFFFF");
      EXPECT_EQ(ring.at("lineWidth"), 8.0);
      EXPECT_EQ(ring.at("lineCap"), "round");
      const double a = c.ringDegrees * std::numbers::pi / 180;
      EXPECT_NEAR(ring.at("transform")[0].get<double>(), std::cos(a), 1e-3);
      EXPECT_NEAR(ring.at("transform")[1].get<double>(), std::sin(a), 1e-3);
      const auto unit = findText(list, c.overUnit);
      EXPECT_EQ(unit->at("font").at("size"), 10.0);
      EXPECT_EQ(unit->at("font").at("weight"), "medium");
      const auto word = findText(list, "over");
      EXPECT_EQ(word->at("font").at("weight"), "semibold");
      // The word sits below the centre, in the ring's gap; the number above it.
      EXPECT_GT(frameCenter(*word).y, 36);
      EXPECT_LT(frameCenter(*findText(list, c.overNumber)).y, 36);
    }
  }
}

TEST(LockscreenSmallCaloriesDeathTest, UnrepresentableExcessIsFatal) {
  WidgetTestEnvironment env;
  const NutritionEntry entry = RecordBuilder().energy(1e300, 2000).entry();
  EXPECT_DEATH((LockscreenSmallCalories{entry, 20, false}.body()), "Fatal error");
}

struct InlineCase {
  const char* language;
  double eaten;
  double goal;
  int daysAgo;
  bool kilojoules;
  const char* text;
};

TEST(LockscreenInlineCaloriesTest, WorkedExamples) {
  const InlineCase cases[] = {
      {"en", 1200.7, 2000, 0, false, "1200 / 2000 Kcal "},
      {"en", 2250, 2000, 0, false, "250 Kcal over"},
      {"en", 2000, 2000, 0, false, "2000 / 2000 Kcal "},
      {"en", 2000.9, 2000.2, 0, false, "2000 / 2000 Kcal "},
      // Over by the unrounded values: 2001.0 - 2000.2 = 0.8, shown as 0.
      {"en", 2001.0, 2000.2, 0, false, "0 Kcal over"},
      {"en", 1500, 2000, 1, false, "0 / 2000 Kcal "},
      {"en", 5000, 8000, 0, true, "5000 / 8000 kJ "},
      // A stale record can still read as over when the goal is negative.
      {"en", 50, -100, 1, false, "150 Kcal over"},
      {"de", 2250, 2000, 0, false, "250 Kcal über"},
      {"ru", 1200, 2000, 0, false, "1200 / 2000 Ккал "},
  };
  for (const InlineCase& c : cases) {
    SCOPED_TRACE(c.text);
    WidgetTestEnvironment env(c.language);
    const NutritionEntry entry =
        RecordBuilder().energy(c.eaten, c.goal).daysAgo(c.daysAgo).kilojoules(c.kilojoules).entry();
    const LockscreenInlineCalories widget{entry};
    EXPECT_EQ(widget.inlineText(), c.text);
    const Json list = widgetJson(widget.body(), WidgetFamily::accessoryInline);
    EXPECT_EQ(texts(list), std::vector<std::string>{c.text});
    const std::vector<Json> keyhole = images(list, "ic_km_keyhole_16px");
    ASSERT_EQ(keyhole.size(), 1u);
    EXPECT_EQ(keyhole[0].at("tint"), "#03B000FF");
    EXPECT_EQ(widgetURLOf(list), "kalomate://diary-widget-lockscreen_calories_inline");
  }
}

TEST(LockscreenInlineCaloriesDeathTest, UnrepresentableEnergyIsFatal) {
  WidgetTestEnvironment env;
  // Checked whichever day the record belongs to.
  for (auto [eaten, goal, days] : {std::tuple{std::numeric_limits<double>::infinity(), 2000.0, 1},
                                   std::tuple{1e19, 2000.0, 0}, std::tuple{100.0, -1e19, 0}}) {
    const NutritionEntry entry = RecordBuilder().energy(eaten, goal).daysAgo(days).entry();
    EXPECT_DEATH((LockscreenInlineCalories{entry}.inlineText()), "Fatal error");
  }
}

}  // namespace
}  // namespace km
