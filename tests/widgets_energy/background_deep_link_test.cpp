#include "components/background_deep_link.h"

#include <gtest/gtest.h>

#include "widget_support/widget_support.h"

namespace km {
namespace {

using namespace km::testing;

// The region is a diary link sized to the given frame, centred, with an invisible label.
TEST(BackgroundDeepLinkTest, RegionCoversTheGivenFrame) {
  WidgetTestEnvironment env;
  struct Case {
    std::optional<double> width;
    std::optional<double> height;
    const char* name;
    std::vector<double> frame;  // in a 158 x 158 container
  } cases[] = {
      {158, 158, "medium_pie_macros", {0, 0, 158, 158}},
      {100, 40, "small_energy", {29, 59, 100, 40}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const DisplayList raw =
        layoutAt(BackgroundDeepLink{c.width, c.height, c.name}.body(), {158, 158});
    const Json list = displayJson(raw, WidgetFamily::systemSmall);
    const std::vector<Json> link = itemsOfType(list, "link");
    ASSERT_EQ(link.size(), 1u);
    EXPECT_EQ(link[0].at("url"), std::string("kalomate://diary-widget-") + c.name);
    EXPECT_EQ(link[0].at("frame"), Json(c.frame));
    const std::vector<Json> label = itemsOfType(list, "text");
    ASSERT_EQ(label.size(), 1u);
    EXPECT_EQ(label[0].at("text"), std::string(84, ' ') + std::string(7, '\n'));
    EXPECT_EQ(label[0].at("color"), "#00000000");
    // A tap in the middle of the region opens the diary.
    EXPECT_EQ(urlAt(raw, {c.frame[0] + c.frame[2] / 2, c.frame[1] + c.frame[3] / 2}),
              std::string("kalomate://diary-widget-") + c.name);
  }
}

TEST(BackgroundDeepLinkDeathTest, ANameAUrlCannotCarryIsFatal) {
  WidgetTestEnvironment env;
  EXPECT_DEATH((BackgroundDeepLink{10, 10, "small energy"}.body()), "Fatal error");
}

}  // namespace
}  // namespace km
