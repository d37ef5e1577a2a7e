#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/widgetkit/widget_family.h"

namespace km {

// The widget kinds the extension knows, in their fixed order; the raw value of each is its kind
// string. Four kinds are known but not offered in the gallery (see KMWidgetBundle); the entry
// view still draws them.
enum class WidgetKind {
  smallEnergyMacros,
  mediumHistory,
  smallEnergy,
  smallBarMacros,
  smallPieMacros,
  mediumBarMacros,
  mediumPieMacros,
  mediumButtons,
  lockscreenButton,
};

inline constexpr std::array<WidgetKind, 9> kAllWidgetKinds = {
    WidgetKind::smallEnergyMacros, WidgetKind::mediumHistory,  WidgetKind::smallEnergy,
    WidgetKind::smallBarMacros,    WidgetKind::smallPieMacros, WidgetKind::mediumBarMacros,
    WidgetKind::mediumPieMacros,   WidgetKind::mediumButtons,  WidgetKind::lockscreenButton};

// The kind string ("small_energy", ...).
std::string_view rawValue(WidgetKind kind);
// Exact, case-sensitive match; nullopt for any other string.
std::optional<WidgetKind> widgetKindFromRawValue(std::string_view raw);

// Gallery texts' localisation keys and offered families of a kind string. Pure functions of
// their argument and the platform version; thread-safe. An unknown kind is a
// programming error and fatal. Families depend on the process's platform version: lock-screen
// families only from 16.
std::string_view displayNameKey(std::string_view kind);
std::string_view descriptionKey(std::string_view kind);
std::vector<WidgetFamily> supportedFamilies(std::string_view kind);

}  // namespace km
