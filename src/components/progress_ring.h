#pragma once

// ProgressRing: the two-lap circular gauge of energy eaten against the goal.

#include <vector>

#include "platform/ui/color.h"
#include "platform/ui/paint.h"
#include "platform/ui/view.h"

namespace km {

// A circular gauge of `progress` (eaten over goal) that shows up to two laps: the first lap's
// arc grows clockwise from twelve o'clock in `gradientColours` over a light track; between one
// and two laps the track takes the first lap's end colour and the arc restarts in
// `gradientOver`; from two laps on the ring is a plain warning-orange circle. Round dots of the
// stroke's width cover the arc's start and, near a whole lap, its end, so the seam of the
// angular gradient never shows. The ring fills its frame; its diameter is the frame's smaller
// side. A plain value; body() is a pure function of the fields and safe from any thread.
struct ProgressRing {
  double progress = 0;  // 1.0 is a full lap; not clamped
  double lineWidth = 10;
  // At least two colours: [0] starts the first lap (start dot), [1] ends it (end dot, and the
  // track of the second lap). A shorter list is a programming error, fatal when drawn.
  std::vector<Color> gradientColours = defaultGradientColours();
  AngularGradient gradientOver = defaultGradientOver();

  View body() const;

  // Light green to green.
  static std::vector<Color> defaultGradientColours();
  // Green, yellow and orange, swept from -6 to 354 degrees around the centre, so the second
  // lap's start sits just before twelve o'clock and never meets its end colour.
  static AngularGradient defaultGradientOver();
};

}  // namespace km
