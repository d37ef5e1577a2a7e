#pragma once

// SmallWidgetEnergy: the small energy ring widget.

#include "model/nutrition_entry.h"
#include "platform/ui/view.h"

namespace km {

// The small home-screen energy widget: a two-lap progress ring of the day's energy with, in
// its middle, the energy left to eat (or the excess and the word for "over" once the goal is
// passed) above the goal and its unit. Medium widgets embed it with `blockLink` so their own
// links apply. A plain value; body() reads the process's clock, zone, language and platform
// version when called and is safe from any thread.
struct SmallWidgetEnergy {
  NutritionEntry entry;
  // True: set no whole-widget tap URL (the embedding widget supplies the links).
  bool blockLink = false;

  // Fatal when the goal (or today's energy) is not finite or does not fit 64 bits.
  View body() const;

  // What the texts in the ring's middle say, for the body and for callers that need the figures.
  struct Texts {
    std::string mainNumber;    // left to eat, or the excess when over the goal
    std::string overGoalWord;  // empty unless over the goal
    std::string goalLine;      // "/2000 Kcal", or "2000 Kcal" when over the goal
  };
  Texts texts() const;
  // The ring's progress: eaten over goal for today's record (by the calendar's today test), 0
  // for an older one. Not clamped; a goal of 0 gives infinity (or not-a-number with 0 eaten).
  double ringProgress() const;
};

}  // namespace km
