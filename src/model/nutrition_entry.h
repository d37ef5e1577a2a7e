#pragma once

// NutritionEntry: one timeline entry.

#include "model/widget_nutrition_summary.h"
#include "platform/foundation/date.h"

namespace km {

// One timeline entry: the record to show and when to show it. A plain value, set at creation.
struct NutritionEntry {
  Date date;
  WidgetNutritionSummary nutrition;

  friend bool operator==(const NutritionEntry&, const NutritionEntry&) = default;
};

}  // namespace km
