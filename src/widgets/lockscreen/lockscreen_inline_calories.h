#pragma once

// LockscreenInlineCalories: the one-line lock-screen energy widget.

#include <string>

#include "model/nutrition_entry.h"
#include "platform/ui/view.h"

namespace km {

// The one-line lock-screen widget above the clock: the keyhole and "eaten / goal unit ", or
// "excess unit over" once today's energy passes the goal. A plain value; body() reads the
// process's clock, zone and language and is safe from any thread.
struct LockscreenInlineCalories {
  NutritionEntry entry;

  // The line of text, exactly as shown (with its trailing blank in the eaten / goal form).
  // Fatal when an energy is not finite or does not fit 64 bits.
  std::string inlineText() const;
  View body() const;
};

}  // namespace km
