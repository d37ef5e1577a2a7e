#pragma once

// LoadingBar: a thin rounded progress bar with a gradient fill.

#include <vector>

#include "platform/ui/color.h"
#include "platform/ui/view.h"

namespace km {

// A thin rounded bar, 6 points high and as wide as its parent offers, filled from the leading
// edge in proportion to `progress` with a gradient of `colours` over a `backgroundColour` track.
// A plain value; `body()` builds a fresh view each time and is safe to call from any thread.
struct LoadingBar {
  // The fill, from the leading to the trailing edge; a single colour gives a plain fill.
  std::vector<Color> colours;
  Color backgroundColour;
  // The filled fraction. Values at or below 0 draw no fill, at or above 1 a full one. NaN is
  // not clamped (neither comparison holds) and gives a fill of undefined width; callers that
  // can produce it decide whether that matters.
  double progress = 0;

  View body() const;
};

}  // namespace km
