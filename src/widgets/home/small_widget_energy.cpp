// The small energy widget's ring, texts and view.

#include "widgets/home/small_widget_energy.h"

#include <cstdint>
#include <string>

#include "base/checked.h"
#include "components/progress_ring.h"
#include "components/widget_background.h"
#include "platform/foundation/calendar.h"
#include "platform/foundation/text.h"
#include "resources/deep_links.h"
#include "resources/palette.h"
#include "resources/units.h"
#include "resources/widget_utils.h"

namespace km {

double SmallWidgetEnergy::ringProgress() const {
  const WidgetNutritionSummary& n = entry.nutrition;
  if (!Calendar::current().isDateInToday(n.currentDate)) return 0;
  return n.energyCurrent / n.energyTotal;
}

SmallWidgetEnergy::Texts SmallWidgetEnergy::texts() const {
  const WidgetNutritionSummary& n = entry.nutrition;
  // The texts use the day-number test, which can disagree with the calendar's near midnight;
  // a record from another day shows nothing eaten.
  const std::int64_t eaten =
      WidgetUtils::isToday(n.currentDate) ? checkedInt64(n.energyCurrent) : 0;
  const std::int64_t goal = checkedInt64(n.energyTotal);
  const std::string unit = energyGaugeUnitLabel(n.isKilojoules);
  Texts t;
  // Appended piece by piece: GCC 12's -Wrestrict misfires on "/" + std::string at -O3.
  if (eaten <= goal) {
    t.mainNumber = std::to_string(checkedSub(goal, eaten));
    t.goalLine.append("/");
  } else {
    t.mainNumber = std::to_string(checkedSub(eaten, goal));
    t.overGoalWord = lowercased(localizedString("ios_widgets_10"));
  }
  t.goalLine.append(std::to_string(goal)).append(" ").append(unit);
  return t;
}

View SmallWidgetEnergy::body() const {
  const double progress = ringProgress();
  const Texts t = texts();
  const Palette& colors = palette();

  std::vector<View> column;
  column.push_back(
      Text(t.mainNumber).font(18, FontWeight::bold).foregroundColor(colors.textPrimary));
  if (!t.overGoalWord.empty()) {
    column.push_back(Text(t.overGoalWord)
                         .font(14, FontWeight::semibold)
                         .foregroundColor(colors.warning)
                         .lineLimit(1)
                         .minimumScaleFactor(0.75));
  }
  column.push_back(Text(t.goalLine)
                       .font(14, FontWeight::regular)
                       .foregroundColor(colors.textSecondary)
                       .padding(Edge::top, 4));

  View widget = GeometryReader([=](const GeometryProxy& proxy) {
    View content =
        ZStack(Alignment::center(), {ProgressRing{progress, 10}.body().padding(16),
                                     VStack(HorizontalAlignment::center, std::nullopt, column)})
            .padding(4)
            .frame(proxy.size.width, proxy.size.height);
    return widgetBackground(content, colors.backgroundPrimary);
  });
  if (blockLink) return widget;
  return widget.widgetURL(smallEnergyLink().absoluteString());
}

}  // namespace km
