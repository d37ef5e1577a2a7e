#pragma once

// NutrientProgressBar: one nutrient's labelled progress bar.

#include <string>
#include <vector>

#include "platform/ui/color.h"
#include "platform/ui/view.h"

namespace km {

// One nutrient's labelled bar: a row with the nutrient's name, an orange "!" badge when more
// was eaten than the goal allows, and "eaten/goal unit" at the trailing end, above a
// `LoadingBar`. A plain value; `body()` is safe to call from any thread.
struct NutrientProgressBar {
  std::vector<Color> colours;   // the bar's gradient, leading to trailing
  std::string name;             // shown as given (callers pass the localised text)
  double currentAmount = 0;     // eaten
  double totalAmount = 0;       // goal
  std::string measurementUnit;  // appended to the amounts, e.g. the localised gram unit

  // Fatal when either amount is not finite or does not fit a 64-bit integer: the numbers shown
  // are never silently wrapped.
  View body() const;
};

}  // namespace km
