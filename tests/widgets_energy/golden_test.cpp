#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "host/km_widget_entry_view.h"
#include "platform/widgetkit/family_size.h"
#include "widget_support/widget_support.h"

namespace km {
namespace {

using namespace km::testing;
using F = WidgetFamily;

// A few whole-widget images guard the look (gradients, caps, fonts) where the display list
// cannot: regenerate with KM_UPDATE_GOLDENS=1 after an intended change, and look at them.
TEST(EnergyGoldenTest, WidgetsLookAsDesigned) {
  struct Case {
    const char* name;
    const char* kind;
    F family;
    double eaten;
    ColorScheme scheme;
    RenderingMode mode;
  } cases[] = {
      {"small_energy.systemSmall.under.light", "small_energy", F::systemSmall, 1500,
       ColorScheme::light, RenderingMode::fullColor},
      {"small_energy.systemSmall.over.dark", "small_energy", F::systemSmall, 2300,
       ColorScheme::dark, RenderingMode::fullColor},
      {"small_energy.accessoryCircular.over.vibrant", "small_energy", F::accessoryCircular, 2500,
       ColorScheme::dark, RenderingMode::vibrant},
      {"small_energy.accessoryInline.vibrant", "small_energy", F::accessoryInline, 1200,
       ColorScheme::dark, RenderingMode::vibrant},
  };
  WidgetTestEnvironment env;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const NutritionEntry entry = RecordBuilder().energy(c.eaten, 2000).entry();
    const DisplayList list =
        layoutWidget(KMWidgetEntryView{entry, c.family, c.kind}.body(), c.family);
    RenderOptions options;
    options.scale = 2;
    options.colorScheme = c.scheme;
    options.renderingMode = c.mode;
    options.cornerRadius = familyCornerRadius(c.family);
    EXPECT_GOLDEN(list, c.name, options);
  }
}

// The comparison itself must notice a different widget: the over-goal ring is not the
// under-goal one (unless the goldens are being rewritten).
TEST(EnergyGoldenTest, ADifferentImageDoesNotMatch) {
  if (const char* update = std::getenv("KM_UPDATE_GOLDENS"); update && std::string(update) == "1") {
    GTEST_SKIP() << "rewriting goldens";
  }
  WidgetTestEnvironment env;
  const NutritionEntry entry = RecordBuilder().energy(2300, 2000).entry();
  const DisplayList list =
      layoutWidget(KMWidgetEntryView{entry, F::systemSmall, "small_energy"}.body(), F::systemSmall);
  RenderOptions options;
  options.scale = 2;
  options.cornerRadius = familyCornerRadius(F::systemSmall);
  const GoldenResult result = matchesGolden(list, "small_energy.systemSmall.under.light", options);
  EXPECT_FALSE(result.ok) << result.message;
}

}  // namespace
}  // namespace km
