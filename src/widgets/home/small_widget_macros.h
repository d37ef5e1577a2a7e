#pragma once

// SmallWidgetMacros: the small widget of three nutrient bars.

#include "model/nutrition_entry.h"
#include "platform/ui/view.h"

namespace km {

// The small widget of three nutrient bars (carbohydrate, fat, protein), each today's grams
// against the goal. It shows the record's amounts whatever day the record describes. With
// `withLink` its whole area opens the diary under the widget name "medium_pie_macros" (the
// macro widgets share one diary destination); without it the area opens nothing of its own
// and an embedding widget decides. A plain value; `body()` reads the language setting and the
// platform version, and is safe to call from any thread.
struct SmallWidgetMacros {
  NutritionEntry entry;
  bool withLink = false;

  View body() const;
};

}  // namespace km
