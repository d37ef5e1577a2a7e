#include <gtest/gtest.h>

#include <cmath>

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

using km::testing::TempDir;

Date at(const char* iso) {
  auto date = parseISO8601(iso);
  EXPECT_TRUE(date) << iso;
  return date.value_or(Date{});
}

TEST(ColorFromHexTest, ReadsThreeSixAndEightDigitForms) {
  struct Case {
    const char* text;
    double r, g, b, a;  // in 1/255 steps
  } cases[] = {
      {"#DE7300", 222, 115, 0, 255},
      {"DE7300", 222, 115, 0, 255},
      {"  #75c3db;", 117, 195, 219, 255},  // trimmed at both ends, lower case
      {"FFF", 255, 255, 255, 255},
      {"abc", 170, 187, 204, 255},
      {"80FF0000", 255, 0, 0, 128},
      {"GG0000", 0, 0, 0, 255},  // the scan stops at once; the length still says six digits
      {"12345", 1, 1, 0, 1},     // any other length: the almost invisible colour
      {"", 1, 1, 0, 1},
      {"#", 1, 1, 0, 1},
  };
  for (const auto& c : cases) {
    const Color color = WidgetUtils::colorFromHex(c.text);
    EXPECT_FALSE(color.isNamed());
    EXPECT_EQ(color.components(), (RGBA{c.r / 255, c.g / 255, c.b / 255, c.a / 255})) << c.text;
  }
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
  struct Case {
    const char* date;
    bool today;
  } cases[] = {
      {"2026-03-01T00:00:30+01:00", true},
      {"2026-03-01T12:00:00+01:00", true},
      {"2026-03-01T23:59:59+01:00", true},
      {"2026-02-28T23:59:00+01:00", false},  // 23:59 yesterday
      {"2026-03-02T00:00:30+01:00", false},
      {"2026-02-28T23:30:00Z", true},  // already 00:30 on March 1st in Berlin
  };
  for (const auto& c : cases)
    EXPECT_EQ(WidgetUtils::isToday(at(c.date)), c.today) << c.date;
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
  struct Case {
    std::optional<std::string> stored;
    std::optional<std::string> override;
    std::vector<std::string> systemLanguages;
    const char* key;
    const char* want;
  } cases[] = {
      {"de", std::nullopt, {"en"}, "ios_widgets_1", "Kalorien"},
      {"pt-BR", std::nullopt, {"de"}, "ios_widgets_1", "Calorias"},
      {"de", "en", {}, "ios_widgets_1", "Calories"},          // this run's choice wins
      {"fr", std::nullopt, {}, "ios_widgets_1", "Calories"},  // no folder: the main bundle
      {"fr", std::nullopt, {"de"}, "ios_widgets_1", "Kalorien"},
      {std::nullopt, std::nullopt, {"de-AT"}, "ios_widgets_1", "Kalorien"},
      {std::nullopt, std::nullopt, {}, "ios_widgets_2", "Energy left today"},
      {"de", std::nullopt, {}, "only_in_english", "only_in_english"},  // missing key
      {"en", std::nullopt, {}, "no_such_key", "no_such_key"},
      {"de", std::nullopt, {}, "KilojouleShort", "kJ"},
  };
  for (const auto& c : cases) {
    chooseLanguage(c.stored);
    ScopedLanguageOverride override(c.override);
    ScopedPreferredLanguages system(c.systemLanguages);
    EXPECT_EQ(localizedString(c.key), c.want) << c.key << " stored " << c.stored.value_or("-")
                                              << " override " << c.override.value_or("-");
  }
}

TEST_F(LocalizationTest, LayoutDirectionFollowsTheLanguageOfTheTexts) {
  // The product's bundle, which has an Arabic table.
  ScopedMainBundlePath product(std::string(KM_SOURCE_DIR) + "/bundle");
  struct Case {
    std::optional<std::string> chosen;
    std::vector<std::string> systemLanguages;
    LayoutDirection want;
  } cases[] = {
      {"ar", {"en"}, LayoutDirection::rightToLeft},
      {"de", {"ar"}, LayoutDirection::leftToRight},
      {"he", {"ar"}, LayoutDirection::rightToLeft},  // no Hebrew table: the texts are Arabic
      {"he", {"en"}, LayoutDirection::leftToRight},  // ... or English
      {std::nullopt, {"ar-EG"}, LayoutDirection::rightToLeft},
  };
  for (const auto& c : cases) {
    chooseLanguage(c.chosen);
    ScopedPreferredLanguages system(c.systemLanguages);
    EXPECT_EQ(WidgetUtils::layoutDirection(), c.want) << c.chosen.value_or("-");
  }
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
  EXPECT_EQ(diaryLink("medium_pie_macros").absoluteString(),
            "kalomate://diary-widget-medium_pie_macros");
  EXPECT_EQ(actionLink("barcodeScan", "lockscreen_button").absoluteString(),
            "kalomate://barcodeScan-widget-lockscreen_button");
  EXPECT_EQ(smallEnergyLink().absoluteString(), "kalomate://diary-widget-small_energy");
  EXPECT_EQ(lockscreenCaloriesLink().absoluteString(),
            "kalomate://diary-widget-lockscreen_calories");
  EXPECT_EQ(lockscreenCaloriesInlineLink().absoluteString(),
            "kalomate://diary-widget-lockscreen_calories_inline");
  EXPECT_EQ(lockscreenMacrosLink().absoluteString(), "kalomate://diary-widget-lockscreen_macros");
  EXPECT_DEATH(diaryLink("small energy"), "Fatal error: invalid deep link");
  EXPECT_DEATH(actionLink("add\"Food", "x"), "Fatal error: invalid deep link");
}

}  // namespace
}  // namespace km
