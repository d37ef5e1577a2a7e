// The pie's view: one wedge per slice, and selecting a slice by tap.

#include "components/pie_chart.h"

#include "components/pie_chart_cell.h"

namespace km {

View PieChart::body() const {
  std::vector<View> wedges;
  wedges.reserve(dataModel->chartCellModel.size());
  for (const ChartCellModel& cell : dataModel->chartCellModel) {
    // The model hands out the far end first and only then has the near end in startingAngle,
    // so the two reads must stay in this order.
    const Angle farEnd = dataModel->angle(cell.value);
    const Angle nearEnd = dataModel->startingAngle;
    wedges.push_back(PieChartCell{farEnd, nearEnd}
                         .shape()
                         .foregroundColor(cell.color)
                         .scaleEffect(isSelected(cell) ? 1.05 : 1.0));
  }
  return ZStack(Alignment::center(), std::move(wedges));
}

void PieChart::tap(const ChartCellModel& cell) const {
  if (*selectedCell == cell.id) {
    if (onTap) onTap(std::nullopt);
    *selectedCell = UUID::random();
  } else {
    *selectedCell = cell.id;
    if (onTap) onTap(cell);
  }
}

}  // namespace km
