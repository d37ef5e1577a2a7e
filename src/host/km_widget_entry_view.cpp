// The one view every widget draws its entries through: the signed-out content, or the view
// its kind's row draws for the family.

#include "host/km_widget_entry_view.h"

#include "components/widget_background.h"
#include "host/widget_kind.h"
#include "platform/foundation/text.h"
#include "platform/widgetkit/platform_version.h"
#include "resources/palette.h"
#include "resources/widget_utils.h"

namespace km {

namespace {

constexpr const char* kKeyholeImage = "ic_km_keyhole_16px";

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
  const bool onLockScreen = isAccessory(family) && lockScreenFamiliesAvailable();
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
    if (lockScreenFamiliesAvailable() && family == WidgetFamily::accessoryCircular) {
      return ZStack({AccessoryWidgetBackground(), keyhole(Color::white())});
    }
    return ZStack({LoggedOutView{family}.body()});
  }
  const auto widgetKind = widgetKindFromRawValue(kind);
  if (!widgetKind) return EmptyView();
  return descriptor(*widgetKind).view(entry, family);
}

}  // namespace km
