#include <gtest/gtest.h>

#include "widget_support/widget_support.h"
#include "widgets/lockscreen/lockscreen_small_button.h"

namespace km {
namespace {

using testing::frameAt;
using testing::Json;
using testing::RecordBuilder;
using testing::WidgetTestEnvironment;

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
    const Json list = testing::componentJson(view, {72, 72});
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
    EXPECT_EQ(testing::widgetURLOf(list), "kalomate://addFood-widget-lockscreen_button");
  }
  // The medium buttons kind's lock-screen button scans a barcode under the same widget name.
  WidgetTestEnvironment env;
  const View barcode =
      LockscreenSmallButton{RecordBuilder().entry(), "ic_barcode_24px", "barcodeScan"}.body();
  EXPECT_EQ(testing::widgetURLOf(testing::widgetJson(barcode, WidgetFamily::accessoryCircular)),
            "kalomate://barcodeScan-widget-lockscreen_button");
}

}  // namespace
}  // namespace km
