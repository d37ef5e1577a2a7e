#include <gtest/gtest.h>

#include <cmath>

#include "fixtures/json_match.h"
#include "fixtures/temp_dir.h"
#include "host/km_widget.h"
#include "host/provider.h"
#include "host/widget_kind.h"
#include "model/shared_store.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/user_defaults.h"
#include "platform/widgetkit/platform_version.h"

namespace km {
namespace {

using km::testing::TempDir;
using F = WidgetFamily;

TEST(WidgetKindTest, RawValuesAreExactAndCaseSensitive) {
  const char* raw[] = {"small_energy_macros", "medium_history",   "small_energy",
                       "small_bar_macros",    "small_pie_macros", "medium_bar_macros",
                       "medium_pie_macros",   "medium_buttons",   "lockscreen_button"};
  for (std::size_t i = 0; i < kAllWidgetKinds.size(); ++i) {
    EXPECT_EQ(rawValue(kAllWidgetKinds[i]), raw[i]);
    EXPECT_EQ(widgetKindFromRawValue(raw[i]), kAllWidgetKinds[i]);
  }
  for (const char* bad : {"Small_Energy", "small_energy ", "", "lockscreen_calories"}) {
    EXPECT_EQ(widgetKindFromRawValue(bad), std::nullopt) << bad;
  }
}

// Each kind's gallery keys, and its families before 16 ("v15") and from 16 on ("v16").
TEST(CatalogueTest, GalleryKeysAndFamiliesPerPlatformVersion) {
  const nlohmann::json rows =
      testing::readJsonFile(std::filesystem::path(KM_SOURCE_DIR) / "tests/host/catalogue.json");
  ASSERT_EQ(rows.size(), kAllWidgetKinds.size());
  for (const auto& row : rows) {
    const std::string kind = row.at("kind");
    EXPECT_EQ(displayNameKey(kind), row.at("nameKey").get<std::string>()) << kind;
    EXPECT_EQ(descriptionKey(kind), row.at("descriptionKey").get<std::string>()) << kind;
    for (auto [major, minor] : {std::pair{15, 0}, {15, 9}, {16, 0}, {16, 4}, {17, 0}}) {
      ScopedPlatformVersion version({major, minor});
      std::vector<std::string> families;
      for (WidgetFamily f : supportedFamilies(kind))
        families.emplace_back(familyName(f));
      EXPECT_EQ(nlohmann::json(families), row.at(major >= 16 ? "v16" : "v15"))
          << kind << " on " << major << "." << minor;
    }
  }
}

TEST(CatalogueDeathTest, UnknownKindsAreFatal) {
  EXPECT_DEATH(displayNameKey("small_energy_XL"), "Fatal error: unknown widget kind");
  EXPECT_DEATH(supportedFamilies(""), "Fatal error: unknown widget kind");
  EXPECT_DEATH(KMWidget{"Medium_History"}.configuration(), "Fatal error: unknown widget kind");
}

TEST(WidgetBundleTest, OffersFiveWidgetsInGalleryOrderWithLocalisedTexts) {
  ScopedMainBundlePath bundle(km::testing::fixtureBundlePath());
  ScopedStorePath store("/nonexistent/store.sqlite");
  ScopedPreferredLanguages languages(std::vector<std::string>{"de"});
  const std::vector<KMWidget> widgets = KMWidgetBundle{}.body();
  std::vector<std::string> kinds;
  for (const auto& w : widgets)
    kinds.push_back(w.kind);
  EXPECT_EQ(kinds, (std::vector<std::string>{"small_energy", "medium_history", "medium_pie_macros",
                                             "medium_buttons", "lockscreen_button"}));
  for (auto [major, margins] : {std::pair{15, false}, {16, false}, {17, true}}) {
    ScopedPlatformVersion version({major, 0});
    for (const auto& w : widgets) {
      EXPECT_EQ(w.configuration().contentMarginsDisabled, margins) << w.kind << " " << major;
    }
  }
  const WidgetConfiguration small = widgets[0].configuration();
  EXPECT_EQ(small.displayName, "Kalorien");
  EXPECT_EQ(small.description, "Heute übrig");
  // No German text for the history widget in the fixture: the key shows.
  EXPECT_EQ(widgets[1].configuration().displayName, "ios_widgets_7");
}

class ProviderTest : public ::testing::Test {
 protected:
  ProviderTest() : store_(dir_.file("store.sqlite")), zone_("Europe/Berlin") {}

  void storeRecord(const std::string& json) {
    auto store = UserDefaults::openFile(dir_.file("store.sqlite"), UserDefaults::Access::readWrite);
    ASSERT_TRUE(store.ok());
    ASSERT_TRUE(store->set(kNutritionSummaryKey, Data(json.begin(), json.end())).ok());
  }

  Timeline<NutritionEntry> timeline() {
    std::optional<Timeline<NutritionEntry>> got;
    int calls = 0;
    Provider{}.getTimeline({}, [&](Timeline<NutritionEntry> t) {
      ++calls;
      got = std::move(t);
    });
    EXPECT_EQ(calls, 1);
    return got.value_or(Timeline<NutritionEntry>{});
  }

  TempDir dir_;
  ScopedStorePath store_;
  ScopedTimeZone zone_;
};

TEST_F(ProviderTest, TimelineHasSevenHourlyEntriesAcrossMidnightWithOneRecord) {
  storeRecord(
      R"({"currentDayInt":9,"currentDate":794000000,"isLoggedIn":true,"energyCurrent":900,)"
      R"("energyTotal":2000,"fatCurrent":1,"fatTotal":2,"proteinCurrent":3,"proteinTotal":4,)"
      R"("carbsCurrent":5,"carbsTotal":6,"energyDays":[1,2,3,4,5,6,7],"isKilojoules":true})");
  ScopedNow now(parseISO8601("2026-03-01T23:30:00+01:00"));
  const Timeline<NutritionEntry> t = timeline();
  EXPECT_EQ(t.policy, TimelineReloadPolicy::atEnd());
  ASSERT_EQ(t.entries.size(), 7u);
  const char* want[] = {"2026-03-01T23:30:00+01:00", "2026-03-02T00:30:00+01:00",
                        "2026-03-02T01:30:00+01:00", "2026-03-02T02:30:00+01:00",
                        "2026-03-02T03:30:00+01:00", "2026-03-02T04:30:00+01:00",
                        "2026-03-02T05:30:00+01:00"};
  for (std::size_t i = 0; i < 7; ++i) {
    EXPECT_EQ(formatISO8601(t.entries[i].date), want[i]);
    EXPECT_EQ(t.entries[i].nutrition, t.entries[0].nutrition);
  }
  EXPECT_EQ(t.entries[0].nutrition.currentDayInt, 9);
  EXPECT_TRUE(t.entries[6].nutrition.isKilojoules);
}

TEST_F(ProviderTest, TimelineStepsByElapsedHoursOverTheClockChange) {
  ScopedNow now(parseISO8601("2026-03-29T00:15:00+01:00"));
  const Timeline<NutritionEntry> t = timeline();
  ASSERT_EQ(t.entries.size(), 7u);
  EXPECT_EQ(formatISO8601(t.entries[2].date), "2026-03-29T03:15:00+02:00");
  for (std::size_t i = 1; i < 7; ++i) {
    EXPECT_DOUBLE_EQ(t.entries[i].date.timeIntervalSinceReferenceDate -
                         t.entries[i - 1].date.timeIntervalSinceReferenceDate,
                     3600.0);
  }
  // No record stored: every entry carries the store fallback, dated now.
  EXPECT_EQ(t.entries[3].nutrition.energyCurrent, 1300);
  EXPECT_EQ(t.entries[3].nutrition.currentDate, t.entries[0].date);
}

TEST_F(ProviderTest, ACalendarThatCannotAddHoursIsFatal) {
  // Only a date the calendar cannot hold gets here; there is no fallback timeline.
  ScopedNow now(Date{std::nan("")});
  EXPECT_DEATH(Provider{}.getTimeline({}, [](Timeline<NutritionEntry>) {}),
               "Fatal error: the calendar cannot add hours");
}

TEST_F(ProviderTest, PlaceholderAndSnapshot) {
  storeRecord("{}");  // would decode-fail: the placeholder must not read it
  ScopedNow now(parseISO8601("2026-03-01T12:00:00Z"));
  const NutritionEntry placeholder = Provider{}.placeholder({F::systemMedium, 329, 155, true});
  EXPECT_EQ(placeholder.date, *parseISO8601("2026-03-01T12:00:00Z"));
  EXPECT_EQ(placeholder.nutrition.energyCurrent, 0);
  EXPECT_EQ(placeholder.nutrition.energyTotal, 2000);
  EXPECT_EQ(placeholder.nutrition.carbsTotal, 50);

  km::testing::removeStore(dir_.file("store.sqlite"));
  int calls = 0;
  Provider{}.getSnapshot({F::systemSmall, 0, 0, true}, [&](NutritionEntry e) {
    ++calls;
    EXPECT_EQ(e.nutrition.energyCurrent, 1300);
    EXPECT_EQ(e.nutrition.energyTotal, 2000);
  });
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace km
