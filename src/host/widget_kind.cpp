#include "host/widget_kind.h"

#include <string>

#include "base/fatal_error.h"
#include "platform/widgetkit/platform_version.h"

namespace km {
namespace {

WidgetKind requireKind(std::string_view kind) {
  auto k = widgetKindFromRawValue(kind);
  if (!k) fatalError("unknown widget kind \"" + std::string(kind) + "\"");
  return *k;
}

}  // namespace

std::string_view rawValue(WidgetKind kind) {
  switch (kind) {
    case WidgetKind::smallEnergyMacros:
      return "small_energy_macros";
    case WidgetKind::mediumHistory:
      return "medium_history";
    case WidgetKind::smallEnergy:
      return "small_energy";
    case WidgetKind::smallBarMacros:
      return "small_bar_macros";
    case WidgetKind::smallPieMacros:
      return "small_pie_macros";
    case WidgetKind::mediumBarMacros:
      return "medium_bar_macros";
    case WidgetKind::mediumPieMacros:
      return "medium_pie_macros";
    case WidgetKind::mediumButtons:
      return "medium_buttons";
    case WidgetKind::lockscreenButton:
      return "lockscreen_button";
  }
  fatalError("unknown widget kind value");
}

std::optional<WidgetKind> widgetKindFromRawValue(std::string_view raw) {
  for (WidgetKind kind : kAllWidgetKinds) {
    if (rawValue(kind) == raw) return kind;
  }
  return std::nullopt;
}

// Gallery texts are shared by size: the small kinds, the medium macro kinds and the two button
// kinds each use one pair; the history widget has its own.
std::string_view displayNameKey(std::string_view kind) {
  switch (requireKind(kind)) {
    case WidgetKind::mediumHistory:
      return "ios_widgets_7";
    case WidgetKind::mediumBarMacros:
    case WidgetKind::mediumPieMacros:
      return "ios_widgets_3";
    case WidgetKind::mediumButtons:
    case WidgetKind::lockscreenButton:
      return "ios_widgets_5";
    default:
      return "ios_widgets_1";
  }
}

std::string_view descriptionKey(std::string_view kind) {
  switch (requireKind(kind)) {
    case WidgetKind::mediumHistory:
      return "ios_widgets_8";
    case WidgetKind::mediumBarMacros:
    case WidgetKind::mediumPieMacros:
      return "ios_widgets_4";
    case WidgetKind::mediumButtons:
    case WidgetKind::lockscreenButton:
      return "ios_widgets_6";
    default:
      return "ios_widgets_2";
  }
}

std::vector<WidgetFamily> supportedFamilies(std::string_view kind) {
  const WidgetKind k = requireKind(kind);
  // Lock-screen shapes exist from platform 16; earlier, only the home-screen size remains.
  const bool lockScreen = currentPlatformVersion().atLeast(16);
  switch (k) {
    case WidgetKind::smallEnergy:
      if (lockScreen) {
        return {WidgetFamily::systemSmall, WidgetFamily::accessoryInline,
                WidgetFamily::accessoryCircular};
      }
      return {WidgetFamily::systemSmall};
    case WidgetKind::mediumPieMacros:
      if (lockScreen) return {WidgetFamily::systemMedium, WidgetFamily::accessoryRectangular};
      return {WidgetFamily::systemMedium};
    case WidgetKind::mediumButtons:
      if (lockScreen) return {WidgetFamily::systemMedium, WidgetFamily::accessoryCircular};
      return {WidgetFamily::systemMedium};
    case WidgetKind::lockscreenButton:
      if (lockScreen) return {WidgetFamily::accessoryCircular};
      return {};
    case WidgetKind::mediumHistory:
    case WidgetKind::mediumBarMacros:
      return {WidgetFamily::systemMedium};
    case WidgetKind::smallEnergyMacros:
    case WidgetKind::smallBarMacros:
    case WidgetKind::smallPieMacros:
      return {WidgetFamily::systemSmall};
  }
  fatalError("unknown widget kind value");
}

}  // namespace km
