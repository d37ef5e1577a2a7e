// The energy-and-pie widget's view.

#include "widgets/home/medium_widget_energy_macro_pie.h"

#include "components/widget_background.h"
#include "resources/palette.h"
#include "widgets/home/small_widget_energy.h"
#include "widgets/home/small_widget_macro_pie.h"

namespace km {

View MediumWidgetEnergyMacroPie::body() const {
  const NutritionEntry e = entry;
  const View halves = GeometryReader([e](const GeometryProxy& geometry) {
    // The halves mirror each other's padding so the pair sits evenly in the widget.
    return HStack(VerticalAlignment::center, std::nullopt,
                  {
                      SmallWidgetEnergy{e, true}.body().padding(EdgeInsets{2, 4, 2, 0}),
                      SmallWidgetMacroPie{e, false}.body().padding(EdgeInsets{2, 0, 2, 4}),
                  })
        .frame(geometry.size.width, geometry.size.height);
  });
  return widgetBackground(halves, palette().backgroundPrimary);
}

}  // namespace km
