// The history widget's views: bars, goal line, week validity and labels.

#include "widgets/home/medium_widget.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include "base/checked.h"
#include "base/fatal_error.h"
#include "components/background_deep_link.h"
#include "components/widget_background.h"
#include "platform/foundation/calendar.h"
#include "resources/palette.h"
#include "resources/units.h"
#include "resources/widget_utils.h"

namespace km {

namespace {

constexpr int kDaysInWeek = 7;
constexpr double kLetterFontSize = 11;
constexpr double kDayMarkSize = 16;

}  // namespace

double weekMaximum(const std::vector<double>& calories) {
  double maximum = 0;
  const std::size_t count = std::min<std::size_t>(calories.size(), kDaysInWeek);
  for (std::size_t i = 0; i < count; ++i) {
    if (calories[i] > maximum) maximum = calories[i];
  }
  return maximum;
}

bool isHistoryDataValid(Date validationDate, Date now) {
  const Calendar calendar = Calendar::current();
  const int dataDay = calendar.dayOfMonth(validationDate);
  const int today = calendar.dayOfMonth(now);
  if (dataDay + 6 < today) return false;
  if (today == dataDay) return true;
  const int weekdayNow = calendar.weekday(now);
  const int weekdayData = calendar.weekday(validationDate);
  // On a Sunday the whole Monday-to-Sunday week is behind us; otherwise the data must be from
  // this week's Monday up to today (a Sunday belongs to the week before).
  if (weekdayNow == 1) return true;
  return weekdayData != 1 && weekdayData <= weekdayNow;
}

Shape Line::body() const {
  const double y = yPos;
  return Shape::custom("line", [y](const Rect& r) {
    Path p;
    p.move({r.x, r.y + y});
    p.addLine({r.x + r.width, r.y + y});
    return p;
  });
}

double HistoryBar::barHeight(double height) const {
  if (!isHistoryDataValid(validationDate, now())) return kMinimumHeight;
  // The taller of goal and best day reaches the top, so the goal line and bars share a scale.
  const double scale = targetAmount > maxAmount ? targetAmount : maxAmount;
  const double h = (height - kLabelBand) * energyAmount / scale;
  // Also catches 0/0 (an empty week) and negative days.
  if (!(h >= kMinimumHeight)) return kMinimumHeight;
  return h;
}

View HistoryBar::body() const {
  const HistoryBar bar = *this;
  return GeometryReader([bar](const GeometryProxy& g) {
    const Palette& colors = palette();
    const double height = bar.barHeight(g.size.height);
    const double radius = std::min(height, g.size.width) / 2;
    // An empty day is a flat, faint stub rather than a green one.
    const LinearGradient fill =
        bar.energyAmount == 0
            ? LinearGradient{Gradient::evenlySpaced(
                  {colors.backgroundTertiary, colors.backgroundTertiary})}
            : LinearGradient{Gradient::evenlySpaced({colors.lightGreen, colors.green})};
    const double barArea = std::max(0.0, g.size.height - kLabelBand);
    const View barView = RoundedRectangle(radius)
                             .fill(fill)
                             .frame(std::nullopt, height)
                             .frame(g.size.width, barArea, Alignment::bottom());
    const View label =
        ZStack({RoundedRectangle(kDayMarkSize / 2)
                    .fill(bar.isActiveDay ? colors.backgroundTertiary : Color::clear())
                    .frame(kDayMarkSize, kDayMarkSize),
                Text(bar.dayLetter)
                    .font(kLetterFontSize)
                    .foregroundColor(bar.isActiveDay ? Color::white() : colors.textSecondary)})
            .frame(FrameBounds{
                .maxWidth = kInfinity, .minHeight = kLabelBand, .maxHeight = kLabelBand});
    return VStack(HorizontalAlignment::center, 0, {barView, label});
  });
}

std::string HistoryBarGraph::goalText() const {
  return localizedString("ios_widget_goal") + ": " + std::to_string(checkedInt64(targetAmount)) +
         energyUnitShort(isKilojoules);
}

std::vector<HistoryBar> HistoryBarGraph::bars() const {
  if (calories.size() < kDaysInWeek) {
    fatalError("Index out of range: the week's energy holds " + std::to_string(calories.size()) +
               " days, 7 are required");
  }
  const Calendar calendar = Calendar::current();
  const int first = calendar.firstWeekday();
  const std::vector<std::string> letters = calendar.veryShortStandaloneWeekdaySymbols();
  const double maximum = weekMaximum(calories);
  std::vector<HistoryBar> result;
  result.reserve(kDaysInWeek);
  for (int i = 0; i < kDaysInWeek; ++i) {
    const int n = first + i;
    const int day = n > 7 ? n - 7 : (n < 1 ? n + 7 : n);
    const std::size_t letterIndex = static_cast<std::size_t>(n <= 7 ? n - 1 : n - 8);
    HistoryBar bar;
    bar.dayLetter = letterIndex < letters.size() ? letters[letterIndex] : std::string();
    bar.energyAmount = calories[static_cast<std::size_t>(i)];
    bar.maxAmount = maximum;
    bar.targetAmount = targetAmount;
    bar.isActiveDay = day == weekday;
    bar.validationDate = validationDate;
    result.push_back(std::move(bar));
  }
  return result;
}

double HistoryBarGraph::targetLineY(double height) const {
  const double maximum = weekMaximum(calories);
  if (targetAmount > maximum) return 0;
  // Unguarded on purpose: an empty week with no goal has no meaningful line (NaN, not drawn).
  return (height - HistoryBar::kLabelBand) * (1 - targetAmount / maximum);
}

View HistoryBarGraph::body() const {
  const Palette& colors = palette();
  const HistoryBarGraph graph = *this;
  std::vector<View> barViews;
  for (const HistoryBar& bar : bars())
    barViews.push_back(bar.body());
  const View barRow = HStack(VerticalAlignment::center, barSpacing, std::move(barViews));
  StrokeStyle dashed;
  dashed.lineWidth = 1;
  dashed.miterLimit = 10;
  dashed.dash = {5};
  dashed.dashPhase = 0;
  const View graphArea = GeometryReader([graph, barRow, dashed](const GeometryProxy& g) {
    const View line = Line{graph.targetLineY(g.size.height)}
                          .body()
                          .stroke(palette().textSecondary, dashed)
                          .frame(std::nullopt, 1);
    return ZStack(Alignment::top(), {line, barRow});
  });
  const View goal =
      Text(goalText())
          .font(11)
          .foregroundColor(colors.textSecondary)
          .frame(FrameBounds{.maxWidth = kInfinity, .alignment = Alignment::leading()});
  return VStack(HorizontalAlignment::center, std::nullopt, {goal, graphArea});
}

HistoryBarGraph MediumWidget::graph() const {
  HistoryBarGraph g;
  g.calories = entry.nutrition.energyDays;
  g.targetAmount = entry.nutrition.energyTotal;
  g.barSpacing = 6;
  g.isKilojoules = entry.nutrition.isKilojoules;
  g.validationDate = entry.date;
  g.weekday = Calendar::current().weekday(now());
  return g;
}

View MediumWidget::body() const {
  const View graphView = graph().body();
  const View content = GeometryReader([graphView](const GeometryProxy& g) {
    // The diary link over the whole widget, so a tap anywhere opens the diary.
    return ZStack({HStack({graphView.padding(EdgeInsets{20, 8, 10, 24})}),
                   BackgroundDeepLink{g.size.width, g.size.height, "medium_history"}.body()});
  });
  return widgetBackground(content, palette().backgroundPrimary);
}

}  // namespace km
