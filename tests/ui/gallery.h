#pragma once

// Demonstration views shared by the gallery program, the render tests and the benchmarks: small
// widget-like compositions that exercise rings, gradients, text weights, icons and scripts.

#include "platform/ui/view.h"

namespace km::gallery {

// A small energy widget: a ring with an angular gradient trimmed to `progress`, a start dot and
// two lines of text in the middle.
View ringWidget(double progress);
// A medium widget: a column of weights, an icon, Arabic and Japanese text.
View textWidget();
// A medium widget of four shadowed icon tiles, each covered by a link.
View buttonsWidget();
// A lock-screen circular gauge.
View gaugeWidget(double value);

}  // namespace km::gallery
