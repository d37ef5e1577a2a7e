// The round energy gauge's view, below and past the goal.

#include "widgets/lockscreen/lockscreen_small_calories.h"

#include <algorithm>
#include <string>

#include "base/checked.h"
#include "components/widget_background.h"
#include "platform/foundation/text.h"
#include "platform/widgetkit/platform_version.h"
#include "resources/deep_links.h"
#include "resources/palette.h"
#include "resources/units.h"
#include "resources/widget_utils.h"

namespace km {

View LockscreenSmallCalories::body() const {
  const WidgetNutritionSummary& n = entry.nutrition;
  // Not guarded: a goal of 0 gives infinity (over the goal) or, with nothing eaten,
  // not-a-number, which is not over the goal and goes to the progress view as it is.
  const double p = n.energyCurrent / n.energyTotal;
  const bool today = WidgetUtils::isToday(n.currentDate);
  const std::string unit = energyGaugeUnitLabel(n.isKilojoules);
  const Color white = Color::white().opacity(1);

  View content;
  if (p > 1 && today) {
    const std::int64_t over = checkedInt64(n.energyCurrent - n.energyTotal);
    StrokeStyle style;
    style.lineWidth = 8;
    style.lineCap = LineCap::round;
    style.lineJoin = LineJoin::miter;
    style.miterLimit = 10;
    const double trim = overRingTrim();
    const double turn = overRingDegrees();
    // How much of the diameter the chord across the gap leaves for the word, inside the
    // ring's round caps: about 0.55 for the 120-degree gap, 0.75 for the wider one.
    const double wordWidthFactor = isBigWord ? 0.75 : 0.55;
    const std::string number = std::to_string(over);
    const std::string word = lowercased(localizedString("ios_widgets_10"));
    content = GeometryReader([=](const GeometryProxy& proxy) {
      const double side = std::min(proxy.size.width, proxy.size.height);
      View ring = Circle()
                      .trim(0, trim)
                      .stroke(white, style)
                      .rotationEffect(Angle::degrees(turn))
                      // The stroke is centred on the circle; half its width inside keeps it
                      // whole within the round widget.
                      .padding(style.lineWidth / 2);
      // The number sits a little above the centre with the unit tight under it; the word
      // drops into the gap the open ring leaves at the bottom. Each line has a fixed height
      // so that scripts with tall line boxes (Arabic, Thai) keep the same rhythm.
      View figures = VStack(HorizontalAlignment::center, 0,
                            {Text(number)
                                 .font(18, FontWeight::semibold)
                                 .foregroundColor(white)
                                 .lineLimit(1)
                                 .minimumScaleFactor(0.6)
                                 .frame(side * 0.7, 20),
                             Text(unit)
                                 .font(10, FontWeight::medium)
                                 .foregroundColor(white)
                                 .lineLimit(1)
                                 .minimumScaleFactor(0.7)
                                 .frame(side * 0.7, 12),
                             Text(word)
                                 .font(Font::headline())
                                 .foregroundColor(white)
                                 .lineLimit(1)
                                 .minimumScaleFactor(0.4)
                                 .frame(side * wordWidthFactor, 24)});
      return ZStack(Alignment::center(), {ring, figures.padding(Edge::top, 8)})
          .frame(proxy.size.width, proxy.size.height);
    });
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
