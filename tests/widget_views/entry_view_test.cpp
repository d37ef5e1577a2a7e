#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "fixtures/json_match.h"
#include "host/km_widget_entry_view.h"
#include "model/extension_log.h"
#include "widget_support/widget_support.h"
#include "widgets/home/medium_widget.h"
#include "widgets/home/medium_widget_energy_buttons.h"
#include "widgets/home/medium_widget_energy_macro_bars.h"
#include "widgets/home/medium_widget_energy_macro_pie.h"
#include "widgets/home/small_widget.h"
#include "widgets/home/small_widget_energy.h"
#include "widgets/home/small_widget_macro_pie.h"
#include "widgets/home/small_widget_macros.h"
#include "widgets/lockscreen/lockscreen_inline_calories.h"
#include "widgets/lockscreen/lockscreen_medium_calories.h"
#include "widgets/lockscreen/lockscreen_small_button.h"
#include "widgets/lockscreen/lockscreen_small_calories.h"

namespace km {
namespace {

using namespace km::testing;
using F = WidgetFamily;
using Expected = View (*)(const NutritionEntry&);

// What each widget draws when made directly, with the arguments the entry view must pass.
const std::map<std::string, Expected> kWidgets = {
    {"SmallWidget", [](const NutritionEntry& e) { return SmallWidget{e}.body(); }},
    {"MediumWidget",
     [](const NutritionEntry& e) {
       return MediumWidget{e, 5}.body();
     }},
    {"SmallWidgetEnergy",
     [](const NutritionEntry& e) {
       return SmallWidgetEnergy{e, false}.body();
     }},
    {"LockscreenInlineCalories",
     [](const NutritionEntry& e) { return LockscreenInlineCalories{e}.body(); }},
    {"LockscreenSmallCalories",
     [](const NutritionEntry& e) {
       return LockscreenSmallCalories{e, 20, false}.body();
     }},
    {"LockscreenMediumCalories",
     [](const NutritionEntry& e) { return LockscreenMediumCalories{e}.body(); }},
    {"SmallWidgetMacros",
     [](const NutritionEntry& e) {
       return SmallWidgetMacros{e, true}.body();
     }},
    {"MediumWidgetEnergyMacroBars",
     [](const NutritionEntry& e) { return MediumWidgetEnergyMacroBars{e}.body(); }},
    {"SmallWidgetMacroPie",
     [](const NutritionEntry& e) {
       return SmallWidgetMacroPie{e, true}.body();
     }},
    {"MediumWidgetEnergyMacroPie",
     [](const NutritionEntry& e) { return MediumWidgetEnergyMacroPie{e}.body(); }},
    {"MediumWidgetEnergyButtons",
     [](const NutritionEntry& e) { return MediumWidgetEnergyButtons{e}.body(); }},
    {"LockscreenSmallButton barcode",
     [](const NutritionEntry& e) {
       return LockscreenSmallButton{e, "ic_barcode_24px", "barcodeScan"}.body();
     }},
    {"LockscreenSmallButton add food",
     [](const NutritionEntry& e) {
       return LockscreenSmallButton{e, "ic_add_meal_24px", "addFood"}.body();
     }},
};

bool drawsNothing(const Json& list) {
  return list.at("items").empty() && list.at("widgetURL").is_null() &&
         list.at("containerBackground").is_null();
}

// Each row of dispatch.json (kind, family, platform) draws exactly what its widget draws when
// made directly with the row's arguments, and the rows whose "draws" is null draw nothing.
TEST(KMWidgetEntryViewTest, DispatchTable) {
  const NutritionEntry entry = RecordBuilder()
                                   .energy(2300, 2000)
                                   .carbs(120, 250)
                                   .protein(60, 120)
                                   .fat(40, 70)
                                   .history({1800, 2100, 1900, 2500, 1200, 900, 2300})
                                   .entry();
  const Json rows = readJsonFile(std::string(KM_SOURCE_DIR) + "/tests/widget_views/dispatch.json");
  ASSERT_GE(rows.size(), 40u);
  for (const Json& row : rows) {
    SCOPED_TRACE(row.dump());
    const F family = familyFromName(row.at("family").get<std::string>()).value();
    WidgetTestEnvironment env("en", row.at("platform"));
    std::ostringstream log;  // the pie charts log their angles
    ScopedExtensionLog capture(log);
    const Json drawn = widgetJson(KMWidgetEntryView{entry, family, row.at("kind")}.body(), family);
    if (row.at("draws").is_null()) {
      EXPECT_TRUE(drawsNothing(drawn)) << drawn.dump().substr(0, 300);
      continue;
    }
    const Json direct = widgetJson(kWidgets.at(row.at("draws"))(entry), family);
    EXPECT_FALSE(drawsNothing(direct));
    EXPECT_EQ(drawn, direct);
  }
}

// In Arabic a widget is the mirror image of its English self: every shape, image and link
// region sits across where the English one would in a mirror (texts differ in size, so only
// the other drawings are compared).
TEST(KMWidgetEntryViewTest, RightToLeftLanguagesMirrorTheWidgets) {
  struct Case {
    const char* kind;
    F family;
  } cases[] = {
      {"medium_buttons", F::systemMedium},
      {"medium_history", F::systemMedium},
      {"medium_bar_macros", F::systemMedium},
      {"small_energy", F::systemSmall},
  };
  const NutritionEntry entry =
      RecordBuilder()
          .energy(1450, 2100)
          .carbs(160, 250)
          .fat(50, 60)  // under its goal: an over-goal badge would follow the name's width
          .protein(80, 120)
          .history({1800, 2300, 1500, 2100, 1450, 0, 0})
          .entry();
  auto drawings = [&](const Case& c, const char* language) {
    WidgetTestEnvironment env(language);
    const Json list = widgetJson(KMWidgetEntryView{entry, c.family, c.kind}.body(), c.family);
    std::vector<Json> out;
    for (const Json& item : list.at("items")) {
      if (item.at("type") != "text") out.push_back(item);
    }
    return std::pair{out, list.at("size").at("width").get<double>()};
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.kind);
    const auto [english, width] = drawings(c, "en");
    const auto [arabic, arabicWidth] = drawings(c, "ar");
    ASSERT_EQ(arabicWidth, width);
    ASSERT_EQ(english.size(), arabic.size());
    ASSERT_GT(english.size(), 2u);
    for (size_t i = 0; i < english.size(); ++i) {
      const Json& en = english[i].at("frame");
      const Json& ar = arabic[i].at("frame");
      // Across only: a line of Arabic is a little taller, which may move things down.
      EXPECT_NEAR(ar[0].get<double>(), width - en[0].get<double>() - en[2].get<double>(), 2e-3)
          << english[i].dump();
      EXPECT_NEAR(ar[2].get<double>(), en[2].get<double>(), 2e-3) << english[i].dump();
      EXPECT_EQ(arabic[i].value("url", ""), english[i].value("url", ""));
    }
  }
}

}  // namespace
}  // namespace km
