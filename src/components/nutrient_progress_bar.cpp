// The nutrient bar's view: label row, over-goal badge and bar.

#include "components/nutrient_progress_bar.h"

#include <cinttypes>
#include <cstdio>
#include <optional>

#include "base/checked.h"
#include "components/loading_bar.h"
#include "resources/palette.h"

namespace km {

namespace {

constexpr double kRowFontSize = 14;
constexpr double kBadgeSize = 15;
constexpr double kBadgeGap = 3;
constexpr double kBarTopPadding = 4;

// The orange circle with a "!" that flags an amount over its goal.
View overGoalBadge() {
  return RoundedRectangle(kBadgeSize / 2, RoundedCornerStyle::continuous)
      .fill(palette().warning)
      .frame(kBadgeSize, kBadgeSize)
      .overlay(Text("!").foregroundColor(Color::white()).font(kRowFontSize, FontWeight::bold))
      .padding(Edge::trailing, kBadgeGap);
}

}  // namespace

View NutrientProgressBar::body() const {
  // Both amounts are truncated, never rounded, so 59.9 of 60 reads 59/60 and does not look met.
  const std::int64_t eaten = checkedInt64(currentAmount);
  const std::int64_t goal = checkedInt64(totalAmount);
  char numbers[48];
  std::snprintf(numbers, sizeof numbers, "%" PRId64 "/%" PRId64 " ", eaten, goal);

  std::vector<View> row{Text(name)};
  // Compared before truncation: 60.9 of 60 shows "60/60" with the badge, which tells the user
  // the goal was passed even though the whole numbers look equal.
  if (totalAmount < currentAmount) {
    row.push_back(overGoalBadge());
  }
  row.push_back(Spacer());
  row.push_back(Text(std::string(numbers) + measurementUnit));

  // Unclamped: the bar clamps, and a goal of 0 gives a full bar (or NaN for 0 of 0).
  const double progress = currentAmount / totalAmount;
  const LoadingBar bar{colours, palette().backgroundLight, progress};

  return VStack(HorizontalAlignment::center, std::nullopt,
                {
                    HStack(VerticalAlignment::center, 0, std::move(row))
                        .font(kRowFontSize)
                        .lineLimit(1)
                        .minimumScaleFactor(0.5),
                    bar.body().padding(Edge::top, kBarTopPadding),
                });
}

}  // namespace km
