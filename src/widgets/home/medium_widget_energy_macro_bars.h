#pragma once

// MediumWidgetEnergyMacroBars: the energy ring beside the three nutrient bars.

#include "model/nutrition_entry.h"
#include "platform/ui/view.h"

namespace km {

// The medium widget that puts the small energy ring and the three nutrient bars side by side
// for one entry. The energy half gives up its own tap URL so that it does not swallow taps meant
// for the whole widget; the bars half keeps its diary link. A plain value; `body()` is safe to
// call from any thread.
struct MediumWidgetEnergyMacroBars {
  NutritionEntry entry;

  View body() const;
};

}  // namespace km
