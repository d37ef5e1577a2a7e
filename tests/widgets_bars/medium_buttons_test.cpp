#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/ui/display_list.h"
#include "widget_support/widget_support.h"
#include "widgets/home/medium_widget_energy_buttons.h"

namespace km {
namespace {

using testing::Json;
using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

TEST(MediumWidgetEnergyButtons, FourButtonsOpenTheirActionsAndTheEnergyHalfNoLink) {
  WidgetTestEnvironment env;
  const NutritionEntry entry = RecordBuilder().energy(1500, 2000).entry();
  const DisplayList list =
      testing::layoutWidget(MediumWidgetEnergyButtons{entry}.body(), WidgetFamily::systemMedium);
  const Json json = testing::displayJson(list, WidgetFamily::systemMedium);
  EXPECT_FALSE(testing::widgetURLOf(json));

  struct Tile {
    std::string icon;
    std::string url;
  };
  // Left column top and bottom, then right column top and bottom.
  const Tile tiles[] = {
      {"ic_add_meal_24px", "kalomate://addFood-widget-medium_buttons"},
      {"ic_add_exercise_24px", "kalomate://exercise-widget-medium_buttons"},
      {"ic_barcode_24px", "kalomate://barcodeScan-widget-medium_buttons"},
      {"ic_weight_24px", "kalomate://weighIn-widget-medium_buttons"},
  };
  std::vector<Point> centres;
  for (const Tile& t : tiles) {
    const std::vector<Json> icon = testing::images(json, t.icon);
    ASSERT_EQ(icon.size(), 1u) << t.icon;
    centres.push_back(testing::frameCenter(icon[0]));
    // A tap on the icon opens that button's action.
    EXPECT_EQ(urlAt(list, centres.back()), t.url);
  }
  EXPECT_NEAR(centres[0].x, centres[1].x, 0.01);
  EXPECT_LT(centres[0].y, centres[1].y);
  EXPECT_NEAR(centres[2].x, centres[3].x, 0.01);
  EXPECT_LT(centres[0].x, centres[2].x);
  EXPECT_NEAR(centres[0].y, centres[2].y, 0.01);
  // The energy ring sits left of every button and its figures show.
  EXPECT_TRUE(testing::findText(json, "500"));
  const std::optional<Json> left = testing::findText(json, "500");
  EXPECT_LT(testing::frameCenter(*left).x, centres[0].x);
  // The ring half opens nothing: its own link is blocked.
  EXPECT_FALSE(urlAt(list, testing::frameCenter(*left)));
}

}  // namespace
}  // namespace km
