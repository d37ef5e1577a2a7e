// The energy-and-bars widget's view.

#include "widgets/home/medium_widget_energy_macro_bars.h"

#include "platform/widgetkit/platform_version.h"
#include "resources/palette.h"
#include "widgets/home/small_widget_energy.h"
#include "widgets/home/small_widget_macros.h"

namespace km {

View MediumWidgetEnergyMacroBars::body() const {
  const NutritionEntry e = entry;
  View content = GeometryReader([e](const GeometryProxy&) {
    // No spacing: each half already keeps its own margins, and equal halves keep the ring as
    // large as in the small widget.
    return HStack(VerticalAlignment::center, 0,
                  {
                      SmallWidgetEnergy{e, true}.body(),
                      SmallWidgetMacros{e, true}.body(),
                  });
  });
  // Before containers had a background of their own, each half paints its own.
  if (currentPlatformVersion().atLeast(17)) {
    content = content.containerBackground(palette().backgroundPrimary);
  }
  return content;
}

}  // namespace km
