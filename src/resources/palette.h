#pragma once

// Palette: the widgets' colours.

#include "platform/ui/color.h"

namespace km {

// The widgets' colours, made once on first use and shared: asset colours (resolved against the
// appearance when drawn) and fixed colours parsed from hexadecimal text, which look the same in
// light and dark. Immutable after construction, so safe to read from any thread.
struct Palette {
  Color textPrimary;          // "widget-text-primary"
  Color textSecondary;        // "widget-text-secondary"
  Color backgroundTertiary;   // "widget-background-tertiary"
  Color backgroundPrimary;    // "widget-background-primary"
  Color backgroundSecondary;  // "widget-background-secondary"
  Color backgroundLight;      // "widget-background-light"
  // A second handle on "widget-background-light", under the name the ring and bar views use
  // for their empty tracks.
  Color track;
  Color primaryFull;   // "widget-primary-full"
  Color carbs;         // 75C3DB
  Color protein;       // F48881
  Color fat;           // F9C54A
  Color primaryFaded;  // "widget-primary-faded"
  Color lightGreen;    // #94EBB8
  Color green;         // #03B000
  Color lightYellow;   // #FDEB8F
  Color warning;       // #DE7300
};

const Palette& palette();

}  // namespace km
