#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "host/km_widget_entry_view.h"
#include "platform/ui/layout.h"
#include "widget_support/widget_support.h"
#include "widgets/lockscreen/lockscreen_small_button.h"

namespace km {
namespace {

using testing::Json;
using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

double frameAt(const Json& item, int index) {
  return item.at("frame").at(index).get<double>();
}

// The link itself is checked through the entry view below.
TEST(LockscreenSmallButton, IconTakesAtMostHalfTheBackdropFrom16) {
  struct Case {
    int platform;
    bool backdrop;
    double iconFraction;
  };
  const Case cases[] = {{16, true, 0.5}, {17, true, 0.5}, {15, false, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.platform);
    WidgetTestEnvironment env("en", c.platform);
    const View view =
        LockscreenSmallButton{RecordBuilder().entry(), "ic_add_meal_24px", "addFood"}.body();
    const Json list = testing::displayJson(layout(view, {72, 72}, {&testing::bundleAssets()}),
                                           WidgetFamily::accessoryCircular);
    const Json icon = testing::images(list, "ic_add_meal_24px").at(0);
    EXPECT_NEAR(frameAt(icon, 2), 72 * c.iconFraction, 0.01);
    EXPECT_NEAR(frameAt(icon, 3), 72 * c.iconFraction, 0.01);
    const Point centre = testing::frameCenter(icon);
    EXPECT_NEAR(centre.x, 36, 0.01);
    EXPECT_NEAR(centre.y, 36, 0.01);
    EXPECT_EQ(testing::shapes(list, "accessoryWidgetBackground").size(), c.backdrop ? 1u : 0u)
        << list.dump();
    EXPECT_EQ(icon.at("tint"), "#FFFFFFFF");
    EXPECT_EQ(icon.value("accentable", false), c.platform >= 16);
    EXPECT_EQ(list.at("containerBackground").is_null(), c.platform < 17);
  }
}

// What the entry view draws for the button and bar kinds, by family and platform, seen through
// the links each choice opens.
TEST(EntryViewRows, KindFamilyAndPlatformPickTheWidgetAndItsLinks) {
  struct Case {
    std::string kind;
    WidgetFamily family;
    int platform;
    std::optional<std::string> widgetURL;
    std::vector<std::string> links;
  };
  const std::vector<std::string> mediumLinks = {
      "kalomate://addFood-widget-medium_buttons", "kalomate://exercise-widget-medium_buttons",
      "kalomate://barcodeScan-widget-medium_buttons", "kalomate://weighIn-widget-medium_buttons"};
  const std::string pieDiary = "kalomate://diary-widget-medium_pie_macros";
  const Case cases[] = {
      {"lockscreen_button",
       WidgetFamily::accessoryCircular,
       16,
       "kalomate://addFood-widget-lockscreen_button",
       {}},
      // No family test for this kind: a home-screen family still gets the add-food button.
      {"lockscreen_button",
       WidgetFamily::systemSmall,
       17,
       "kalomate://addFood-widget-lockscreen_button",
       {}},
      {"medium_buttons",
       WidgetFamily::accessoryCircular,
       16,
       "kalomate://barcodeScan-widget-lockscreen_button",
       {}},
      {"medium_buttons",
       WidgetFamily::accessoryCircular,
       17,
       "kalomate://barcodeScan-widget-lockscreen_button",
       {}},
      {"medium_buttons", WidgetFamily::systemMedium, 17, std::nullopt, mediumLinks},
      {"medium_buttons", WidgetFamily::systemMedium, 15, std::nullopt, mediumLinks},
      // Lock-screen styling needs 16; before it the circular family draws nothing.
      {"medium_buttons", WidgetFamily::accessoryCircular, 15, std::nullopt, {}},
      {"medium_buttons", WidgetFamily::systemSmall, 17, std::nullopt, {}},
      // The bar kinds have no family test, and open the diary under the medium pie's name.
      {"small_bar_macros", WidgetFamily::systemSmall, 17, std::nullopt, {pieDiary}},
      {"small_bar_macros", WidgetFamily::systemMedium, 15, std::nullopt, {pieDiary}},
      {"medium_bar_macros", WidgetFamily::systemMedium, 17, std::nullopt, {pieDiary}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.kind + " in " + std::string(familyName(c.family)) + " on " +
                 std::to_string(c.platform));
    WidgetTestEnvironment env("en", c.platform);
    const KMWidgetEntryView view{RecordBuilder().energy(1500, 2000).entry(), c.family, c.kind};
    const Json list = testing::widgetJson(view.body(), c.family);
    EXPECT_EQ(testing::widgetURLOf(list), c.widgetURL);
    EXPECT_EQ(testing::links(list), c.links);
  }
}

}  // namespace
}  // namespace km
