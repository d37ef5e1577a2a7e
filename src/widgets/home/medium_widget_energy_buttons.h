#pragma once

// MediumWidgetEnergyButtons: the energy ring beside four action buttons.

#include "model/nutrition_entry.h"
#include "platform/ui/view.h"

namespace km {

// The medium widget with the small energy ring on the left and four action buttons on the
// right (add food, exercise, barcode scan, weigh-in), each opening the app at its own action.
// The buttons do not depend on the entry. A plain value; `body()` is safe to call from any
// thread.
struct MediumWidgetEnergyButtons {
  NutritionEntry entry;

  View body() const;
};

}  // namespace km
