#pragma once

// The widget kinds the extension knows, one row each in kWidgetKinds: kind string, gallery
// texts, offered families, place in the gallery and the view that draws an entry. The
// catalogue, the bundle and the entry view all read the rows, so adding a kind is one row
// (and the include of the view file it draws).

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <vector>

#include "host/km_widget_entry_view.h"
#include "model/nutrition_entry.h"
#include "platform/ui/view.h"
#include "platform/widgetkit/platform_version.h"
#include "platform/widgetkit/widget_family.h"
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

// A kind is the position of its row in kWidgetKinds; the rows' order is the kinds' fixed
// order. Kinds are named by their kind string everywhere outside this table.
enum class WidgetKind : std::uint8_t {};

// Lock-screen families, and the lock-screen views of the home-screen kinds, exist from this
// platform major version.
inline constexpr int kLockScreenPlatform = 16;

inline bool lockScreenFamiliesAvailable() {
  return currentPlatformVersion().atLeast(kLockScreenPlatform);
}

// A family a kind offers in the gallery, from the platform version that introduced it.
struct OfferedFamily {
  WidgetFamily family = WidgetFamily::systemSmall;
  int sincePlatform = 0;  // 0: every version
};

// The families a kind offers, in gallery order, each at most once.
class OfferedFamilies {
 public:
  constexpr OfferedFamilies(std::initializer_list<OfferedFamily> families) {
    for (const OfferedFamily& f : families)
      items_[count_++] = f;
  }
  constexpr const OfferedFamily* begin() const { return items_.data(); }
  constexpr const OfferedFamily* end() const { return items_.data() + count_; }

 private:
  std::array<OfferedFamily, kAllWidgetFamilies.size()> items_{};
  std::size_t count_ = 0;
};

// Draws an entry of a signed-in user in a family; an empty view where the kind draws nothing.
using KindView = View (*)(const NutritionEntry& entry, WidgetFamily family);

struct WidgetKindDescriptor {
  std::string_view rawValue;
  std::string_view displayNameKey;  // gallery texts, shared by the kinds of one size
  std::string_view descriptionKey;
  OfferedFamilies families;
  int galleryPosition = 0;  // 1-based place in the bundle; 0: known and drawn, but not offered
  KindView view = nullptr;  // required
};

// The family tests of the views compare for equality, so at most one branch of each view
// matches; a lock-screen family is only drawn from the version that has it.
inline constexpr auto kWidgetKinds = std::to_array<WidgetKindDescriptor>({
    {.rawValue = "small_energy_macros",
     .displayNameKey = "ios_widgets_1",
     .descriptionKey = "ios_widgets_2",
     .families = {{WidgetFamily::systemSmall}},
     .view = [](const NutritionEntry& entry, WidgetFamily family) -> View {
       if (family == WidgetFamily::systemSmall) return SmallWidget{entry}.body();
       return EmptyView();
     }},
    {.rawValue = "medium_history",
     .displayNameKey = "ios_widgets_7",
     .descriptionKey = "ios_widgets_8",
     .families = {{WidgetFamily::systemMedium}},
     .galleryPosition = 2,
     .view = [](const NutritionEntry& entry, WidgetFamily family) -> View {
       if (family == WidgetFamily::systemMedium) return MediumWidget{entry, 5}.body();
       return EmptyView();
     }},
    {.rawValue = "small_energy",
     .displayNameKey = "ios_widgets_1",
     .descriptionKey = "ios_widgets_2",
     .families = {{WidgetFamily::systemSmall},
                  {WidgetFamily::accessoryInline, kLockScreenPlatform},
                  {WidgetFamily::accessoryCircular, kLockScreenPlatform}},
     .galleryPosition = 1,
     .view = [](const NutritionEntry& entry, WidgetFamily family) -> View {
       // The rectangular gauge is drawn though not offered: a host may still ask for it.
       const bool lock = lockScreenFamiliesAvailable();
       if (lock && family == WidgetFamily::accessoryInline) {
         return LockscreenInlineCalories{entry}.body();
       }
       if (lock && family == WidgetFamily::accessoryCircular) {
         return LockscreenSmallCalories{entry, 20, overGoalWordIsBig()}.body();
       }
       if (lock && family == WidgetFamily::accessoryRectangular) {
         return LockscreenMediumCalories{entry}.body();
       }
       if (family == WidgetFamily::systemSmall) return SmallWidgetEnergy{entry, false}.body();
       return EmptyView();
     }},
    {.rawValue = "small_bar_macros",
     .displayNameKey = "ios_widgets_1",
     .descriptionKey = "ios_widgets_2",
     .families = {{WidgetFamily::systemSmall}},
     .view = [](const NutritionEntry& entry, WidgetFamily) -> View {
       return SmallWidgetMacros{entry, true}.body();
     }},
    {.rawValue = "small_pie_macros",
     .displayNameKey = "ios_widgets_1",
     .descriptionKey = "ios_widgets_2",
     .families = {{WidgetFamily::systemSmall}},
     .view = [](const NutritionEntry& entry, WidgetFamily) -> View {
       return SmallWidgetMacroPie{entry, true}.body();
     }},
    {.rawValue = "medium_bar_macros",
     .displayNameKey = "ios_widgets_3",
     .descriptionKey = "ios_widgets_4",
     .families = {{WidgetFamily::systemMedium}},
     .view = [](const NutritionEntry& entry, WidgetFamily) -> View {
       return MediumWidgetEnergyMacroBars{entry}.body();
     }},
    {.rawValue = "medium_pie_macros",
     .displayNameKey = "ios_widgets_3",
     .descriptionKey = "ios_widgets_4",
     .families = {{WidgetFamily::systemMedium},
                  {WidgetFamily::accessoryRectangular, kLockScreenPlatform}},
     .galleryPosition = 3,
     .view = [](const NutritionEntry& entry, WidgetFamily family) -> View {
       // Before lock-screen families there is only the one home-screen view to draw.
       if (!lockScreenFamiliesAvailable()) return MediumWidgetEnergyMacroPie{entry}.body();
       if (family == WidgetFamily::accessoryRectangular) {
         return LockscreenMediumCalories{entry}.body();
       }
       if (family == WidgetFamily::systemMedium) return MediumWidgetEnergyMacroPie{entry}.body();
       return EmptyView();
     }},
    {.rawValue = "medium_buttons",
     .displayNameKey = "ios_widgets_5",
     .descriptionKey = "ios_widgets_6",
     .families = {{WidgetFamily::systemMedium},
                  {WidgetFamily::accessoryCircular, kLockScreenPlatform}},
     .galleryPosition = 4,
     .view = [](const NutritionEntry& entry, WidgetFamily family) -> View {
       if (lockScreenFamiliesAvailable() && family == WidgetFamily::accessoryCircular) {
         return LockscreenSmallButton{entry, "ic_barcode_24px", "barcodeScan"}.body();
       }
       if (family == WidgetFamily::systemMedium) return MediumWidgetEnergyButtons{entry}.body();
       return EmptyView();
     }},
    {.rawValue = "lockscreen_button",
     .displayNameKey = "ios_widgets_5",
     .descriptionKey = "ios_widgets_6",
     .families = {{WidgetFamily::accessoryCircular, kLockScreenPlatform}},
     .galleryPosition = 5,
     .view = [](const NutritionEntry& entry, WidgetFamily) -> View {
       return LockscreenSmallButton{entry, "ic_add_meal_24px", "addFood"}.body();
     }},
});

namespace widget_kind_checks {

constexpr bool rowsComplete() {
  for (std::size_t i = 0; i < kWidgetKinds.size(); ++i) {
    const WidgetKindDescriptor& row = kWidgetKinds[i];
    if (row.rawValue.empty() || row.displayNameKey.empty() || row.descriptionKey.empty()) {
      return false;
    }
    for (std::size_t j = i + 1; j < kWidgetKinds.size(); ++j) {
      if (kWidgetKinds[j].rawValue == row.rawValue) return false;
    }
  }
  return true;
}

constexpr std::size_t galleryCount() {
  std::size_t n = 0;
  for (const WidgetKindDescriptor& row : kWidgetKinds)
    n += row.galleryPosition > 0 ? 1 : 0;
  return n;
}

// Positions 1..n, each taken once.
constexpr bool galleryPositionsDense() {
  for (std::size_t p = 1; p <= galleryCount(); ++p) {
    std::size_t holders = 0;
    for (const WidgetKindDescriptor& row : kWidgetKinds)
      holders += row.galleryPosition == static_cast<int>(p) ? 1 : 0;
    if (holders != 1) return false;
  }
  return true;
}

}  // namespace widget_kind_checks

static_assert(kWidgetKinds.size() <= 256, "a kind is a row's position in one byte");
static_assert(widget_kind_checks::rowsComplete(),
              "each row needs a unique kind string and its keys");
static_assert(widget_kind_checks::galleryPositionsDense(), "gallery positions must be 1..n");

inline constexpr std::array<WidgetKind, kWidgetKinds.size()> kAllWidgetKinds = [] {
  std::array<WidgetKind, kWidgetKinds.size()> kinds{};
  for (std::size_t i = 0; i < kWidgetKinds.size(); ++i)
    kinds[i] = static_cast<WidgetKind>(i);
  return kinds;
}();

// The kind strings the gallery offers, in gallery order (null-terminated: they are literals).
inline constexpr std::array<const char*, widget_kind_checks::galleryCount()> kGalleryKinds = [] {
  std::array<const char*, widget_kind_checks::galleryCount()> kinds{};
  for (const WidgetKindDescriptor& row : kWidgetKinds) {
    if (row.galleryPosition > 0) kinds[row.galleryPosition - 1] = row.rawValue.data();
  }
  return kinds;
}();

// The row of a kind; fatal for a value that is not a row's position.
const WidgetKindDescriptor& descriptor(WidgetKind kind);

// The kind string ("small_energy", ...).
std::string_view rawValue(WidgetKind kind);
// Exact, case-sensitive match; nullopt for any other string.
std::optional<WidgetKind> widgetKindFromRawValue(std::string_view raw);

// Gallery texts' localisation keys and offered families of a kind string. Pure functions of
// their argument and the platform version; thread-safe. An unknown kind is a
// programming error and fatal. Families depend on the process's platform version: lock-screen
// families only from 16.
std::string_view displayNameKey(std::string_view kind);
std::string_view descriptionKey(std::string_view kind);
std::vector<WidgetFamily> supportedFamilies(std::string_view kind);

}  // namespace km
