// The donut's view: a pie with a disc over its middle.

#include "components/donut_chart.h"

#include "components/inner_circle.h"
#include "resources/palette.h"

namespace km {

View DonutChart::body() const {
  const PieChart pie{std::make_shared<UUID>(UUID::random()), dataModel, onTap};
  return ZStack(Alignment::center(),
                {pie.body(), InnerCircle{kHoleRatio}.shape().fill(palette().backgroundPrimary)});
}

}  // namespace km
