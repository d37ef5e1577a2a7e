#pragma once

// LockscreenSmallCalories: the round lock-screen energy gauge.

#include <cstdint>
#include <optional>
#include <string>

#include "model/nutrition_entry.h"
#include "platform/ui/view.h"

namespace km {

// The round lock-screen energy gauge. Up to the goal it is the platform's circular progress
// view with the energy eaten and its unit in the middle; past the goal (today's record only)
// it becomes an open ring with the excess, the unit and the word for "over" in the ring's gap
// at the bottom. A plain value; body() reads the process's clock, zone, language and platform
// version and is safe from any thread.
struct LockscreenSmallCalories {
  NutritionEntry entry;
  // Chosen by the creator; the gauge's own strokes are the platform's and a fixed 8 points.
  double lineWidth = 20;
  // A long over-goal word needs the wider gap at the bottom of the open ring.
  bool isBigWord = false;

  // Fatal when a shown energy is not finite or does not fit 64 bits.
  View body() const;

  // The ring's trim end and turn for the gap size: 240 degrees of arc centred on the top, or
  // 208.8 degrees for a big word.
  double overRingTrim() const { return isBigWord ? 0.58 : 0.6666; }
  double overRingDegrees() const { return isBigWord ? -193.5 : -210; }
};

}  // namespace km
