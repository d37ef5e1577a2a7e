#include "widgets/home/medium_widget.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "platform/foundation/calendar.h"
#include "platform/ui/display_list.h"
#include "widget_support/widget_support.h"

namespace km {
namespace {

using testing::Json;
using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

constexpr const char* kZone = "Europe/Berlin";

Date localNoon(int year, int month, int day) {
  return dateFromLocal(year, month, day, 12, 0, 0, kZone);
}

View historyView(const NutritionEntry& entry) {
  return MediumWidget{entry, 5}.body();
}

bool isGradient(const Json& shape) {
  return shape.contains("fill") && shape["fill"].is_object() &&
         shape["fill"]["type"] == "linearGradient";
}

// The seven bar shapes, left to right (the only gradient-filled shapes of the widget).
std::vector<Json> barShapes(const Json& list) {
  std::vector<Json> bars;
  for (const Json& s : testing::shapes(list, "roundedRectangle")) {
    if (isGradient(s)) bars.push_back(s);
  }
  return bars;
}

// The 16-point day marks behind the weekday letters, left to right.
std::vector<Json> dayMarks(const Json& list) {
  std::vector<Json> marks;
  for (const Json& s : testing::shapes(list, "roundedRectangle")) {
    if (!isGradient(s) && s["frame"][2] == 16 && s["frame"][3] == 16) marks.push_back(s);
  }
  return marks;
}

// The weekday letters: every text but the goal line, which comes first, and the link label.
std::vector<Json> letterTexts(const Json& list) {
  std::vector<Json> all = testing::itemsOfType(list, "text");
  std::vector<Json> letters;
  for (size_t i = 1; i < all.size(); ++i) {
    // The diary link's label is blank.
    const std::string text = all[i].at("text");
    if (text.find_first_not_of(" \n") != std::string::npos) letters.push_back(all[i]);
  }
  return letters;
}

// The goal line as laid out: its frame and the y of its segment, from the display list itself
// (the JSON form does not carry path points).
struct LineGeometry {
  Rect frame;
  double y = 0;
  int count = 0;
};

LineGeometry goalLine(const DisplayList& list) {
  LineGeometry g;
  for (const DisplayItem& item : list.items) {
    const auto* shape = std::get_if<DisplayShape>(&item.content);
    if (!shape || shape->kind != "line") continue;
    ++g.count;
    g.frame = item.frame;
    const auto& elements = shape->path.elements();
    if (!elements.empty()) {
      if (const auto* move = std::get_if<Path::MoveTo>(&elements.front())) g.y = move->to.y;
    }
  }
  return g;
}

double height(const Json& item) {
  return item["frame"][3].get<double>();
}
double bottom(const Json& item) {
  return item["frame"][1].get<double>() + item["frame"][3].get<double>();
}

struct BarCase {
  const char* name;
  std::vector<double> days;
  double goal;
  // Expected heights as shares of the bar area; a negative share means the 2-point minimum.
  std::vector<double> shares;
  // The goal line's depth below the graph's top, as a share of the bar area.
  double lineShare;
};

TEST(MediumWidgetTest, BarHeightsAndGoalLineFollowTheTallerOfGoalAndBestDay) {
  WidgetTestEnvironment env;
  const std::vector<BarCase> cases = {
      {"empty week", {0, 0, 0, 0, 0, 0, 0}, 2000, {-1, -1, -1, -1, -1, -1, -1}, 0},
      {"day above goal",
       {1000, 2500, 0, 500, 2000, 1250, 0},
       2000,
       {0.4, 1, -1, 0.2, 0.8, 0.5, -1},
       0.2},
      {"all under goal",
       {1000, 1500, 500, 0, 0, 0, 2000},
       4000,
       {0.25, 0.375, 0.125, -1, -1, -1, 0.5},
       0},
      {"goal equals best day", {800, 1600, 0, 0, 0, 0, 0}, 1600, {0.5, 1, -1, -1, -1, -1, -1}, 0},
      {"negative and tiny days",
       {-300, 3000, 1, 1500, 0, 0, 0},
       1000,
       {-1, 1, -1, 0.5, -1, -1, -1},
       2.0 / 3},
  };
  for (const BarCase& c : cases) {
    SCOPED_TRACE(c.name);
    const NutritionEntry entry = RecordBuilder().energy(0, c.goal).history(c.days).entry();
    const DisplayList list = testing::layoutWidget(historyView(entry), WidgetFamily::systemMedium);
    const Json json = testing::displayJson(list, WidgetFamily::systemMedium);
    const std::vector<Json> bars = barShapes(json);
    ASSERT_EQ(bars.size(), 7u);
    const LineGeometry line = goalLine(list);
    ASSERT_EQ(line.count, 1);
    // Bars stand on the label band; the graph area starts where the line's frame does.
    const double barArea = bottom(bars[0]) - line.frame.y;
    ASSERT_GT(barArea, 50);
    for (size_t i = 0; i < 7; ++i) {
      SCOPED_TRACE(i);
      EXPECT_NEAR(bottom(bars[i]), bottom(bars[0]), 0.01);
      const double expected = c.shares[i] < 0 ? 2 : barArea * c.shares[i];
      EXPECT_NEAR(height(bars[i]), expected, 0.01);
    }
    EXPECT_NEAR(line.y - line.frame.y, barArea * c.lineShare, 0.01);
    EXPECT_DOUBLE_EQ(line.frame.height, 1);
  }
}

TEST(MediumWidgetTest, EmptyDaysAreFaintAndEatenDaysGreen) {
  WidgetTestEnvironment env;
  const NutritionEntry entry =
      RecordBuilder().energy(0, 2000).history({0, 1200, 0, 0, 0, 0, 300}).entry();
  const std::vector<Json> bars = barShapes(
      testing::widgetJson(historyView(entry), WidgetFamily::systemMedium, ColorScheme::dark));
  ASSERT_EQ(bars.size(), 7u);
  for (size_t i = 0; i < 7; ++i) {
    SCOPED_TRACE(i);
    const Json& stops = bars[i]["fill"]["stops"];
    ASSERT_EQ(stops.size(), 2u);
    EXPECT_EQ(bars[i]["fill"]["startPoint"], Json::array({0.5, 0}));
    EXPECT_EQ(bars[i]["fill"]["endPoint"], Json::array({0.5, 1}));
    if (i == 1 || i == 6) {
      EXPECT_EQ(stops[0]["color"], "#94EBB8FF");
      EXPECT_EQ(stops[1]["color"], "#03B000FF");
    } else {
      EXPECT_EQ(stops[0]["colorName"], "widget-background-tertiary");
      EXPECT_EQ(stops[1]["colorName"], "widget-background-tertiary");
    }
  }
}

struct WeekCase {
  const char* locale;
  Date now;
  std::vector<std::string> letters;
  size_t activeIndex;
};

TEST(MediumWidgetTest, WeekStartsAtTheLocalesFirstWeekdayAndMarksToday) {
  WidgetTestEnvironment env;
  const Date thursday = localNoon(2024, 3, 14);
  const Date sunday = localNoon(2024, 3, 17);
  const std::vector<WeekCase> cases = {
      {"en_US", thursday, {"S", "M", "T", "W", "T", "F", "S"}, 4},
      {"en_US", sunday, {"S", "M", "T", "W", "T", "F", "S"}, 0},
      {"de_DE", thursday, {"M", "D", "M", "D", "F", "S", "S"}, 3},
      {"de_DE", sunday, {"M", "D", "M", "D", "F", "S", "S"}, 6},
      {"en_GB", sunday, {"M", "T", "W", "T", "F", "S", "S"}, 6},
  };
  for (const WeekCase& c : cases) {
    SCOPED_TRACE(std::string(c.locale) + " " + formatISO8601(c.now));
    ScopedLocale locale(c.locale);
    ScopedNow now(c.now);
    const NutritionEntry entry =
        NutritionEntry{c.now, RecordBuilder()
                                  .energy(0, 500)
                                  .history({100, 200, 300, 400, 500, 600, 700})
                                  .date(c.now)
                                  .build()};
    const Json json = testing::widgetJson(historyView(entry), WidgetFamily::systemMedium);
    const std::vector<Json> letters = letterTexts(json);
    const std::vector<Json> marks = dayMarks(json);
    ASSERT_EQ(letters.size(), 7u);
    ASSERT_EQ(marks.size(), 7u);
    for (size_t i = 0; i < 7; ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(letters[i]["text"], c.letters[i]);
      EXPECT_EQ(letters[i]["font"]["size"], 11);
      if (i == c.activeIndex) {
        EXPECT_EQ(letters[i]["color"], "#FFFFFFFF");
        EXPECT_EQ(marks[i]["fillName"], "widget-background-tertiary");
      } else {
        EXPECT_EQ(letters[i]["colorName"], "widget-text-secondary");
        EXPECT_EQ(marks[i]["fill"], "#00000000");
      }
      // Each letter sits centred on its own day mark.
      EXPECT_NEAR(testing::frameCenter(letters[i]).x, testing::frameCenter(marks[i]).x, 0.01);
    }
    // The bars run left to right in the order of the week.
    const std::vector<Json> bars = barShapes(json);
    ASSERT_EQ(bars.size(), 7u);
    for (size_t i = 1; i < 7; ++i)
      EXPECT_GT(height(bars[i]), height(bars[i - 1]));
  }
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

TEST(MediumWidgetTest, StaleWeekDrawsMinimumBarsInTheirUsualColours) {
  WidgetTestEnvironment env;
  const Date monday = localNoon(2024, 3, 11);
  ScopedNow now(monday);
  const NutritionEntry entry{localNoon(2024, 3, 10), RecordBuilder()
                                                         .energy(0, 2000)
                                                         .history({1800, 2200, 0, 0, 0, 0, 900})
                                                         .date(localNoon(2024, 3, 10))
                                                         .build()};
  const DisplayList list = testing::layoutWidget(historyView(entry), WidgetFamily::systemMedium);
  const Json json = testing::displayJson(list, WidgetFamily::systemMedium);
  const std::vector<Json> bars = barShapes(json);
  ASSERT_EQ(bars.size(), 7u);
  for (const Json& bar : bars)
    EXPECT_NEAR(height(bar), 2, 0.001);
  EXPECT_EQ(bars[0]["fill"]["stops"][1]["color"], "#03B000FF");
  EXPECT_EQ(bars[2]["fill"]["stops"][1]["colorName"], "widget-background-tertiary");
  // Goal text, line and letters are unaffected by staleness.
  EXPECT_TRUE(testing::findText(json, "Goal: 2000kcal").has_value());
  const LineGeometry line = goalLine(list);
  EXPECT_EQ(line.count, 1);
  EXPECT_NEAR(line.y - line.frame.y, (bottom(bars[0]) - line.frame.y) * (1 - 2000.0 / 2200), 0.01);
  EXPECT_EQ(letterTexts(json).size(), 7u);
}

struct GoalCase {
  const char* language;
  double goal;
  bool kilojoules;
  const char* text;
};

TEST(MediumWidgetTest, GoalTextTruncatesAndNamesTheUnit) {
  const std::vector<GoalCase> cases = {
      {"en", 2000.9, false, "Goal: 2000kcal"}, {"en", 8400, true, "Goal: 8400kJ"},
      {"en", -0.7, false, "Goal: 0kcal"},      {"de", 1799.99, false, "Ziel: 1799kcal"},
      {"ja", 2000, true, "目標: 2000kJ"},
  };
  for (const GoalCase& c : cases) {
    SCOPED_TRACE(c.text);
    WidgetTestEnvironment env(c.language);
    const NutritionEntry entry = RecordBuilder()
                                     .energy(0, c.goal)
                                     .kilojoules(c.kilojoules)
                                     .history({100, 0, 0, 0, 0, 0, 0})
                                     .entry();
    const Json json = testing::widgetJson(historyView(entry), WidgetFamily::systemMedium);
    const std::vector<Json> all = testing::itemsOfType(json, "text");
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(all.front()["text"], c.text);
    EXPECT_EQ(all.front()["font"]["size"], 11);
    EXPECT_EQ(all.front()["colorName"], "widget-text-secondary");
  }
}

TEST(MediumWidgetTest, LayoutPaddingLineStyleAndLink) {
  WidgetTestEnvironment env;
  const NutritionEntry entry =
      RecordBuilder().energy(0, 2000).history({500, 1000, 1500, 2500, 0, 0, 0}).entry();
  const DisplayList list = testing::layoutWidget(historyView(entry), WidgetFamily::systemMedium);
  const Json json = testing::displayJson(list, WidgetFamily::systemMedium);
  const Size size = familySize(WidgetFamily::systemMedium);

  // The goal text starts at the leading padding, 20 points from the top.
  const Json goal = testing::itemsOfType(json, "text").front();
  EXPECT_NEAR(goal["frame"][0].get<double>(), 8, 0.01);
  EXPECT_NEAR(goal["frame"][1].get<double>(), 20, 0.01);

  // Bars span the padded width with 6 points between them, sharing it equally.
  const std::vector<Json> bars = barShapes(json);
  ASSERT_EQ(bars.size(), 7u);
  EXPECT_NEAR(bars.front()["frame"][0].get<double>(), 8, 0.01);
  const double barWidth = (size.width - 8 - 24 - 6 * 6) / 7;
  for (size_t i = 0; i < 7; ++i) {
    EXPECT_NEAR(bars[i]["frame"][2].get<double>(), barWidth, 0.01);
    EXPECT_NEAR(bars[i]["frame"][0].get<double>(), 8 + i * (barWidth + 6), 0.01);
  }
  // The label band of 27 points ends at the bottom padding.
  EXPECT_NEAR(bottom(bars[0]) + 27, size.height - 10, 0.01);

  const std::vector<Json> lines = testing::shapes(json, "line");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0]["strokeName"], "widget-text-secondary");
  EXPECT_EQ(lines[0]["lineWidth"], 1);
  EXPECT_EQ(lines[0]["miterLimit"], 10);
  EXPECT_EQ(lines[0]["dash"], Json::array({5}));
  EXPECT_EQ(lines[0]["dashPhase"], 0);
  EXPECT_NEAR(lines[0]["frame"][2].get<double>(), size.width - 32, 0.01);

  // Any tap opens the diary from this widget.
  for (Point p : {Point{5, 5}, Point{size.width / 2, size.height / 2},
                  Point{size.width - 3, size.height - 3}}) {
    EXPECT_EQ(urlAt(list, p), "kalomate://diary-widget-medium_history");
  }
  EXPECT_EQ(json["containerBackgroundName"], "widget-background-primary");
}

TEST(MediumWidgetDeathTest, ImpossibleGoalOrShortWeekStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        WidgetTestEnvironment env;
        HistoryBarGraph graph;
        graph.targetAmount = std::numeric_limits<double>::quiet_NaN();
        (void)graph.goalText();
      },
      "Fatal error");
  EXPECT_DEATH(
      {
        WidgetTestEnvironment env;
        HistoryBarGraph graph;
        graph.targetAmount = 1e19;
        (void)graph.goalText();
      },
      "Fatal error");
  EXPECT_DEATH(
      {
        WidgetTestEnvironment env;
        (void)historyView(RecordBuilder().energy(0, 2000).history({1, 2, 3, 4, 5, 6}).entry());
      },
      "Fatal error");
}

}  // namespace
}  // namespace km
