// The progress bar's view and its fill fraction.

#include "components/loading_bar.h"

#include <optional>

#include "platform/ui/paint.h"

namespace km {

namespace {

constexpr double kBarHeight = 6;
constexpr double kCornerRadius = 3;

// The fill fraction. Written as two comparisons rather than std::clamp so that NaN falls through
// unchanged, as it does on the phone, instead of being silently turned into a number.
double clampedProgress(double progress) {
  if (progress <= 0) {
    return 0;
  }
  if (progress >= 1) {
    return 1;
  }
  return progress;
}

}  // namespace

View LoadingBar::body() const {
  const std::vector<Color> fillColours = colours;
  const Color track = backgroundColour;
  const double fraction = clampedProgress(progress);
  return GeometryReader([fillColours, track, fraction](const GeometryProxy& geometry) {
           const LinearGradient gradient{Gradient::evenlySpaced(fillColours), UnitPoint::leading(),
                                         UnitPoint::trailing()};
           FrameBounds fillAll;
           fillAll.maxWidth = kInfinity;
           fillAll.maxHeight = kInfinity;
           fillAll.alignment = Alignment::leading();
           return ZStack(Alignment::leading(),
                         {
                             RoundedRectangle(kCornerRadius).fill(track),
                             RoundedRectangle(kCornerRadius)
                                 .fill(gradient)
                                 .frame(fraction * geometry.size.width, std::nullopt),
                         })
               .frame(fillAll);
         })
      .frame(std::nullopt, kBarHeight);
}

}  // namespace km
