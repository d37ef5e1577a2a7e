#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "platform/ui/display_list.h"
#include "platform/ui/layout.h"
#include "widget_support/widget_support.h"
#include "widgets/home/medium_widget_energy_macro_bars.h"
#include "widgets/home/small_widget_macros.h"

namespace km {
namespace {

using testing::frameAt;
using testing::Json;
using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

// The "!" badges of the nutrient bars.
size_t badgeCount(const Json& list) {
  const std::vector<std::string> all = testing::texts(list);
  return static_cast<size_t>(std::count(all.begin(), all.end(), "!"));
}

TEST(SmallWidgetMacros, ShowsEachNutrientAgainstItsGoal) {
  WidgetTestEnvironment env;
  struct Case {
    std::string what;
    RecordBuilder record;
    std::vector<std::string> amounts;  // carbs, fat, protein
    size_t badges;
  };
  const Case cases[] = {
      {"typical day",
       RecordBuilder().carbs(120.7, 250).fat(45, 70).protein(60, 90),
       {"120/250 g", "45/70 g", "60/90 g"},
       0},
      {"fat over its goal",
       RecordBuilder().carbs(100, 250).fat(80, 70).protein(60, 90),
       {"100/250 g", "80/70 g", "60/90 g"},
       1},
      {"a fraction over looks equal but is flagged",
       RecordBuilder().carbs(250.4, 250).fat(70, 70).protein(90.9, 90),
       {"250/250 g", "70/70 g", "90/90 g"},
       2},
      // No same-day test: an old record's amounts still show.
      {"record of three days ago",
       RecordBuilder().daysAgo(3).carbs(30, 200).fat(5, 60).protein(7, 80),
       {"30/200 g", "5/60 g", "7/80 g"},
       0},
      {"nothing planned, nothing eaten", RecordBuilder(), {"0/0 g", "0/0 g", "0/0 g"}, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const Json list = testing::widgetJson(SmallWidgetMacros{c.record.entry(), true}.body(),
                                          WidgetFamily::systemSmall);
    // Names and amounts row by row, top to bottom, each amount level with its name.
    const char* names[] = {"Carbs", "Fat", "Protein"};
    std::vector<Json> nameItems, amountItems;
    for (const Json& t : testing::itemsOfType(list, "text")) {
      const std::string text = t.at("text");
      if (std::find(std::begin(names), std::end(names), text) != std::end(names)) {
        nameItems.push_back(t);
      } else if (text.find('/') != std::string::npos) {
        amountItems.push_back(t);
      }
    }
    ASSERT_EQ(nameItems.size(), 3u) << list.dump();
    ASSERT_EQ(amountItems.size(), 3u) << list.dump();
    std::vector<double> rows;
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(nameItems[i].at("text"), names[i]);
      EXPECT_EQ(amountItems[i].at("text"), c.amounts[i]);
      EXPECT_NEAR(testing::frameCenter(nameItems[i]).y, testing::frameCenter(amountItems[i]).y,
                  1.0);
      rows.push_back(testing::frameCenter(nameItems[i]).y);
    }
    EXPECT_LT(rows[0], rows[1]);
    EXPECT_LT(rows[1], rows[2]);
    EXPECT_EQ(badgeCount(list), c.badges);
    EXPECT_EQ(testing::links(list),
              std::vector<std::string>{"kalomate://diary-widget-medium_pie_macros"});
    EXPECT_FALSE(testing::widgetURLOf(list));
  }
}

TEST(SmallWidgetMacros, BarsFadeInFromTheirNutrientColourAndFillByProgress) {
  WidgetTestEnvironment env;
  const NutritionEntry entry =
      RecordBuilder().carbs(125, 250).fat(80, 70).protein(22.5, 90).entry();
  const Json list =
      testing::widgetJson(SmallWidgetMacros{entry, true}.body(), WidgetFamily::systemSmall);
  struct Bar {
    std::string colour;
    double fraction;
  };
  const Bar expected[] = {{"75C3DB", 0.5}, {"F9C54A", 1}, {"F48881", 0.25}};
  std::vector<Json> tracks, fills;
  for (const Json& s : testing::shapes(list, "roundedRectangle")) {
    if (frameAt(s, 3) != 6) continue;
    (s.at("fill").is_object() ? fills : tracks).push_back(s);
  }
  ASSERT_EQ(tracks.size(), 3u);
  ASSERT_EQ(fills.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    SCOPED_TRACE(expected[i].colour);
    const Json& stops = fills[i].at("fill").at("stops");
    ASSERT_EQ(stops.size(), 2u);
    EXPECT_EQ(stops.at(0).at("color"), "#" + expected[i].colour + "4D");
    EXPECT_EQ(stops.at(1).at("color"), "#" + expected[i].colour + "FF");
    EXPECT_EQ(tracks[i].at("fillName"), "widget-background-light");
    EXPECT_NEAR(frameAt(fills[i], 2), expected[i].fraction * frameAt(tracks[i], 2), 0.01);
    // 14 points in from each side of the widget.
    EXPECT_NEAR(frameAt(tracks[i], 0), 14, 0.01);
    EXPECT_NEAR(frameAt(tracks[i], 0) + frameAt(tracks[i], 2),
                list.at("size").at("width").get<double>() - 14, 0.01);
  }
}

TEST(SmallWidgetMacros, LinkCoversTheWholeWidgetOnlyWhenAsked) {
  WidgetTestEnvironment env;
  const NutritionEntry entry = RecordBuilder().carbs(10, 100).entry();
  const DisplayList withLink =
      testing::layoutWidget(SmallWidgetMacros{entry, true}.body(), WidgetFamily::systemSmall);
  const Size size = withLink.size;
  // The region is the widget's own size. The bars column is a little taller than a small
  // widget, so the region sits a few points low; points well inside the corners all open it.
  const std::vector<Json> regions =
      testing::itemsOfType(testing::displayJson(withLink, WidgetFamily::systemSmall), "link");
  ASSERT_EQ(regions.size(), 1u);
  EXPECT_DOUBLE_EQ(regions[0].at("frame").at(2).get<double>(), size.width);
  EXPECT_DOUBLE_EQ(regions[0].at("frame").at(3).get<double>(), size.height);
  for (const Point p : {Point{8, 8}, Point{size.width / 2, size.height / 2},
                        Point{size.width - 8, size.height - 8}}) {
    EXPECT_EQ(urlAt(withLink, p), "kalomate://diary-widget-medium_pie_macros") << p.x << "," << p.y;
  }
  const DisplayList without =
      testing::layoutWidget(SmallWidgetMacros{entry, false}.body(), WidgetFamily::systemSmall);
  EXPECT_FALSE(urlAt(without, {size.width / 2, size.height / 2}));
}

TEST(MediumWidgetEnergyMacroBars, EnergyHalfAndBarsHalfWithTheBarsLink) {
  WidgetTestEnvironment env;
  const NutritionEntry entry =
      RecordBuilder().energy(2300, 2000).carbs(100, 250).fat(80, 70).protein(60, 90).entry();
  const DisplayList list =
      testing::layoutWidget(MediumWidgetEnergyMacroBars{entry}.body(), WidgetFamily::systemMedium);
  const Json json = testing::displayJson(list, WidgetFamily::systemMedium);
  EXPECT_FALSE(testing::widgetURLOf(json));
  const std::optional<Json> excess = testing::findText(json, "300");
  const std::optional<Json> fat = testing::findText(json, "80/70 g");
  ASSERT_TRUE(excess && fat) << json.dump();
  const double width = list.size.width;
  EXPECT_LT(testing::frameCenter(*excess).x, width / 2);
  EXPECT_GT(testing::frameCenter(*fat).x, width / 2);
  EXPECT_EQ(badgeCount(json), 1u);
  EXPECT_EQ(urlAt(list, testing::frameCenter(*fat)), "kalomate://diary-widget-medium_pie_macros");
  EXPECT_FALSE(urlAt(list, testing::frameCenter(*excess)));
}

}  // namespace
}  // namespace km
