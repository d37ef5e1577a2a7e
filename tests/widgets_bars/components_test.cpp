#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "components/button.h"
#include "components/loading_bar.h"
#include "components/nutrient_progress_bar.h"
#include "widget_support/widget_support.h"

namespace km {
namespace {

using testing::componentJson;
using testing::frameAt;
using testing::Json;

const Color kCarbs = Color::sRGB(0x75 / 255.0, 0xC3 / 255.0, 0xDB / 255.0);

TEST(LoadingBar, FillWidthIsTheClampedProgressOfTheOfferedWidth) {
  struct Case {
    double progress;
    double fillWidth;
  };
  const Case cases[] = {{-0.5, 0}, {0, 0}, {0.5, 100}, {0.25, 50}, {1, 200}, {7, 200}};
  for (const Case& c : cases) {
    SCOPED_TRACE("progress " + std::to_string(c.progress));
    const Json list = componentJson(
        LoadingBar{{kCarbs}, Color::named("widget-background-light"), c.progress}.body(),
        {200, 40});
    const std::vector<Json> bars = testing::shapes(list, "roundedRectangle");
    ASSERT_EQ(bars.size(), 2u);
    // The track spans the width, 6 points high; the fill starts at the leading edge.
    EXPECT_DOUBLE_EQ(frameAt(bars[0], 2), 200);
    EXPECT_DOUBLE_EQ(frameAt(bars[0], 3), 6);
    EXPECT_EQ(bars[0].at("fillName"), "widget-background-light");
    EXPECT_DOUBLE_EQ(frameAt(bars[1], 0), frameAt(bars[0], 0));
    EXPECT_DOUBLE_EQ(frameAt(bars[1], 2), c.fillWidth);
    EXPECT_DOUBLE_EQ(frameAt(bars[1], 3), 6);
  }
}

TEST(LoadingBar, GradientRunsLeadingToTrailingThroughTheGivenColours) {
  struct Case {
    std::vector<Color> colours;
    std::vector<std::string> stops;
  };
  const Case cases[] = {
      {{kCarbs}, {"#75C3DBFF"}},
      {{kCarbs.opacity(0.3), kCarbs}, {"#75C3DB4D", "#75C3DBFF"}},
  };
  for (const Case& c : cases) {
    const Json list = componentJson(LoadingBar{c.colours, Color::white(), 0.5}.body(), {100, 6});
    const Json fill = testing::shapes(list, "roundedRectangle").at(1).at("fill");
    EXPECT_EQ(fill.at("type"), "linearGradient");
    EXPECT_EQ(fill.at("startPoint"), Json::array({0, 0.5}));
    EXPECT_EQ(fill.at("endPoint"), Json::array({1, 0.5}));
    ASSERT_EQ(fill.at("stops").size(), c.stops.size());
    for (size_t i = 0; i < c.stops.size(); ++i) {
      EXPECT_EQ(fill.at("stops").at(i).at("color"), c.stops[i]) << "stop " << i;
    }
  }
}

TEST(NutrientProgressBar, AmountsBadgeAndFill) {
  struct Case {
    double current;
    double total;
    std::string amounts;
    bool badge;
    double fillFraction;
  };
  const Case cases[] = {
      {45, 60, "45/60 g", false, 0.75},
      // Over the goal before truncation: the numbers look equal but the badge tells.
      {60.9, 60, "60/60 g", true, 1},
      {60, 60, "60/60 g", false, 1},
      {59.9, 60, "59/60 g", false, 59.9 / 60},
      {80, 70, "80/70 g", true, 1},
      // A goal of 0 with something eaten: infinite progress, a full bar.
      {10, 0, "10/0 g", true, 1},
      {-3.7, 10, "-3/10 g", false, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.amounts);
    const Json list = componentJson(
        NutrientProgressBar{{kCarbs}, "Fat", c.current, c.total, "g"}.body(), {150, 60});
    const std::optional<Json> amounts = testing::findText(list, c.amounts);
    ASSERT_TRUE(amounts) << list.dump();
    EXPECT_DOUBLE_EQ(amounts->at("font").at("size"), 14);
    const std::optional<Json> name = testing::findText(list, "Fat");
    ASSERT_TRUE(name);
    // The amounts sit at the trailing end of the row, the name at the leading end.
    EXPECT_NEAR(frameAt(*amounts, 0) + frameAt(*amounts, 2), 150, 0.01);
    EXPECT_NEAR(frameAt(*name, 0), 0, 0.01);

    const std::optional<Json> mark = testing::findText(list, "!");
    std::vector<Json> badges;
    for (const Json& s : testing::shapes(list, "roundedRectangle")) {
      if (s.at("fill").is_string() && s.at("fill") == "#DE7300FF") badges.push_back(s);
    }
    EXPECT_EQ(mark.has_value(), c.badge);
    ASSERT_EQ(badges.size(), c.badge ? 1u : 0u);
    if (c.badge) {
      EXPECT_DOUBLE_EQ(frameAt(badges[0], 2), 15);
      EXPECT_DOUBLE_EQ(frameAt(badges[0], 3), 15);
      EXPECT_EQ(mark->at("color"), "#FFFFFFFF");
      EXPECT_EQ(mark->at("font").at("weight"), "bold");
      // Right after the name, 3 points clear of what follows.
      EXPECT_NEAR(frameAt(badges[0], 0), frameAt(*name, 0) + frameAt(*name, 2), 0.01);
    }

    // The bar under the row: track then fill, the fill a fraction of the track.
    std::vector<Json> bar;
    for (const Json& s : testing::shapes(list, "roundedRectangle")) {
      if (frameAt(s, 3) == 6) bar.push_back(s);
    }
    ASSERT_EQ(bar.size(), 2u);
    EXPECT_EQ(bar[0].at("fillName"), "widget-background-light");
    EXPECT_NEAR(frameAt(bar[1], 2), c.fillFraction * frameAt(bar[0], 2), 0.01);
    EXPECT_GT(frameAt(bar[0], 1), frameAt(*amounts, 1) + frameAt(*amounts, 3));
  }
}

TEST(NutrientProgressBarDeathTest, NonFiniteAmountStopsTheProcess) {
  const double values[] = {std::nan(""), INFINITY, 1e300};
  for (double v : values) {
    EXPECT_DEATH(NutrientProgressBar({{kCarbs}, "Fat", v, 60, "g"}).body(), "Fatal error");
    EXPECT_DEATH(NutrientProgressBar({{kCarbs}, "Fat", 10, v, "g"}).body(), "Fatal error");
  }
}

TEST(Button, IconIsFortyPercentOfEachSideAndTheLinkReachesFivePointsFurther) {
  struct Case {
    Size tile;
    std::string icon;
    std::string link;
  };
  const Case cases[] = {
      {{60, 60}, "ic_add_meal_24px", "addFood"},
      {{100, 50}, "ic_barcode_24px", "barcodeScan"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.link);
    const Json list = componentJson(Button{c.icon, c.link}.body(), c.tile);
    const std::vector<Json> icons = testing::images(list, c.icon);
    ASSERT_EQ(icons.size(), 1u);
    EXPECT_NEAR(frameAt(icons[0], 2), 0.4 * c.tile.width, 0.001);
    EXPECT_NEAR(frameAt(icons[0], 3), 0.4 * c.tile.height, 0.001);
    EXPECT_EQ(icons[0].at("tintName"), "widget-text-secondary");

    const std::vector<Json> tiles = testing::shapes(list, "roundedRectangle");
    ASSERT_EQ(tiles.size(), 1u);
    EXPECT_EQ(tiles[0].at("fillName"), "widget-background-secondary");
    EXPECT_NEAR(frameAt(tiles[0], 2), c.tile.width, 0.001);
    EXPECT_NEAR(frameAt(tiles[0], 3), c.tile.height, 0.001);
    ASSERT_EQ(tiles[0].at("shadows").size(), 2u);
    EXPECT_EQ(tiles[0].at("shadows").at(0).at("colorName"), "widget-shadow");
    // Icon centred on the tile.
    const Point tileCentre = testing::frameCenter(tiles[0]);
    const Point iconCentre = testing::frameCenter(icons[0]);
    EXPECT_NEAR(iconCentre.x, tileCentre.x, 0.001);
    EXPECT_NEAR(iconCentre.y, tileCentre.y, 0.001);

    const std::vector<Json> regions = testing::itemsOfType(list, "link");
    ASSERT_EQ(regions.size(), 1u);
    EXPECT_EQ(regions[0].at("url"), "kalomate://" + c.link + "-widget-medium_buttons");
    EXPECT_NEAR(frameAt(regions[0], 2), c.tile.width, 0.001);
    EXPECT_NEAR(frameAt(regions[0], 3), c.tile.height + 5, 0.001);
    // The label that sizes the link never shows.
    for (const Json& t : testing::itemsOfType(list, "text"))
      EXPECT_EQ(t.at("color"), "#00000000");
  }
}

TEST(ButtonDeathTest, DestinationThatIsNoURLStopsTheProcess) {
  EXPECT_DEATH(Button({"ic_add_meal_24px", "add food"}).body(), "Fatal error");
}

}  // namespace
}  // namespace km
