#pragma once

// DonutChart: a pie chart made a ring by a disc over its middle.

#include <memory>

#include "components/pie_chart.h"

namespace km {

// A pie chart with a disc of the widget's primary background colour over its middle (0.45 of
// the outer radius), which makes it a ring. The hole shows that colour, not what lies behind
// the chart. Same fields as PieChart; the donut's own `selectedCell` is never read: the pie
// inside gets a fresh selection of its own each time the body is built.
struct DonutChart {
  std::shared_ptr<UUID> selectedCell = std::make_shared<UUID>(UUID::random());
  std::shared_ptr<ChartDataModel> dataModel;
  PieChart::TapHandler onTap;

  static constexpr double kHoleRatio = 0.45;

  View body() const;
};

}  // namespace km
