// The energy-and-buttons widget's view.

#include "widgets/home/medium_widget_energy_buttons.h"

#include "components/button.h"
#include "components/widget_background.h"
#include "resources/palette.h"
#include "widgets/home/small_widget_energy.h"

namespace km {

namespace {

constexpr double kSpacing = 14;

}  // namespace

View MediumWidgetEnergyButtons::body() const {
  const View energy = SmallWidgetEnergy{entry, true}.body().padding(EdgeInsets{2, 6, 2, 0});
  const View grid = HStack(VerticalAlignment::center, kSpacing,
                           {
                               VStack(HorizontalAlignment::center, kSpacing,
                                      {Button{"ic_add_meal_24px", "addFood"}.body(),
                                       Button{"ic_add_exercise_24px", "exercise"}.body()}),
                               VStack(HorizontalAlignment::center, kSpacing,
                                      {Button{"ic_barcode_24px", "barcodeScan"}.body(),
                                       Button{"ic_weight_24px", "weighIn"}.body()}),
                           })
                        .padding(EdgeInsets{20, 17, 20, 23});
  // The same background as the energy half, so the widget reads as one surface.
  return widgetBackground(HStack(VerticalAlignment::center, kSpacing, {energy, grid}),
                          palette().backgroundPrimary);
}

}  // namespace km
