// The macro pie's shares, arcs, labels and view.

#include "widgets/home/small_widget_macro_pie.h"

#include <cmath>
#include <numbers>

#include "base/checked.h"
#include "components/background_deep_link.h"
#include "components/pie_chart_cell.h"
#include "components/widget_background.h"
#include "platform/foundation/calendar.h"
#include "platform/foundation/text.h"
#include "resources/palette.h"
#include "resources/widget_utils.h"

namespace km {

namespace {

// This widget asks the calendar whether the record's day is today, unlike the widgets that use
// the day-number test; the two can disagree right at midnight and each keeps its own.
bool isInToday(Date date) {
  return Calendar::current().isDateInToday(date);
}

Angle fromDegrees(double degrees) {
  return Angle{degrees * (std::numbers::pi / 180)};
}

std::int64_t roundedPercent(double part, double total) {
  if (total == 0) return 0;
  return checkedInt64(std::round(part / total * 100));
}

}  // namespace

MacroPieShares macroPieShares(double carbs, double fat, double prot) {
  const double total = carbs * 4 + fat * 9 + prot * 4;
  if (total == 0) return {};
  MacroPieShares shares;
  shares.fat = roundedPercent(fat * 9, total);
  shares.prot = roundedPercent(prot * 4, total);
  shares.carbs = checkedSub(checkedSub(std::int64_t{100}, shares.fat), shares.prot);
  return shares;
}

double macroPieSweepDegrees(double x, const WidgetNutritionSummary& record, bool today) {
  if (!today) return 0;
  const double total = record.carbsCurrent * 4 + record.fatCurrent * 9 + record.proteinCurrent * 4;
  if (total == 0) return 0;
  return x / total * -360;
}

View SmallWidgetMacroPie::nutriLabel::body() const {
  const std::string percentText =
      isInToday(currentDate) ? std::to_string(percentage) + "%" : std::string("0%");
  return HStack(VerticalAlignment::center, 0,
                {
                    RoundedRectangle(1.25)
                        .fill(colour)
                        .frame(2.5, 12, Alignment::leading())
                        .padding(Edge::trailing, 4),
                    Text(capitalized(text)).font(12),
                    Text(percentText).font(12),
                })
      .lineLimit(1)
      .minimumScaleFactor(0.5);
}

View SmallWidgetMacroPie::labels::body() const {
  const MacroPieShares shares = macroPieShares(carbs, fat, prot);
  const Palette& p = palette();
  return VStack(
      HorizontalAlignment::center, 2,
      {
          nutriLabel{p.carbs, localizedString("CarbohydrateShort"), shares.carbs, currentDate}
              .body(),
          nutriLabel{p.fat, localizedString("FatShort"), shares.fat, currentDate}.body(),
          nutriLabel{p.protein, localizedString("ProteinShort"), shares.prot, currentDate}.body(),
      });
}

View SmallWidgetMacroPie::body() const {
  const WidgetNutritionSummary& record = entry.nutrition;
  const Palette& p = palette();
  const bool today = isInToday(record.currentDate);
  const double a1 = macroPieSweepDegrees(record.carbsCurrent * 4, record, today);
  const double a2 = macroPieSweepDegrees(record.fatCurrent * 9, record, today);
  const double a3 = macroPieSweepDegrees(record.proteinCurrent * 4, record, today);

  // The sweeps are negative and the ring is turned to twelve o'clock and then mirrored, which
  // together make the arcs run clockwise from the top.
  const View ring =
      ZStack(
          Alignment::center(),
          {
              PieChartCell{Angle{0}, Angle{2 * std::numbers::pi}}.shape().fill(p.backgroundLight),
              PieChartCell{Angle{0}, fromDegrees(a1)}.shape().fill(p.carbs),
              PieChartCell{fromDegrees(a1), fromDegrees(a1 + a2)}.shape().fill(p.fat),
              PieChartCell{fromDegrees(a1 + a2), fromDegrees(a1 + a2 + a3)}.shape().fill(p.protein),
          })
          .rotationEffect(Angle{-std::numbers::pi / 2})
          .rotation3DEffect(Angle{std::numbers::pi}, 0, 1, 0);

  const labels column{record.carbsCurrent, record.fatCurrent, record.proteinCurrent,
                      record.currentDate};
  const bool link = withLink;
  const View content = GeometryReader([=](const GeometryProxy& geometry) {
    // The small pie opens the diary under the medium widget's name, which the app shares
    // between the two. Embedded without a link it still lays a region, unsized and unnamed.
    const View region =
        link ? BackgroundDeepLink{geometry.size.width, geometry.size.height, "medium_pie_macros"}
                   .body()
             : BackgroundDeepLink{std::nullopt, std::nullopt, ""}.body();
    return ZStack(Alignment::center(),
                  {
                      ring.padding(15),
                      Circle().fill(p.backgroundPrimary).padding(25),
                      column.body().padding(EdgeInsets{10, 42, 10, 42}),
                      region,
                  })
        .frame(geometry.size.width, geometry.size.height);
  });
  return widgetBackground(content, p.backgroundPrimary);
}

}  // namespace km
