#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/nutrition_entry.h"
#include "model/widget_nutrition_summary.h"
#include "platform/foundation/process_settings.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/display_list.h"
#include "platform/ui/renderer.h"
#include "platform/ui/rendering_mode.h"
#include "platform/ui/view.h"
#include "platform/widgetkit/family_size.h"
#include "platform/widgetkit/platform_version.h"
#include "platform/widgetkit/widget_family.h"

// Helpers for the widget tests: lay a widget out at a family's size, query the JSON display
// list, build records, pin the process settings, compare with golden images. Everything here
// uses the real bundle (`bundle/`) of the repository. Process settings are process-wide, so
// tests using WidgetTestEnvironment must not run concurrently (GoogleTest runs them one by one).
namespace km::testing {

using Json = nlohmann::json;

// The fixed "now" of the widget tests: 2024-03-14 12:00 in Europe/Berlin (11:00 UTC), a
// Thursday, safely away from midnight and daylight-saving changes.
Date testNow();
// The same time of day `days` days before testNow() (1 = yesterday).
Date daysBeforeTestNow(int days);

// The real bundle's folder and its asset catalogue (loaded once; fatal if missing).
std::string bundlePath();
const AssetCatalog& bundleAssets();

// Pins the process settings a widget reads for its lifetime: the main bundle is the real
// bundle, the shared store a file that does not exist (so no stored language applies), now is
// testNow(), the zone Europe/Berlin, the locale en_US, the app language `language` and the
// platform version `platform`.
class WidgetTestEnvironment {
 public:
  explicit WidgetTestEnvironment(std::string language = "en", int platformMajor = 17);

  ScopedMainBundlePath bundle;
  ScopedStorePath store;
  ScopedNow now;
  ScopedTimeZone zone;
  ScopedLocale locale;
  ScopedLanguageOverride language;
  ScopedPlatformVersion platform;
};

// A signed-in record dated testNow(): day 1, kilocalories, no history days, energies and
// macros as given (all zero by default). Chain the setters for the rest.
struct RecordBuilder {
  WidgetNutritionSummary summary;

  RecordBuilder();
  RecordBuilder& energy(double current, double total);
  RecordBuilder& fat(double current, double total);
  RecordBuilder& protein(double current, double total);
  RecordBuilder& carbs(double current, double total);
  RecordBuilder& kilojoules(bool on = true);
  RecordBuilder& loggedIn(bool on);
  RecordBuilder& date(Date date);
  // Dated `days` days before testNow().
  RecordBuilder& daysAgo(int days);
  RecordBuilder& history(std::vector<double> days);

  WidgetNutritionSummary build() const { return summary; }
  // An entry dated testNow() holding the record.
  NutritionEntry entry() const { return NutritionEntry{testNow(), summary}; }
};

// Lays `view` out at the size of `family` on `model`, with the bundle's images for sizes and
// the platform's backdrop for the family.
DisplayList layoutWidget(const View& view, WidgetFamily family,
                         PhoneModel model = kDefaultPhoneModel);
// Lays `view` out in a container of `size` (for components outside a widget).
DisplayList layoutAt(const View& view, Size size);
// The same list as JSON (see displayListToJson), colours resolved for `scheme`.
Json widgetJson(const View& view, WidgetFamily family, ColorScheme scheme = ColorScheme::light,
                std::string_view kind = "test");
Json displayJson(const DisplayList& list, WidgetFamily family,
                 ColorScheme scheme = ColorScheme::light, std::string_view kind = "test");

// Every text item's string of a JSON display list ({"items": [...]}), in drawing order.
std::vector<std::string> texts(const Json& list);
// The widget URL, or nullopt when the list has none.
std::optional<std::string> widgetURLOf(const Json& list);

// How a rendered image may differ from its golden file: a pixel counts as different when any
// channel differs by more than `channelTolerance` (0–255); at most `maxDifferentFraction` of
// the pixels may differ. Font hinting and anti-aliasing vary a little between machines.
struct GoldenTolerance {
  int channelTolerance = 24;
  double maxDifferentFraction = 0.01;
};

// What a comparison found; `ok` false explains itself in `message`.
struct GoldenResult {
  bool ok = false;
  std::string message;
};

// Renders `list` to PNG with `options` (the bundle's assets are filled in when unset) and
// compares it with tests/golden/<name>.png. With the environment variable KM_UPDATE_GOLDENS=1
// it (re)writes the golden file instead and passes. A missing golden file is a failure that
// names the variable. Use as EXPECT_TRUE(matchesGolden(...).ok) << result.message, or through
// EXPECT_GOLDEN below.
GoldenResult matchesGolden(const DisplayList& list, const std::string& name,
                           RenderOptions options = {}, GoldenTolerance tolerance = {});

}  // namespace km::testing

#define EXPECT_GOLDEN(list, name, ...)                                       \
  do {                                                                       \
    const auto km_golden_result_ =                                           \
        ::km::testing::matchesGolden(list, name __VA_OPT__(, ) __VA_ARGS__); \
    EXPECT_TRUE(km_golden_result_.ok) << km_golden_result_.message;          \
  } while (false)
