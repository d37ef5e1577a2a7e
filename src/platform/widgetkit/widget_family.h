#pragma once

// WidgetFamily: the sizes and lock-screen shapes a widget can be shown in.

#include <array>
#include <optional>
#include <string_view>

namespace km {

// The sizes and lock-screen shapes a widget can be shown in. The enumerator names are the
// platform's, and so are the strings of `familyName` (used in file names, JSON and the CLI).
enum class WidgetFamily {
  systemSmall,
  systemMedium,
  accessoryCircular,
  accessoryRectangular,
  accessoryInline,
};

inline constexpr std::array<WidgetFamily, 5> kAllWidgetFamilies = {
    WidgetFamily::systemSmall, WidgetFamily::systemMedium, WidgetFamily::accessoryCircular,
    WidgetFamily::accessoryRectangular, WidgetFamily::accessoryInline};

std::string_view familyName(WidgetFamily family);
// Exact, case-sensitive match of a family name; nullopt for anything else.
std::optional<WidgetFamily> familyFromName(std::string_view name);
// The lock-screen (accessory) families.
bool isAccessory(WidgetFamily family);

}  // namespace km
