#include <gtest/gtest.h>

#include "platform/widgetkit/platform_backdrop.h"
#include "platform/widgetkit/platform_version.h"
#include "platform/widgetkit/widget_family.h"

namespace km {
namespace {

TEST(WidgetFamilyTest, NamesRoundTripAndUnknownNamesAreRejected) {
  for (WidgetFamily family : kAllWidgetFamilies) {
    EXPECT_EQ(familyFromName(familyName(family)), family);
  }
  EXPECT_EQ(familyFromName("systemsmall"), std::nullopt);
  EXPECT_EQ(familyFromName("systemLarge"), std::nullopt);
  EXPECT_FALSE(isAccessory(WidgetFamily::systemMedium));
  EXPECT_TRUE(isAccessory(WidgetFamily::accessoryInline));
}

TEST(PlatformVersionTest, ParsesMajorAndMinor) {
  struct Case {
    const char* text;
    std::optional<std::pair<int, int>> want;
  } cases[] = {{"17", {{17, 0}}},        {"16.4", {{16, 4}}},   {"15.0", {{15, 0}}},
               {"", std::nullopt},       {"16.", std::nullopt}, {"x16", std::nullopt},
               {"16.4.1", std::nullopt}, {"0", std::nullopt}};
  for (const auto& c : cases) {
    auto got = parsePlatformVersion(c.text);
    ASSERT_EQ(got.has_value(), c.want.has_value()) << c.text;
    if (got) {
      EXPECT_EQ(std::make_pair(got->major, got->minor), *c.want) << c.text;
    }
  }
}

TEST(PlatformVersionTest, ScopedOverrideRestoresAndGatesCompare) {
  EXPECT_EQ(currentPlatformVersion().major, 17);
  {
    ScopedPlatformVersion scoped({15, 4});
    EXPECT_FALSE(currentPlatformVersion().atLeast(16));
    EXPECT_TRUE(currentPlatformVersion().atLeast(15, 4));
  }
  EXPECT_TRUE(currentPlatformVersion().atLeast(17));
}

TEST(PlatformBackdropTest, HomeScreenWidgetsBeforeSeventeenSitOnTheSystemBackground) {
  using F = WidgetFamily;
  struct Case {
    F family;
    PlatformVersion version;
    bool backdrop;
  } cases[] = {
      {F::systemSmall, {15, 0}, true},        {F::systemMedium, {16, 4}, true},
      {F::systemSmall, {17, 0}, false},       {F::systemMedium, {18, 0}, false},
      {F::accessoryCircular, {16, 0}, false}, {F::accessoryRectangular, {16, 0}, false},
      {F::accessoryInline, {16, 0}, false},
  };
  for (const auto& c : cases) {
    const auto paint = platformBackdrop(c.family, c.version);
    ASSERT_EQ(paint.has_value(), c.backdrop) << familyName(c.family) << " " << c.version.major;
    if (paint) {
      EXPECT_EQ(std::get<Color>(*paint), Color::systemBackground());
    }
  }
  // Without a version the process's own applies.
  ScopedPlatformVersion sixteen({16, 0});
  EXPECT_TRUE(platformBackdrop(F::systemSmall).has_value());
}

}  // namespace
}  // namespace km
