// The rectangular macros widget's shares and views.

#include "widgets/lockscreen/lockscreen_medium_calories.h"

#include <algorithm>
#include <string>

#include "base/checked.h"
#include "platform/ui/layout.h"
#include "platform/widgetkit/platform_version.h"
#include "resources/deep_links.h"
#include "resources/palette.h"
#include "resources/widget_utils.h"

namespace km {

namespace {

// Energy per gram, kilocalories.
constexpr double kCarbsFactor = 4;
constexpr double kFatFactor = 9;
constexpr double kProteinFactor = 4;

constexpr double kColumnSpacing = 8;
constexpr double kLineHeight = 6;
constexpr double kNameFontSize = 12;
constexpr double kPercentageFontSize = 17;

}  // namespace

PercentageMachine::Shares PercentageMachine::shares() const {
  const double energy = carbs * kCarbsFactor + fat * kFatFactor + prot * kProteinFactor;
  if (!WidgetUtils::isToday(dateCheck) || energy == 0) return {};
  Shares s;
  s.fat = checkedInt64(fat * kFatFactor / energy * 100);
  s.protein = checkedInt64(prot * kProteinFactor / energy * 100);
  s.carbs = checkedSub(checkedSub(std::int64_t{100}, s.fat), s.protein);
  return s;
}

View InfoLine::body() const {
  const InfoLine line = *this;
  // The bar grows with the share; at 0 % it is a dot, so every column keeps its bar.
  const View bar = GeometryReader([line](const GeometryProxy& g) {
    const double share = std::clamp(static_cast<double>(line.percentage), 0.0, 100.0) / 100;
    const double width = std::max(line.lineHeight, g.size.width * share);
    return RoundedRectangle(line.lineHeight / 2)
        .fill(Color::white().opacity(0.75))
        .frame(std::min(width, g.size.width), line.lineHeight);
  });
  // A long name shrinks to fit its column; it keeps the height of its unshrunk line so the
  // three columns stay level.
  const View name = Text(text).font(kNameFontSize, FontWeight::medium);
  const double nameHeight = sizeThatFits(name.fixedSize(), ProposedSize::unspecified()).height;
  return VStack(HorizontalAlignment::leading, 2,
                {name.lineLimit(1).minimumScaleFactor(0.6).frame(std::nullopt, nameHeight),
                 Text(std::to_string(percentage) + "%")
                     .font(kPercentageFontSize, FontWeight::semibold)
                     .lineLimit(1)
                     .minimumScaleFactor(0.6),
                 bar.frame(std::nullopt, lineHeight)})
      .frame(FrameBounds{.maxWidth = kInfinity, .alignment = Alignment::leading()});
}

View mainBody::body() const {
  const WidgetNutritionSummary& n = entry.nutrition;
  const PercentageMachine::Shares s =
      PercentageMachine{n.carbsCurrent, n.fatCurrent, n.proteinCurrent, n.currentDate}.shares();
  return HStack(VerticalAlignment::center, kColumnSpacing,
                {InfoLine{localizedString("CarbohydrateShort"), s.carbs, kLineHeight}.body(),
                 InfoLine{localizedString("FatShort"), s.fat, kLineHeight}.body(),
                 InfoLine{localizedString("ProteinShort"), s.protein, kLineHeight}.body()});
}

View LockscreenMediumCalories::body() const {
  View content = mainBody{entry}.body();
  // Only a container background: before there was one, lock-screen widgets had no background
  // of their own (the wallpaper shows through).
  if (currentPlatformVersion().atLeast(17)) {
    content = content.containerBackground(palette().backgroundPrimary);
  }
  return content.widgetURL(lockscreenMacrosLink().absoluteString());
}

}  // namespace km
