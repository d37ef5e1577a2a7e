#include "platform/widgetkit/family_size.h"

#include <gtest/gtest.h>

#include "platform/widgetkit/widget_rendering_mode.h"

namespace km {
namespace {

TEST(FamilySizeTest, PointSizesPerPhone) {
  struct Case {
    WidgetFamily family;
    Size small, large;
  } cases[] = {
      {WidgetFamily::systemSmall, {158, 158}, {170, 170}},
      {WidgetFamily::systemMedium, {338, 158}, {364, 170}},
      {WidgetFamily::accessoryCircular, {72, 72}, {76, 76}},
      {WidgetFamily::accessoryRectangular, {160, 72}, {172, 76}},
      {WidgetFamily::accessoryInline, {234, 26}, {257, 26}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(familySize(c.family), c.small) << familyName(c.family);
    EXPECT_EQ(familySize(c.family, PhoneModel::phone430x932), c.large) << familyName(c.family);
    EXPECT_EQ(familyCornerRadius(c.family) == 0, isAccessory(c.family)) << familyName(c.family);
  }
  EXPECT_EQ(phoneModelFromName("430x932"), PhoneModel::phone430x932);
  EXPECT_EQ(phoneModelFromName(phoneModelName(kDefaultPhoneModel)), kDefaultPhoneModel);
  EXPECT_EQ(phoneModelFromName("390x844"), std::nullopt);
  EXPECT_EQ(screenSize(kDefaultPhoneModel), (Size{393, 852}));
}

TEST(FamilySizeTest, RenderingModeNames) {
  for (auto mode : {RenderingMode::fullColor, RenderingMode::accented, RenderingMode::vibrant}) {
    EXPECT_EQ(renderingModeFromName(renderingModeName(mode)), mode);
  }
  EXPECT_EQ(renderingModeFromName("vibrant"), RenderingMode::vibrant);
  EXPECT_EQ(renderingModeFromName("tinted"), std::nullopt);
}

}  // namespace
}  // namespace km
