// The inline widget's text and view.

#include "widgets/lockscreen/lockscreen_inline_calories.h"

#include <cstdint>

#include "base/checked.h"
#include "components/widget_background.h"
#include "resources/deep_links.h"
#include "resources/palette.h"
#include "resources/units.h"
#include "resources/widget_utils.h"

namespace km {

std::string LockscreenInlineCalories::inlineText() const {
  const WidgetNutritionSummary& n = entry.nutrition;
  // Checked even for a stale record: a broken value is a fault whichever day it belongs to.
  const std::int64_t eatenRaw = checkedInt64(n.energyCurrent);
  const std::int64_t eaten = WidgetUtils::isToday(n.currentDate) ? eatenRaw : 0;
  const std::string unit = energyGaugeUnitLabel(n.isKilojoules);
  const std::int64_t goal = checkedInt64(n.energyTotal);
  if (goal < eaten) {
    // The excess of the unrounded values, so 2001.0 against 2000.2 is 0 over, not 1.
    const std::int64_t over = checkedInt64(n.energyCurrent - n.energyTotal);
    return std::to_string(over) + " " + unit + " " + localizedString("ios_widgets_10");
  }
  return std::to_string(eaten) + " / " + std::to_string(goal) + " " + unit + " ";
}

View LockscreenInlineCalories::body() const {
  View line = HStack(VerticalAlignment::center, std::nullopt,
                     {Image("ic_km_keyhole_16px")
                          .renderingMode(ImageRenderingMode::template_)
                          .foregroundColor(palette().green),
                      Text(inlineText())});
  return widgetBackground(line, palette().backgroundPrimary)
      .widgetURL(lockscreenCaloriesInlineLink().absoluteString());
}

}  // namespace km
