// The three nutrient bars' view.

#include "widgets/home/small_widget_macros.h"

#include <optional>
#include <vector>

#include "components/background_deep_link.h"
#include "components/nutrient_progress_bar.h"
#include "components/widget_background.h"
#include "resources/palette.h"
#include "resources/widget_utils.h"

namespace km {

namespace {

constexpr double kVerticalPadding = 22;
constexpr double kHorizontalPadding = 14;
constexpr double kFadedStart = 0.3;

// Each bar fades in from a pale version of its nutrient's colour.
std::vector<Color> nutrientGradient(const Color& colour) {
  return {colour.opacity(kFadedStart), colour.opacity(1.0)};
}

}  // namespace

View SmallWidgetMacros::body() const {
  const WidgetNutritionSummary& n = entry.nutrition;
  const Palette& colours = palette();
  const std::string gram = localizedString("shared_gram");
  const View bars =
      VStack(HorizontalAlignment::center, std::nullopt,
             {
                 NutrientProgressBar{nutrientGradient(colours.carbs),
                                     localizedString("CarbohydrateShort"), n.carbsCurrent,
                                     n.carbsTotal, gram}
                     .body(),
                 NutrientProgressBar{nutrientGradient(colours.fat), localizedString("FatShort"),
                                     n.fatCurrent, n.fatTotal, gram}
                     .body(),
                 NutrientProgressBar{nutrientGradient(colours.protein),
                                     localizedString("ProteinShort"), n.proteinCurrent,
                                     n.proteinTotal, gram}
                     .body(),
             })
          .padding(EdgeInsets{kVerticalPadding, kHorizontalPadding, kVerticalPadding,
                              kHorizontalPadding});

  const bool link = withLink;
  View content = GeometryReader([bars, link](const GeometryProxy& geometry) {
    std::vector<View> layers{bars};
    if (link) {
      layers.push_back(
          BackgroundDeepLink{geometry.size.width, geometry.size.height, "medium_pie_macros"}
              .body());
    }
    return ZStack(Alignment::center(), std::move(layers));
  });
  return widgetBackground(content, colours.backgroundPrimary);
}

}  // namespace km
