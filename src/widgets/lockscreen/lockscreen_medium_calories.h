#pragma once

// LockscreenMediumCalories: the rectangular lock-screen macros widget and its nested views.

#include <cstdint>
#include <string>

#include "model/nutrition_entry.h"
#include "platform/foundation/date.h"
#include "platform/ui/view.h"

namespace km {

// The accessoryRectangular macros widget: carbohydrate, fat and protein as shares of today's
// energy. Views are plain values; building reads the current date and the app's language, so
// build them on the thread that lays them out. Thread-safe while the process settings hold.

// Today's energy split among the three macronutrients in whole percent. The two truncated
// shares are fat and protein; carbohydrate takes the remainder so the three always add up to
// 100, and the fraction lost to truncation lands on it. A record that is not of today, or one
// with no energy from the three, gives 0 everywhere. A pure value.
struct PercentageMachine {
  double carbs = 0;
  double fat = 0;
  double prot = 0;
  Date dateCheck;

  struct Shares {
    std::int64_t carbs = 0;
    std::int64_t fat = 0;
    std::int64_t protein = 0;
    friend bool operator==(const Shares&, const Shares&) = default;
  };
  // Fatal for a share that is not a finite number within the 64-bit range (only reachable with
  // non-finite grams).
  Shares shares() const;
};

// One column: the nutrient's short name, its percentage and a bar as long as its share.
struct InfoLine {
  std::string text;
  std::int64_t percentage = 0;
  double lineHeight = 6;

  View body() const;
};

// The three columns side by side, carbohydrate first.
struct mainBody {
  NutritionEntry entry;

  View body() const;
};

struct LockscreenMediumCalories {
  NutritionEntry entry;

  View body() const;
};

}  // namespace km
