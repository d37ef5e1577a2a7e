// The small calorie widget's views and their figures.

#include "widgets/home/small_widget.h"

#include <cmath>
#include <numbers>

#include "base/checked.h"
#include "components/donut_chart.h"
#include "components/loading_bar.h"
#include "components/widget_background.h"
#include "resources/palette.h"
#include "resources/units.h"
#include "resources/widget_utils.h"

namespace km {

std::string SmallWidget::CalorieView::eatenText() const {
  if (!WidgetUtils::isToday(dateCheck)) return "0";
  return std::to_string(checkedInt64(currentEnergy));
}

std::string SmallWidget::CalorieView::goalText() const {
  // Appended rather than `"/" + to_string(...)`: GCC 12 at -O3 reports a false -Wrestrict there.
  std::string text = "/";
  text += std::to_string(checkedInt64(totalEnergy));
  return text;
}

double SmallWidget::CalorieView::progress() const {
  if (!WidgetUtils::isToday(dateCheck)) return 0;
  const double r = currentEnergy / totalEnergy;
  // Written as two tests, not a clamp: a NaN ratio (0 over 0) passes through unchanged.
  if (r <= 0) return 0;
  if (r > 1) return 1;
  return r;
}

View SmallWidget::CalorieView::body() const {
  const Palette& p = palette();
  return VStack(
      HorizontalAlignment::leading, 0,
      {
          Text(energyUnitLong(isKilojoules)).font(11).foregroundColor(p.textPrimary),
          HStack(VerticalAlignment::bottom, 1,
                 {
                     Text(eatenText()).font(13, FontWeight::bold).foregroundColor(p.textPrimary),
                     Text(goalText()).font(11, FontWeight::bold).foregroundColor(p.textPrimary),
                 })
              .padding(EdgeInsets{0, 0, 5, 0}),
          LoadingBar{{p.primaryFull}, p.primaryFaded, progress()}.body(),
      });
}

std::shared_ptr<ChartDataModel> SmallWidget::MacroDetailsView::makeModel() const {
  const WidgetNutritionSummary& r = entry.nutrition;
  const Palette& p = palette();
  const bool anything = r.proteinCurrent != 0 || r.carbsCurrent != 0 || r.fatCurrent != 0;
  if (anything && WidgetUtils::isToday(r.currentDate)) {
    // Energy per gram (4, 9, 4), so the ring shows the energy split, not the gram split.
    return std::make_shared<ChartDataModel>(std::vector<ChartCellModel>{
        {UUID::random(), p.carbs, r.carbsCurrent * 4, ""},
        {UUID::random(), p.fat, r.fatCurrent * 9, ""},
        {UUID::random(), p.protein, r.proteinCurrent * 4, ""},
    });
  }
  return std::make_shared<ChartDataModel>(std::vector<ChartCellModel>{
      {UUID::random(), p.backgroundTertiary, 100, ""},
      {UUID::random(), p.backgroundTertiary, 100, ""},
  });
}

View SmallWidget::MacroDetailsView::body() const {
  const WidgetNutritionSummary& r = entry.nutrition;
  const bool today = WidgetUtils::isToday(r.currentDate);
  const DonutChart donut{std::make_shared<UUID>(UUID::random()), makeModel(),
                         [](const std::optional<ChartCellModel>&) {}};
  const ChartDescriptionLabels labels =
      today ? ChartDescriptionLabels{r.carbsCurrent, r.proteinCurrent, r.fatCurrent}
            : ChartDescriptionLabels{0, 0, 0};
  // Turned a quarter back so the first slice starts at twelve o'clock. The labels keep their
  // one natural line each (a name broken mid-word reads badly) and the ring takes the rest.
  return HStack(
      VerticalAlignment::center, 0,
      {donut.body().rotationEffect(Angle{-std::numbers::pi / 2}), labels.body().fixedSize()});
}

std::int64_t SmallWidget::ChartDescriptionLabels::percentage(double x) const {
  double total = carbs * 4 + prot * 4 + fat * 9;
  if (total == 0) total = 1;
  return checkedInt64(std::round(x / total * 100));
}

View SmallWidget::ChartDescriptionLabels::TextLine::body() const {
  return HStack(VerticalAlignment::center, 0,
                {
                    RoundedRectangle(circleSize)
                        .fill(colour)
                        .frame(circleSize * 2, circleSize * 2, Alignment::trailing()),
                    Text(description + ":"),
                    Text(std::to_string(percentage) + "% "),
                })
      .font(11)
      .foregroundColor(palette().textSecondary);
}

View SmallWidget::ChartDescriptionLabels::body() const {
  const Palette& p = palette();
  constexpr double kDot = 3.5;
  return VStack(
      HorizontalAlignment::trailing, 6,
      {
          TextLine{p.carbs, localizedString("CarbohydrateShort"), percentage(carbs * 4), kDot}
              .body(),
          TextLine{p.fat, localizedString("FatShort"), percentage(fat * 9), kDot}.body(),
          TextLine{p.protein, localizedString("ProteinShort"), percentage(prot * 4), kDot}.body(),
      });
}

View SmallWidget::SmallWidgetPieGraph::body() const {
  const WidgetNutritionSummary& r = entry.nutrition;
  return VStack(
      HorizontalAlignment::center, std::nullopt,
      {
          CalorieView{r.energyCurrent, r.energyTotal, r.isKilojoules, r.currentDate}.body(),
          Spacer(),
          MacroDetailsView{entry}.body(),
      });
}

View SmallWidget::body() const {
  // The donut's hole is painted in the primary background colour, so the widget must sit on it.
  return widgetBackground(SmallWidgetPieGraph{entry}.body().padding(12),
                          palette().backgroundPrimary);
}

}  // namespace km
