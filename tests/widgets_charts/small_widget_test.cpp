#include "widgets/home/small_widget.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "model/extension_log.h"
#include "widget_support/widget_support.h"
#include "widgets_charts/chart_test_support.h"

namespace km {
namespace {

using testing::Json;
using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

struct Drawn {
  DisplayList list;
  Json json;
  std::string log;
};

Drawn draw(const RecordBuilder& record) {
  std::ostringstream log;
  ScopedExtensionLog capture(log);
  Drawn d;
  d.list = testing::layoutWidget(SmallWidget{record.entry()}.body(), WidgetFamily::systemSmall);
  d.json = testing::displayJson(d.list, WidgetFamily::systemSmall);
  d.log = log.str();
  return d;
}

// The progress bar's fill over its track: the two 6-point-high rounded rectangles.
double barFraction(const Json& json) {
  std::vector<double> widths;
  for (const Json& s : testing::shapes(json, "roundedRectangle")) {
    if (s["frame"][3] == 6) widths.push_back(s["frame"][2]);
  }
  if (widths.size() != 2) {
    ADD_FAILURE() << "expected a track and a fill, found " << widths.size();
    return -1;
  }
  return widths[1] / widths[0];
}

struct Case {
  const char* name;
  RecordBuilder record;
  std::string eaten, goal;
  double bar;
  // Percent texts in the order carbohydrate, fat, protein.
  std::vector<std::string> percents;
  // Donut slice colours (hex, light appearance) and sweeps in degrees.
  std::vector<std::string> sliceColours;
  std::vector<double> sweeps;
};

TEST(SmallWidget, NumbersBarDonutAndLabels) {
  WidgetTestEnvironment env;
  const std::string grey = "widget-background-tertiary";
  const Case cases[] = {
      {"yesterday",
       RecordBuilder().energy(1500, 2000).carbs(10, 1).fat(10, 1).daysAgo(1),
       "0",
       "/2000",
       0,
       {"0% ", "0% ", "0% "},
       {grey, grey},
       {180, 180}},
      {"nothing logged",
       RecordBuilder().energy(800, 2000),
       "800",
       "/2000",
       0.4,
       {"0% ", "0% ", "0% "},
       {grey, grey},
       {180, 180}},
      {"over goal",
       RecordBuilder().energy(2500, 2000).protein(10, 1),
       "2500",
       "/2000",
       1,
       {"0% ", "0% ", "100% "},
       {"#75C3DBFF", "#F9C54AFF", "#F48881FF"},
       {0, 0, 360}},
      {"goal zero",
       RecordBuilder().energy(500, 0).carbs(5, 1),
       "500",
       "/0",
       1,
       {"100% ", "0% ", "0% "},
       {"#75C3DBFF", "#F9C54AFF", "#F48881FF"},
       {360, 0, 0}},
      {"truncated",
       RecordBuilder().energy(1999.9, 2000.7),
       "1999",
       "/2000",
       1999.9 / 2000.7,
       {"0% ", "0% ", "0% "},
       {grey, grey},
       {180, 180}},
      {"ten ten ten",
       RecordBuilder().energy(170, 2000).carbs(10, 1).fat(10, 1).protein(10, 1),
       "170",
       "/2000",
       0.085,
       {"24% ", "53% ", "24% "},
       {"#75C3DBFF", "#F9C54AFF", "#F48881FF"},
       {40.0 / 170 * 360, 90.0 / 170 * 360, 40.0 / 170 * 360}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Drawn d = draw(c.record);
    const std::vector<std::string> all = testing::texts(d.json);
    ASSERT_GE(all.size(), 3u);
    EXPECT_EQ(all[0], "Calories");
    EXPECT_EQ(all[1], c.eaten);
    EXPECT_EQ(all[2], c.goal);
    EXPECT_NEAR(barFraction(d.json), c.bar, 1e-3);

    std::vector<std::string> percents;
    for (const std::string& t : all) {
      if (t.size() > 1 && t.substr(t.size() - 2) == "% ") percents.push_back(t);
    }
    EXPECT_EQ(percents, c.percents);

    const auto slices = testing::shapeItems(d.list, "pieChartCell");
    ASSERT_EQ(slices.size(), c.sliceColours.size());
    const Json jsonSlices = testing::shapes(d.json, "pieChartCell");
    for (std::size_t i = 0; i < slices.size(); ++i) {
      const Json& s = jsonSlices[i];
      EXPECT_EQ(
          s.contains("fillName") ? s["fillName"].get<std::string>() : s["fill"].get<std::string>(),
          c.sliceColours[i])
          << "slice " << i;
      if (c.sweeps[i] != 0) {
        EXPECT_NEAR(-testing::firstArc(*slices[i]).sweepDegrees, c.sweeps[i], 1e-9)
            << "slice " << i;
      }
    }
    // One debug line per slice, the last at a full turn.
    std::istringstream lines(d.log);
    std::vector<double> ends;
    for (std::string line; std::getline(lines, line);)
      ends.push_back(std::stod(line));
    ASSERT_EQ(ends.size(), c.sliceColours.size());
    EXPECT_NEAR(ends.back(), 360, 1e-9);
  }
}

TEST(SmallWidget, DonutStartsAtTwelveAndHasABackgroundHole) {
  WidgetTestEnvironment env;
  const Drawn d = draw(RecordBuilder().carbs(25, 1).protein(75, 1));
  const auto slices = testing::shapeItems(d.list, "pieChartCell");
  ASSERT_EQ(slices.size(), 3u);
  // The carbohydrate slice (first) spans the first quarter of the clock face.
  const testing::DrawnArc carbs = testing::firstArc(*slices[0]);
  const double startOnClock = testing::screenClockDegrees(*slices[0], carbs, carbs.startDegrees);
  const double endOnClock =
      testing::screenClockDegrees(*slices[0], carbs, carbs.startDegrees + carbs.sweepDegrees);
  EXPECT_NEAR(startOnClock, 90, 1e-6);
  EXPECT_NEAR(endOnClock, 0, 1e-6);
  const auto holes = testing::shapeItems(d.list, "innerCircle");
  ASSERT_EQ(holes.size(), 1u);
  EXPECT_NEAR(testing::firstArc(*holes[0]).radius, 0.45 * carbs.radius, 1e-9);
}

TEST(SmallWidget, UnitLabelFollowsTheRecordInEveryLanguage) {
  struct Case {
    const char* language;
    bool kilojoules;
    const char* unit;
    const char* carbs;
  };
  const Case cases[] = {
      {"en", false, "Calories", "Carbs:"},
      {"en", true, "Kilojoules", "Carbs:"},
      {"ja", false, "カロリー", "炭水化物:"},
      {"ar", true, "كيلوجول", "كربوهيدرات:"},
  };
  for (const Case& c : cases) {
    WidgetTestEnvironment env(c.language);
    const Drawn d = draw(RecordBuilder().energy(8368, 8400).kilojoules(c.kilojoules));
    const auto all = testing::texts(d.json);
    ASSERT_GE(all.size(), 4u);
    EXPECT_EQ(all[0], c.unit) << c.language;
    EXPECT_EQ(all[1], "8368") << "energies are never converted";
    EXPECT_TRUE(testing::findText(d.json, c.carbs)) << c.language;
  }
}

TEST(SmallWidget, NaNProgressPassesThroughAndNonFiniteEnergyIsFatal) {
  WidgetTestEnvironment env;
  const NutritionEntry entry = RecordBuilder().energy(0, 0).entry();
  const SmallWidget::CalorieView view{0, 0, false, entry.nutrition.currentDate};
  EXPECT_TRUE(std::isnan(view.progress()));
  const SmallWidget::CalorieView infinite{INFINITY, 2000, false, entry.nutrition.currentDate};
  EXPECT_DEATH((void)infinite.eatenText(), "Fatal error");
}

}  // namespace
}  // namespace km
