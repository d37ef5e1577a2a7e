#include "widgets/lockscreen/lockscreen_small_calories.h"

#include <string>

#include "base/checked.h"
#include "components/widget_background.h"
#include "platform/foundation/text.h"
#include "platform/widgetkit/platform_version.h"
#include "resources/deep_links.h"
#include "resources/palette.h"
#include "resources/widget_utils.h"

namespace km {

namespace {

std::string energyLabel(bool isKilojoules) {
  if (isKilojoules) return localizedString("KilojouleShort");
  return capitalized(localizedString("CaloriesShort_2"));
}

}  // namespace

View LockscreenSmallCalories::body() const {
  const WidgetNutritionSummary& n = entry.nutrition;
  // Not guarded: a goal of 0 gives infinity (over the goal) or, with nothing eaten,
  // not-a-number, which is not over the goal and goes to the progress view as it is.
  const double p = n.energyCurrent / n.energyTotal;
  const bool today = WidgetUtils::isToday(n.currentDate);
  const std::string unit = energyLabel(n.isKilojoules);
  const Color white = Color::white().opacity(1);

  View content;
  if (p > 1 && today) {
    const std::int64_t over = checkedInt64(n.energyCurrent - n.energyTotal);
    StrokeStyle style;
    style.lineWidth = 8;
    style.lineCap = LineCap::round;
    style.lineJoin = LineJoin::miter;
    style.miterLimit = 10;
    View ring = Circle()
                    .trim(0, overRingTrim())
                    .stroke(white, style)
                    .rotationEffect(Angle::degrees(overRingDegrees()));
    // The number sits a little above the centre with the unit tight under it; the word drops
    // into the gap the open ring leaves at the bottom.
    View figures =
        VStack(HorizontalAlignment::center, 0,
               {Text(std::to_string(over)).font(18, FontWeight::semibold).foregroundColor(white),
                Text(unit).font(10, FontWeight::medium).foregroundColor(white).offset(0, -2),
                Text(lowercased(localizedString("ios_widgets_10")))
                    .font(Font::headline())
                    .foregroundColor(white)
                    .lineLimit(1)
                    .minimumScaleFactor(0.5)});
    content = ZStack(Alignment::center(), {ring, figures.padding(Edge::top, 6)});
  } else {
    double value = p;
    if (!today) {
      value = 0;
    } else if (p > 1) {
      value = 1;
    }
    const std::int64_t eaten = today ? checkedInt64(n.energyCurrent) : 0;
    View label = Text(std::to_string(eaten) + "\n" + unit)
                     .font(12, FontWeight::semibold)
                     .multilineTextAlignment(TextAlignment::center)
                     .foregroundColor(white);
    content = ProgressView(value, 1, EmptyView(), label);
  }

  View root = ZStack(Alignment::center(), {content});
  if (currentPlatformVersion().atLeast(16)) root = root.widgetAccentable();
  return widgetBackground(root, palette().backgroundPrimary)
      .widgetURL(lockscreenCaloriesLink().absoluteString());
}

}  // namespace km
