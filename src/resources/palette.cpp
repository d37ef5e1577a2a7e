// Making the shared palette once.

#include "resources/palette.h"

#include "resources/widget_utils.h"

namespace km {

const Palette& palette() {
  // A function-local static: built once, thread-safely, on first use.
  static const Palette kPalette = [] {
    Palette p;
    p.textPrimary = Color::named("widget-text-primary");
    p.textSecondary = Color::named("widget-text-secondary");
    p.backgroundTertiary = Color::named("widget-background-tertiary");
    p.backgroundPrimary = Color::named("widget-background-primary");
    p.backgroundSecondary = Color::named("widget-background-secondary");
    p.backgroundLight = Color::named("widget-background-light");
    p.track = p.backgroundLight;
    p.primaryFull = Color::named("widget-primary-full");
    p.carbs = WidgetUtils::colorFromHex("75C3DB");
    p.protein = WidgetUtils::colorFromHex("F48881");
    p.fat = WidgetUtils::colorFromHex("F9C54A");
    p.primaryFaded = Color::named("widget-primary-faded");
    p.lightGreen = WidgetUtils::colorFromHex("#94EBB8");
    p.green = WidgetUtils::colorFromHex("#03B000");
    p.lightYellow = WidgetUtils::colorFromHex("#FDEB8F");
    p.warning = WidgetUtils::colorFromHex("#DE7300");
    return p;
  }();
  return kPalette;
}

}  // namespace km
