#include "host/km_widget_entry_view.h"

#include "components/widget_background.h"
#include "host/widget_kind.h"
#include "platform/foundation/text.h"
#include "platform/widgetkit/platform_version.h"
#include "resources/palette.h"
#include "resources/widget_utils.h"
#include "widgets/home/medium_widget.h"
#include "widgets/home/medium_widget_energy_buttons.h"
#include "widgets/home/medium_widget_energy_macro_bars.h"
#include "widgets/home/medium_widget_energy_macro_pie.h"
#include "widgets/home/small_widget.h"
#include "widgets/home/small_widget_energy.h"
#include "widgets/home/small_widget_macro_pie.h"
#include "widgets/home/small_widget_macros.h"
#include "widgets/lockscreen/lockscreen_inline_calories.h"
#include "widgets/lockscreen/lockscreen_medium_calories.h"
#include "widgets/lockscreen/lockscreen_small_button.h"
#include "widgets/lockscreen/lockscreen_small_calories.h"

namespace km {

namespace {

constexpr const char* kKeyholeImage = "ic_km_keyhole_16px";

bool lockScreenAvailable() {
  return currentPlatformVersion().atLeast(16);
}

View keyhole(Color tint) {
  return Image(kKeyholeImage).renderingMode(ImageRenderingMode::template_).foregroundColor(tint);
}

}  // namespace

bool overGoalWordIsBig() {
  return graphemeCount(localizedString("ios_widgets_10")) > 4;
}

View KMWidgetEntryView::LoggedOutView::body() const {
  // On the lock screen the host draws in one colour over the wallpaper, so the keyhole and the
  // text are white there; on the home screen they take the primary text colour.
  const bool onLockScreen = isAccessory(family) && lockScreenAvailable();
  const Color tint = onLockScreen ? Color::white() : palette().textPrimary;
  const View message = Text(localizedString("ios_widgets_9"));
  View content;
  if (family == WidgetFamily::systemSmall) {
    content = VStack(HorizontalAlignment::center, std::nullopt,
                     {keyhole(tint), message.font(15, FontWeight::semibold)
                                         .foregroundColor(tint)
                                         .multilineTextAlignment(TextAlignment::center)})
                  .padding(12);
  } else {
    content =
        ZStack({RoundedRectangle(8).fill(Color::white().opacity(0.2)),
                HStack(VerticalAlignment::center, std::nullopt,
                       {keyhole(tint), message.font(onLockScreen ? 13 : 15, FontWeight::medium)
                                           .foregroundColor(tint)
                                           .lineLimit(2)
                                           .minimumScaleFactor(0.7)})
                    .padding(EdgeInsets{4, 8, 4, 8})});
  }
  View stack = ZStack({content});
  // Home-screen widgets always need a background; lock-screen ones draw over the wallpaper.
  if (!isAccessory(family)) stack = widgetBackground(stack, palette().backgroundPrimary);
  return stack;
}

View KMWidgetEntryView::body() const {
  if (!entry.nutrition.isLoggedIn) {
    if (lockScreenAvailable() && family == WidgetFamily::accessoryCircular) {
      return ZStack({AccessoryWidgetBackground(), keyhole(Color::white())});
    }
    return ZStack({LoggedOutView{family}.body()});
  }
  const auto widgetKind = widgetKindFromRawValue(kind);
  if (!widgetKind) return EmptyView();

  const bool v16 = lockScreenAvailable();
  using F = WidgetFamily;
  switch (*widgetKind) {
    case WidgetKind::smallEnergyMacros:
      if (family == F::systemSmall) return SmallWidget{entry}.body();
      return EmptyView();
    case WidgetKind::mediumHistory:
      if (family == F::systemMedium) return MediumWidget{entry, 5}.body();
      return EmptyView();
    case WidgetKind::smallEnergy:
      // The lock-screen and the home-screen conditions are independent; a family is only ever
      // one of them, so at most one view shows.
      if (v16 && family == F::accessoryInline) return LockscreenInlineCalories{entry}.body();
      if (v16 && family == F::accessoryCircular) {
        return LockscreenSmallCalories{entry, 20, overGoalWordIsBig()}.body();
      }
      if (v16 && family == F::accessoryRectangular) return LockscreenMediumCalories{entry}.body();
      if (family == F::systemSmall) return SmallWidgetEnergy{entry, false}.body();
      return EmptyView();
    case WidgetKind::smallBarMacros:
      return SmallWidgetMacros{entry, true}.body();
    case WidgetKind::smallPieMacros:
      return SmallWidgetMacroPie{entry, true}.body();
    case WidgetKind::mediumBarMacros:
      return MediumWidgetEnergyMacroBars{entry}.body();
    case WidgetKind::mediumPieMacros:
      if (!v16) return MediumWidgetEnergyMacroPie{entry}.body();
      if (family == F::accessoryRectangular) return LockscreenMediumCalories{entry}.body();
      if (family == F::systemMedium) return MediumWidgetEnergyMacroPie{entry}.body();
      return EmptyView();
    case WidgetKind::mediumButtons:
      if (v16 && family == F::accessoryCircular) {
        return LockscreenSmallButton{entry, "ic_barcode_24px", "barcodeScan"}.body();
      }
      if (family == F::systemMedium) return MediumWidgetEnergyButtons{entry}.body();
      return EmptyView();
    case WidgetKind::lockscreenButton:
      return LockscreenSmallButton{entry, "ic_add_meal_24px", "addFood"}.body();
  }
  return EmptyView();
}

}  // namespace km
