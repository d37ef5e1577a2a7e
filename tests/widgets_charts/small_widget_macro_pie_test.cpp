#include "widgets/home/small_widget_macro_pie.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "components/pie_chart_cell.h"
#include "platform/ui/renderer.h"
#include "widget_support/widget_support.h"
#include "widgets/home/medium_widget_energy_macro_pie.h"
#include "widgets_charts/chart_test_support.h"

namespace km {
namespace {

using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

std::vector<std::string> percentTexts(const testing::Json& json) {
  std::vector<std::string> out;
  for (const std::string& t : testing::texts(json)) {
    if (!t.empty() && t.back() == '%') out.push_back(t);
  }
  return out;
}

struct PieCase {
  const char* name;
  RecordBuilder record;
  // Labels in the order carbohydrate, fat, protein.
  std::vector<std::string> percents;
  // Sweeps of the carbohydrate, fat and protein arcs, degrees (negative: the ring is mirrored).
  double sweeps[3];
};

TEST(SmallWidgetMacroPie, ArcsAndPercentagesFromTheRecord) {
  WidgetTestEnvironment env;
  const PieCase cases[] = {
      {"carbs only", RecordBuilder().carbs(50, 200), {"100%", "0%", "0%"}, {-360, 0, 0}},
      // Fat and protein both exactly 33.5%: each rounds up, carbohydrate takes the rest.
      {"halves",
       RecordBuilder().carbs(16.5, 200).fat(67.0 / 9, 60).protein(16.75, 100),
       {"32%", "34%", "34%"},
       {-118.8, -120.6, -120.6}},
      // Unlike the calorie widget's independent rounding (24/53/24), carbohydrate gives way.
      {"ten ten ten",
       RecordBuilder().carbs(10, 1).fat(10, 1).protein(10, 1),
       {"23%", "53%", "24%"},
       {-40.0 / 170 * 360, -90.0 / 170 * 360, -40.0 / 170 * 360}},
      {"nothing logged", RecordBuilder(), {"0%", "0%", "0%"}, {0, 0, 0}},
      {"yesterday",
       RecordBuilder().carbs(50, 200).fat(20, 60).daysAgo(1),
       {"0%", "0%", "0%"},
       {0, 0, 0}},
  };
  for (const PieCase& c : cases) {
    SCOPED_TRACE(c.name);
    const SmallWidgetMacroPie widget{c.record.entry(), true};
    const DisplayList list = testing::layoutWidget(widget.body(), WidgetFamily::systemSmall);
    const testing::Json json = testing::displayJson(list, WidgetFamily::systemSmall);
    EXPECT_EQ(percentTexts(json), c.percents);

    const auto cells = testing::shapeItems(list, "pieChartCell");
    ASSERT_EQ(cells.size(), 4u);
    // The track is a full turn under everything.
    EXPECT_NEAR(std::fabs(testing::firstArc(*cells[0]).sweepDegrees), 360, 1e-9);
    double start = 0;
    for (int i = 0; i < 3; ++i) {
      const auto& shape = std::get<DisplayShape>(cells[static_cast<std::size_t>(i) + 1]->content);
      if (c.sweeps[i] == 0) {
        EXPECT_FALSE(shape.path.elements().size() > 1 &&
                     std::holds_alternative<Path::Arc>(shape.path.elements()[1]) &&
                     std::get<Path::Arc>(shape.path.elements()[1]).sweep != 0)
            << "arc " << i << " should be empty";
        continue;
      }
      const testing::DrawnArc arc = testing::firstArc(*cells[static_cast<std::size_t>(i) + 1]);
      EXPECT_NEAR(arc.sweepDegrees, c.sweeps[i], 1e-9) << "arc " << i;
      EXPECT_NEAR(arc.startDegrees, start, 1e-9) << "arc " << i;
      start += c.sweeps[i];
    }
  }
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

// On screen the arcs start at twelve o'clock and run clockwise: carbohydrate 25% of the energy
// spans 0–90 degrees of the clock face, protein the remaining 90–360.
TEST(SmallWidgetMacroPie, ArcsRunClockwiseFromTwelveOnScreen) {
  WidgetTestEnvironment env;
  const SmallWidgetMacroPie widget{RecordBuilder().carbs(25, 1).protein(75, 1).entry(), true};
  const DisplayList list = testing::layoutWidget(widget.body(), WidgetFamily::systemSmall);
  const auto cells = testing::shapeItems(list, "pieChartCell");
  ASSERT_EQ(cells.size(), 4u);
  const testing::DrawnArc carbs = testing::firstArc(*cells[1]);
  EXPECT_NEAR(testing::screenClockDegrees(*cells[1], carbs, carbs.startDegrees), 0, 1e-6);
  EXPECT_NEAR(
      testing::screenClockDegrees(*cells[1], carbs, carbs.startDegrees + carbs.sweepDegrees / 2),
      45, 1e-6);
  const testing::DrawnArc protein = testing::firstArc(*cells[3]);
  EXPECT_NEAR(testing::screenClockDegrees(*cells[3], protein,
                                          protein.startDegrees + protein.sweepDegrees / 2),
              225, 1e-6);

  // And in pixels: right of twelve o'clock is carbohydrate blue, left of it protein red.
  RenderOptions options;
  options.scale = 1;
  options.assets = &testing::bundleAssets();
  const RasterImage image = renderImage(list, options);
  const Size size = list.size;
  const double cx = size.width / 2, cy = size.height / 2;
  const double r = std::min(size.width, size.height) / 2 - 20;  // mid-ring
  const auto right =
      image.pixel(static_cast<int>(cx + r * 0.7071), static_cast<int>(cy - r * 0.7071));
  const auto left =
      image.pixel(static_cast<int>(cx - r * 0.7071), static_cast<int>(cy - r * 0.7071));
  EXPECT_EQ(right[0], 0x75);
  EXPECT_EQ(right[1], 0xC3);
  EXPECT_EQ(right[2], 0xDB);
  EXPECT_EQ(left[0], 0xF4);
  EXPECT_EQ(left[1], 0x88);
  EXPECT_EQ(left[2], 0x81);
}

TEST(SmallWidgetMacroPie, LabelsColoursAndTexts) {
  WidgetTestEnvironment env;
  const SmallWidgetMacroPie widget{RecordBuilder().carbs(10, 1).fat(10, 1).protein(10, 1).entry(),
                                   true};
  const testing::Json json = testing::widgetJson(widget.body(), WidgetFamily::systemSmall);
  for (const char* name : {"Carbs", "Fat", "Protein"})
    EXPECT_TRUE(testing::findText(json, name)) << name;
  // Label bars: 2.5 by 12, in carbohydrate, fat and protein colours.
  std::vector<std::string> barColours;
  for (const testing::Json& s : testing::shapes(json, "roundedRectangle")) {
    if (s["frame"][2] == 2.5 && s["frame"][3] == 12) barColours.push_back(s["fill"]);
  }
  EXPECT_EQ(barColours, (std::vector<std::string>{"#75C3DBFF", "#F9C54AFF", "#F48881FF"}));
  // Track and hole take the appearance's colours.
  const auto circles = testing::shapes(json, "circle");
  ASSERT_EQ(circles.size(), 1u);
  EXPECT_EQ(circles[0]["fillName"], "widget-background-primary");
}

TEST(SmallWidgetMacroPie, LinkCoversTheWidgetOnlyWhenAsked) {
  WidgetTestEnvironment env;
  const NutritionEntry entry = RecordBuilder().carbs(10, 1).entry();
  const testing::Json linked =
      testing::widgetJson(SmallWidgetMacroPie{entry, true}.body(), WidgetFamily::systemSmall);
  const auto items = testing::itemsOfType(linked, "link");
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0]["url"], "kalomate://diary-widget-medium_pie_macros");
  EXPECT_EQ(items[0]["frame"][2], linked["size"]["width"]);
  EXPECT_EQ(items[0]["frame"][3], linked["size"]["height"]);
  EXPECT_TRUE(linked["widgetURL"].is_null());

  const testing::Json unlinked =
      testing::widgetJson(SmallWidgetMacroPie{entry, false}.body(), WidgetFamily::systemSmall);
  // Embedded, the pie lays only the unnamed region and leaves the diary link to its host.
  EXPECT_EQ(testing::links(unlinked), std::vector<std::string>{"kalomate://diary-widget-"});
}

}  // namespace
}  // namespace km

namespace km {
namespace {

// The medium widget: energy on the left, pie on the right, the same entry in both, and no
// whole-widget tap URL (the energy half is embedded with its link blocked).
TEST(MediumWidgetEnergyMacroPie, HalvesShowTheSameEntrySideBySide) {
  testing::WidgetTestEnvironment env;
  struct Case {
    const char* name;
    testing::RecordBuilder record;
    const char* energyText;
    const char* carbsPercent;
  };
  const Case cases[] = {
      {"today", testing::RecordBuilder().energy(1200, 2000).carbs(100, 1), "800", "100%"},
      {"yesterday", testing::RecordBuilder().energy(1200, 2000).carbs(100, 1).daysAgo(1), "2000",
       "0%"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const testing::Json json = testing::widgetJson(
        MediumWidgetEnergyMacroPie{c.record.entry()}.body(), WidgetFamily::systemMedium);
    EXPECT_TRUE(json["widgetURL"].is_null());
    const double middle = json["size"]["width"].get<double>() / 2;
    const auto energy = testing::findText(json, c.energyText);
    const auto carbs = testing::findText(json, "Carbs");
    const auto percent = testing::findText(json, c.carbsPercent);
    ASSERT_TRUE(energy && carbs && percent);
    EXPECT_LT(testing::frameCenter(*energy).x, middle);
    EXPECT_GT(testing::frameCenter(*carbs).x, middle);
    EXPECT_GT(testing::frameCenter(*percent).x, middle);
  }
}

}  // namespace
}  // namespace km
