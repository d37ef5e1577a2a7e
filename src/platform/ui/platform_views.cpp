// The platform's own views (the circular progress view, the lock-screen backdrop) built from
// ordinary views, so that layout and drawing treat them like any other.

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "platform/ui/view.h"
#include "platform/ui/view_node.h"

namespace km {
namespace {

// `shape` stroked in the environment's foreground colour with its alpha multiplied by
// `opacity`: the progress track follows whatever colour the widget sets, only fainter.
View foregroundStroke(const Shape& shape, double opacity, const StrokeStyle& style) {
  return View(std::make_shared<const ViewNode>(
      ViewNode{ShapeNode{shape.outline(), std::nullopt, true, style, opacity}}));
}

}  // namespace

View ProgressView(double value, double total, View /*label*/, View currentValueLabel) {
  double fraction = total != 0 ? value / total : 0;
  if (std::isnan(fraction)) fraction = 0;
  fraction = std::clamp(fraction, 0.0, 1.0);
  // Line widths and the label's size follow the diameter, so the body is made once the size
  // is known; the fixed frame keeps it centred in that size even where the label overflows.
  return GeometryReader([fraction, currentValueLabel =
                                       std::move(currentValueLabel)](const GeometryProxy& proxy) {
    const Size size = proxy.size;
    const double diameter = std::min(size.width, size.height);
    const double line = std::max(1.0, diameter * 0.09);
    StrokeStyle track;
    track.lineWidth = line;
    StrokeStyle arc = track;
    arc.lineCap = LineCap::round;
    return ZStack({
                      foregroundStroke(Circle(), 0.3, track).padding(line / 2),
                      foregroundStroke(Circle().trim(0, fraction), 1, arc)
                          .rotationEffect(Angle::degrees(-90))
                          .padding(line / 2),
                      currentValueLabel
                          .font(Font::system(std::max(6.0, diameter * 0.17), FontWeight::medium))
                          .lineLimit(2)
                          .minimumScaleFactor(0.5)
                          .multilineTextAlignment(TextAlignment::center)
                          .padding(line * 1.5),
                  })
        .frame(size.width, size.height);
  });
}

View AccessoryWidgetBackground() {
  return Shape::custom("accessoryWidgetBackground",
                       [](const Rect& frame) {
                         Path p;
                         const double side = std::min(frame.width, frame.height);
                         if (std::abs(frame.width - frame.height) < 0.5) {
                           p.addCircle(frame.center(), side / 2);
                         } else {
                           p.addRoundedRect(frame, side * 0.22, RoundedCornerStyle::continuous);
                         }
                         return p;
                       })
      .fill(Color::sRGB(1, 1, 1, 0.2));
}

}  // namespace km
