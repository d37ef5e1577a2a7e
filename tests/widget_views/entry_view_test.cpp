#include <gtest/gtest.h>

#include <sstream>

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
View calorieDonut(const NutritionEntry& e) {
  return SmallWidget{e}.body();
}
View history(const NutritionEntry& e) {
  return MediumWidget{e, 5}.body();
}
View energy(const NutritionEntry& e) {
  return SmallWidgetEnergy{e, false}.body();
}
View inlineCalories(const NutritionEntry& e) {
  return LockscreenInlineCalories{e}.body();
}
View gauge(const NutritionEntry& e) {
  return LockscreenSmallCalories{e, 20, false}.body();
}
View lockMacros(const NutritionEntry& e) {
  return LockscreenMediumCalories{e}.body();
}
View smallBars(const NutritionEntry& e) {
  return SmallWidgetMacros{e, true}.body();
}
View mediumBars(const NutritionEntry& e) {
  return MediumWidgetEnergyMacroBars{e}.body();
}
View smallPie(const NutritionEntry& e) {
  return SmallWidgetMacroPie{e, true}.body();
}
View mediumPie(const NutritionEntry& e) {
  return MediumWidgetEnergyMacroPie{e}.body();
}
View buttons(const NutritionEntry& e) {
  return MediumWidgetEnergyButtons{e}.body();
}
View barcodeButton(const NutritionEntry& e) {
  return LockscreenSmallButton{e, "ic_barcode_24px", "barcodeScan"}.body();
}
View addFoodButton(const NutritionEntry& e) {
  return LockscreenSmallButton{e, "ic_add_meal_24px", "addFood"}.body();
}

struct DispatchCase {
  const char* kind;
  F family;
  int platform;
  Expected expected;  // null: the entry view draws nothing
};

bool drawsNothing(const Json& list) {
  return list.at("items").empty() && list.at("widgetURL").is_null() &&
         list.at("containerBackground").is_null();
}

// Each row of the dispatch table draws exactly what its widget draws when made directly with
// the row's arguments, and the rows marked "nothing" draw nothing at all.
TEST(KMWidgetEntryViewTest, DispatchTable) {
  const NutritionEntry entry = RecordBuilder()
                                   .energy(2300, 2000)
                                   .carbs(120, 250)
                                   .protein(60, 120)
                                   .fat(40, 70)
                                   .history({1800, 2100, 1900, 2500, 1200, 900, 2300})
                                   .entry();
  const DispatchCase cases[] = {
      {"small_energy_macros", F::systemSmall, 17, calorieDonut},
      {"small_energy_macros", F::systemMedium, 17, nullptr},
      {"medium_history", F::systemMedium, 17, history},
      {"medium_history", F::systemMedium, 15, history},
      {"medium_history", F::systemSmall, 17, nullptr},
      {"medium_history", F::accessoryRectangular, 17, nullptr},
      {"small_energy", F::accessoryInline, 16, inlineCalories},
      {"small_energy", F::accessoryCircular, 16, gauge},
      {"small_energy", F::accessoryRectangular, 16, lockMacros},
      {"small_energy", F::accessoryRectangular, 17, lockMacros},
      {"small_energy", F::systemSmall, 15, energy},
      {"small_energy", F::systemSmall, 17, energy},
      {"small_energy", F::systemMedium, 17, nullptr},
      {"small_energy", F::accessoryCircular, 15, nullptr},
      {"small_energy", F::accessoryInline, 15, nullptr},
      {"small_energy", F::accessoryRectangular, 15, nullptr},
      // The macro kinds outside the gallery have no family test.
      {"small_bar_macros", F::systemSmall, 17, smallBars},
      {"small_bar_macros", F::systemMedium, 15, smallBars},
      {"small_bar_macros", F::accessoryCircular, 16, smallBars},
      {"medium_bar_macros", F::systemMedium, 17, mediumBars},
      {"medium_bar_macros", F::systemSmall, 15, mediumBars},
      {"small_pie_macros", F::systemSmall, 17, smallPie},
      {"small_pie_macros", F::systemMedium, 16, smallPie},
      {"small_pie_macros", F::systemMedium, 17, smallPie},
      {"medium_pie_macros", F::systemMedium, 17, mediumPie},
      // Before lock-screen widgets the medium pie is drawn whatever the family.
      {"medium_pie_macros", F::accessoryCircular, 15, mediumPie},
      {"medium_pie_macros", F::systemSmall, 15, mediumPie},
      {"medium_pie_macros", F::accessoryRectangular, 16, lockMacros},
      {"medium_pie_macros", F::accessoryRectangular, 17, lockMacros},
      {"medium_pie_macros", F::accessoryCircular, 16, nullptr},
      {"medium_pie_macros", F::systemSmall, 16, nullptr},
      {"medium_pie_macros", F::systemSmall, 17, nullptr},
      {"medium_buttons", F::accessoryCircular, 16, barcodeButton},
      {"medium_buttons", F::accessoryCircular, 17, barcodeButton},
      {"medium_buttons", F::accessoryCircular, 15, nullptr},
      {"medium_buttons", F::systemMedium, 15, buttons},
      {"medium_buttons", F::systemMedium, 17, buttons},
      {"medium_buttons", F::systemSmall, 17, nullptr},
      // No family test for this kind: a home-screen family still gets the add-food button.
      {"lockscreen_button", F::systemSmall, 17, addFoodButton},
      {"lockscreen_button", F::accessoryCircular, 16, addFoodButton},
      {"lockscreen_calories", F::accessoryCircular, 17, nullptr},
      {"Small_Energy", F::systemSmall, 17, nullptr},
      {"", F::systemSmall, 17, nullptr},
  };
  for (const DispatchCase& c : cases) {
    SCOPED_TRACE(std::string(c.kind) + " " + std::string(familyName(c.family)) + " on " +
                 std::to_string(c.platform));
    WidgetTestEnvironment env("en", c.platform);
    std::ostringstream log;  // the pie charts log their angles
    ScopedExtensionLog capture(log);
    const Json drawn = widgetJson(KMWidgetEntryView{entry, c.family, c.kind}.body(), c.family);
    if (!c.expected) {
      EXPECT_TRUE(drawsNothing(drawn)) << drawn.dump().substr(0, 300);
      continue;
    }
    const Json direct = widgetJson(c.expected(entry), c.family);
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
