#include <gtest/gtest.h>

#include <cmath>

#include "base/case_table.h"
#include "fixtures/temp_dir.h"
#include "model/shared_store.h"
#include "platform/foundation/calendar.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/user_defaults.h"
#include "resources/deep_links.h"
#include "resources/palette.h"
#include "resources/units.h"
#include "resources/widget_utils.h"

namespace km {
namespace {

using km::testing::checkRows;
using km::testing::Json;
using km::testing::TempDir;

const Json kCases = km::testing::loadCases("resources/cases.json");

Date at(const char* iso) {
  auto date = parseISO8601(iso);
  EXPECT_TRUE(date) << iso;
  return date.value_or(Date{});
}

std::optional<std::string> optionalText(const Json& value) {
  return value.is_null() ? std::nullopt : std::optional(value.get<std::string>());
}

TEST(ColorFromHexTest, ReadsThreeSixAndEightDigitForms) {
  checkRows(kCases, "colorFromHex", [](const Json& in) -> Json {
    const Color color = WidgetUtils::colorFromHex(in.get<std::string>());
    if (color.isNamed()) return "named";
    // In 1/255 steps, to a millionth of a step.
    auto steps = [](double v) { return std::round(v * 255 * 1e6) / 1e6; };
    const RGBA c = color.components();
    return {steps(c.red), steps(c.green), steps(c.blue), steps(c.alpha)};
  });
}

TEST(PaletteTest, NamesAssetColoursAndParsesFixedOnesOnce) {
  const Palette& p = palette();
  EXPECT_EQ(&p, &palette());
  EXPECT_EQ(p.textPrimary, Color::named("widget-text-primary"));
  EXPECT_EQ(p.primaryFaded, Color::named("widget-primary-faded"));
  EXPECT_EQ(p.carbs.components(), (RGBA{117.0 / 255, 195.0 / 255, 219.0 / 255, 1}));
  EXPECT_EQ(p.protein.components(), (RGBA{244.0 / 255, 136.0 / 255, 129.0 / 255, 1}));
  EXPECT_EQ(p.fat.components(), (RGBA{249.0 / 255, 197.0 / 255, 74.0 / 255, 1}));
  EXPECT_EQ(p.warning.components(), (RGBA{222.0 / 255, 115.0 / 255, 0, 1}));
  EXPECT_EQ(p.green.components(), (RGBA{3.0 / 255, 176.0 / 255, 0, 1}));
}

// Same-day test: the day start is the local day's number times a day, as UTC seconds.
TEST(SameDayTest, DayStartAndTodayAroundLocalMidnight) {
  ScopedTimeZone zone("Europe/Berlin");
  ScopedNow now(at("2026-03-01T23:30:00+01:00"));
  // 2026-03-01 is day 20513 since 1970 (1772323200 / 86400).
  EXPECT_EQ(WidgetUtils::todayNumber(), 20513);
  EXPECT_EQ(WidgetUtils::dayStart(at("2026-03-01T23:30:00+01:00")).timeIntervalSince1970(),
            1772323200.0);
  checkRows(kCases, "isToday",
            [](const Json& in) { return WidgetUtils::isToday(at(in.get<std::string>().c_str())); });
}

TEST(SameDayTest, AUtcMidnightIsItsOwnDayStartAndMayDisagreeWithTheCalendar) {
  ScopedTimeZone zone("America/Los_Angeles");
  const Date utcMidnight = at("2026-03-01T00:00:00Z");  // 16:00 on Feb 28th in Los Angeles
  EXPECT_EQ(WidgetUtils::dayStart(utcMidnight), utcMidnight);
  const Calendar calendar = Calendar::current();
  {
    // Evening of Feb 28th, local: the calendar says same day, the day numbers say not.
    ScopedNow now(at("2026-02-28T18:00:00-08:00"));
    EXPECT_TRUE(calendar.isDateInToday(utcMidnight));
    EXPECT_FALSE(WidgetUtils::isToday(utcMidnight));
  }
  {
    // Morning of March 1st, local: the other way round.
    ScopedNow now(at("2026-03-01T10:00:00-08:00"));
    EXPECT_FALSE(calendar.isDateInToday(utcMidnight));
    EXPECT_TRUE(WidgetUtils::isToday(utcMidnight));
  }
}

TEST(SameDayDeathTest, OutOfRangeDatesAreFatal) {
  ScopedTimeZone zone("UTC");
  // The day count times 86400 no longer fits 32 bits after 2038-01-19.
  EXPECT_DEATH(WidgetUtils::dayStart(at("2038-01-20T00:00:30Z")), "Fatal error");
  EXPECT_DEATH(WidgetUtils::dayStart(Date{std::nan("")}), "Fatal error");
  EXPECT_DEATH(WidgetUtils::dayStart(Date{1e300}), "Fatal error");
  // A whole UTC day past 2038 passes the day start but not the 32-bit day number.
  EXPECT_DEATH(WidgetUtils::isToday(at("2040-01-01T00:00:00Z")), "Fatal error");
  // The last day that still works.
  EXPECT_EQ(WidgetUtils::dayStart(at("2038-01-18T12:00:00Z")).timeIntervalSince1970(),
            24854.0 * 86400);
}

// A main bundle (the test fixtures) and a shared store in a temporary folder.
class LocalizationTest : public ::testing::Test {
 protected:
  LocalizationTest()
      : bundle_(km::testing::fixtureBundlePath()),
        store_(dir_.file("store.sqlite")),
        languages_(std::vector<std::string>{}) {}

  void chooseLanguage(const std::optional<std::string>& code) {
    auto store = UserDefaults::openFile(dir_.file("store.sqlite"), UserDefaults::Access::readWrite);
    ASSERT_TRUE(store.ok());
    if (code) {
      ASSERT_TRUE(store->set(kLanguageUserSelectedKey, *code).ok());
    } else {
      ASSERT_TRUE(store->removeObject(kLanguageUserSelectedKey).ok());
    }
  }

  TempDir dir_;
  ScopedMainBundlePath bundle_;
  ScopedStorePath store_;
  ScopedPreferredLanguages languages_;
};

TEST_F(LocalizationTest, UsesTheLanguageChosenInTheApp) {
  checkRows(kCases, "localizedString", [this](const Json& in) {
    chooseLanguage(optionalText(in[0]));
    ScopedLanguageOverride override(optionalText(in[1]));
    ScopedPreferredLanguages system(in[2].get<std::vector<std::string>>());
    return localizedString(in[3].get<std::string>());
  });
}

TEST_F(LocalizationTest, LayoutDirectionFollowsTheLanguageOfTheTexts) {
  // The product's bundle, which has an Arabic table.
  ScopedMainBundlePath product(std::string(KM_SOURCE_DIR) + "/bundle");
  checkRows(kCases, "layoutDirection", [this](const Json& in) {
    chooseLanguage(optionalText(in[0]));
    ScopedPreferredLanguages system(in[1].get<std::vector<std::string>>());
    return WidgetUtils::layoutDirection() == LayoutDirection::rightToLeft ? "rightToLeft"
                                                                          : "leftToRight";
  });
}

// Within one redraw the language is read once; the next redraw sees a change made in between.
// Texts are the same as looked up without a redraw, missing keys included.
TEST_F(LocalizationTest, ARedrawReadsTheLanguageOnce) {
  chooseLanguage("de");
  {
    const ScopedRedraw redraw;
    EXPECT_EQ(localizedString("ios_widgets_1"), "Kalorien");
    chooseLanguage("en");
    EXPECT_EQ(localizedString("ios_widgets_1"), "Kalorien");
    EXPECT_EQ(localizedString("KilojouleShort"), "kJ");
    EXPECT_EQ(localizedString("only_in_english"), "only_in_english");
    {
      const ScopedRedraw nested;  // the outer redraw's reading holds
      EXPECT_EQ(localizedString("ios_widgets_1"), "Kalorien");
    }
  }
  EXPECT_EQ(localizedString("ios_widgets_1"), "Calories");
  const ScopedRedraw next;
  EXPECT_EQ(localizedString("ios_widgets_1"), "Calories");
  EXPECT_EQ(localizedString("no_such_key"), "no_such_key");
}

TEST_F(LocalizationTest, MissingStoreFallsBackToThePreferredLocalization) {
  ScopedStorePath nowhere(dir_.file("missing/store.sqlite"));
  ScopedPreferredLanguages system(std::vector<std::string>{"de"});
  EXPECT_EQ(localizedString("ios_widgets_1"), "Kalorien");
  EXPECT_EQ(WidgetUtils::languageBundle(std::nullopt).bundlePath(),
            km::testing::fixtureBundlePath());
  EXPECT_EQ(WidgetUtils::languageBundle("de").bundlePath(),
            km::testing::fixtureBundlePath() + "/de.lproj");
  EXPECT_EQ(WidgetUtils::languageBundle("xx").bundlePath(), km::testing::fixtureBundlePath());
}

TEST_F(LocalizationTest, UnitLabelsFollowTheRecordsUnit) {
  chooseLanguage("en");
  EXPECT_EQ(energyUnitShort(true), "kJ");
  EXPECT_EQ(energyGaugeUnit(true), "kJ");
  EXPECT_EQ(energyUnitShort(false), "kcal");
  EXPECT_EQ(energyGaugeUnit(false), "Cal");
  EXPECT_STREQ(energyUnitLongKey(true), "EnergyMeasurementKilojoules");
  EXPECT_STREQ(energyUnitLongKey(false), "EnergyMeasurementCalories");
}

TEST(DeepLinkTest, BuildsTheTwoFormsAndRejectsBadNames) {
  checkRows(kCases, "deepLink", [](const Json& in) {
    const std::string widget = in[1];
    return (in[0].is_null() ? diaryLink(widget) : actionLink(in[0].get<std::string>(), widget))
        .absoluteString();
  });
  const std::pair<URL, const char*> named[] = {
      {smallEnergyLink(), "kalomate://diary-widget-small_energy"},
      {lockscreenCaloriesLink(), "kalomate://diary-widget-lockscreen_calories"},
      {lockscreenCaloriesInlineLink(), "kalomate://diary-widget-lockscreen_calories_inline"},
      {lockscreenMacrosLink(), "kalomate://diary-widget-lockscreen_macros"},
  };
  for (const auto& [link, want] : named)
    EXPECT_EQ(link.absoluteString(), want);
  EXPECT_DEATH(diaryLink("small energy"), "Fatal error: invalid deep link");
  EXPECT_DEATH(actionLink("add\"Food", "x"), "Fatal error: invalid deep link");
}

}  // namespace
}  // namespace km
