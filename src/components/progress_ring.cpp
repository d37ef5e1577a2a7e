// The ring's view: track, laps, gradients and the end dot.

#include "components/progress_ring.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "base/fatal_error.h"
#include "resources/palette.h"

namespace km {

std::vector<Color> ProgressRing::defaultGradientColours() {
  return {palette().lightGreen, palette().green};
}

AngularGradient ProgressRing::defaultGradientOver() {
  AngularGradient g;
  g.gradient =
      Gradient({{palette().green, 0.0}, {palette().lightYellow, 0.1}, {palette().warning, 0.7}});
  g.center = UnitPoint::center();
  g.startAngle = Angle::fromRadians(-0.10471975511965978);
  g.endAngle = Angle::fromRadians(6.178465552059927);
  return g;
}

namespace {

// A filled dot of diameter `lineWidth` on the ring's centre line at `angle` (from three
// o'clock, clockwise), in a frame of the ring's size.
View capDot(Color color, double lineWidth, Angle angle, Size ring) {
  const double radius = std::min(ring.width, ring.height) / 2;
  // The dot's own frame is centred in the ring, so rotating it about its centre turns the
  // offset dot about the ring's centre.
  return Circle()
      .fill(color)
      .frame(lineWidth, lineWidth)
      .offset(radius, 0)
      .rotationEffect(angle)
      .frame(ring.width, ring.height);
}

}  // namespace

View ProgressRing::body() const {
  const double p = progress;
  const double f = p - std::trunc(p);  // keeps the sign: -0.3 stays -0.3
  auto colour = [this](std::size_t index) -> Color {
    if (gradientColours.size() <= index) {
      fatalError("ProgressRing needs at least two gradient colours, got " +
                 std::to_string(gradientColours.size()));
    }
    return gradientColours[index];
  };

  Color trackColor = palette().warning;
  if (p <= 1.0) {
    trackColor = palette().track;
  } else if (p < 2.0) {
    trackColor = colour(1);
  }
  StrokeStyle trackStyle;
  trackStyle.lineWidth = lineWidth;
  View track = Circle().stroke(trackColor, trackStyle);

  const bool drawArc = p != 0 && p < 2.0;
  if (!drawArc) return ZStack(Alignment::center(), {track});

  const double trimEnd = f == 0 ? 1.0 : f;
  Paint arcPaint = gradientOver;
  if (p <= 1.0) {
    AngularGradient first;
    first.gradient = Gradient::evenlySpaced(gradientColours);
    first.center = UnitPoint::center();
    first.startAngle = Angle::degrees(0);
    first.endAngle = Angle::degrees(360);
    arcPaint = first;
  }
  StrokeStyle arcStyle;
  arcStyle.lineWidth = lineWidth;
  arcStyle.lineCap = LineCap::round;
  arcStyle.lineJoin = LineJoin::round;
  arcStyle.miterLimit = 10;
  View arc =
      Circle().trim(0, trimEnd).stroke(arcPaint, arcStyle).rotationEffect(Angle::degrees(-90));

  const bool startDot = p <= 1.0;
  const bool endDot = (p != 0 && f == 0) || (0.95 < f && f <= 1.0);
  std::optional<Color> startColor;
  std::optional<Color> endColor;
  if (startDot) startColor = colour(0);
  if (endDot) endColor = p <= 1.0 ? colour(1) : palette().warning;
  const double width = lineWidth;
  const Angle endAngle = Angle::degrees(p * 360 - 90);
  View dots = GeometryReader([=](const GeometryProxy& proxy) {
    std::vector<View> layers;
    if (startColor) layers.push_back(capDot(*startColor, width, Angle::degrees(-90), proxy.size));
    if (endColor) layers.push_back(capDot(*endColor, width, endAngle, proxy.size));
    return ZStack(Alignment::center(), std::move(layers));
  });

  return ZStack(Alignment::center(), {track, arc.overlay(dots, Alignment::center())});
}

}  // namespace km
