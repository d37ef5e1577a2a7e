#include "analytics/vocabulary.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "analytics/avo.h"

namespace km::avo {
namespace {

// Every case's raw value reads back as that case, raw values are unique, and the case list is
// dense and in declaration order.
template <typename E>
void expectRoundTrip(std::size_t expectedCount) {
  const auto cases = allCases<E>();
  ASSERT_EQ(cases.size(), expectedCount);
  std::set<std::string_view> seen;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(static_cast<std::size_t>(cases[i]), i);
    const auto raw = rawValue(cases[i]);
    EXPECT_TRUE(seen.insert(raw).second) << raw;
    EXPECT_EQ(fromRawValue<E>(raw), cases[i]) << raw;
  }
}

TEST(VocabularyTest, EveryEnumerationRoundTrips) {
  expectRoundTrip<Widget>(8);
  expectRoundTrip<Destination>(6);
  expectRoundTrip<Action>(7);
  expectRoundTrip<FeatureType>(2);
  expectRoundTrip<FilterType>(4);
  expectRoundTrip<ShareTo>(3);
  expectRoundTrip<ContentType>(3);
  expectRoundTrip<ToggleValue>(2);
  expectRoundTrip<ReminderType>(14);
  expectRoundTrip<FeatureCategory>(13);
  expectRoundTrip<BadgeName>(26);
  expectRoundTrip<Feature>(47);
  expectRoundTrip<FeatureItem>(123);
  expectRoundTrip<Language>(22);
  expectRoundTrip<AppLanguageCode>(22);
  expectRoundTrip<Market>(211);
  expectRoundTrip<AppRegionCode>(212);
  expectRoundTrip<Energy>(7);
  expectRoundTrip<Salt>(7);
  expectRoundTrip<FatTrans>(7);
}

TEST(VocabularyTest, RawValuesFollowTheWireSpelling) {
  EXPECT_EQ(rawValue(Widget::lockscreenCaloriesInline), "lockscreen_calories_inline");
  EXPECT_EQ(rawValue(Widget::smallEnergy), "small_energy");
  EXPECT_EQ(rawValue(ReminderType::snacksOther), "snacks/other");
  EXPECT_EQ(rawValue(ReminderType::upcomingMealPlanReminder), "upcoming_meal_plan_reminder");
  EXPECT_EQ(rawValue(Action::delete_), "delete");
  EXPECT_EQ(rawValue(Feature::export_), "export");
  EXPECT_EQ(rawValue(ShareTo::private_), "private");
  EXPECT_EQ(rawValue(FeatureItem::inviteYourdoctor), "invite_yourdoctor");
  EXPECT_EQ(rawValue(FeatureItem::smartFoodScan), "smart_food_scan");
  EXPECT_EQ(rawValue(Language::ptminusPT), "PT-PT");
  EXPECT_EQ(rawValue(AppLanguageCode::zhminusTW), "ZH-TW");
  EXPECT_EQ(rawValue(Language::uk), "UK");
  EXPECT_EQ(rawValue(Market::do_), "DO");
  EXPECT_EQ(rawValue(Market::pr), "PR");
  EXPECT_EQ(rawValue(Sodium::undetectedNutrient), "undetected_nutrient");
  EXPECT_EQ(rawValue(BadgeName::progressPioneer), "progress_pioneer");
}

TEST(VocabularyTest, RegionCodesAreMarketsPlusAzerbaijan) {
  EXPECT_FALSE(fromRawValue<Market>("AZ").has_value());
  const auto markets = allCases<Market>();
  const auto regions = allCases<AppRegionCode>();
  EXPECT_EQ(regions[12], AppRegionCode::az);
  EXPECT_EQ(rawValue(regions[11]), "AT");
  // Apart from the inserted case, both lists agree raw value by raw value.
  for (std::size_t i = 0, j = 0; i < markets.size(); ++i, ++j) {
    if (j == 12) ++j;
    EXPECT_EQ(rawValue(markets[i]), rawValue(regions[j])) << i;
  }
  EXPECT_EQ(rawValue(markets[0]), "AF");
  EXPECT_EQ(rawValue(markets[12]), "NZ");  // the plan's own order, not alphabetical
}

TEST(VocabularyDeathTest, ValueOutsideTheEnumerationIsFatal) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(rawValue(static_cast<Widget>(8)), "Fatal error: value out of range for Widget: 8");
}

}  // namespace
}  // namespace km::avo
