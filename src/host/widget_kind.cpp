// The catalogue's lookups over the widget kinds' rows: kind strings both ways, gallery texts
// and the families offered on the process's platform version.

#include "host/widget_kind.h"

#include <string>

#include "base/fatal_error.h"

namespace km {
namespace {

const WidgetKindDescriptor& requireKind(std::string_view kind) {
  auto k = widgetKindFromRawValue(kind);
  if (!k) fatalError("unknown widget kind \"" + std::string(kind) + "\"");
  return descriptor(*k);
}

}  // namespace

const WidgetKindDescriptor& descriptor(WidgetKind kind) {
  const auto index = static_cast<std::size_t>(kind);
  if (index >= kWidgetKinds.size()) fatalError("unknown widget kind value");
  return kWidgetKinds[index];
}

std::string_view rawValue(WidgetKind kind) {
  return descriptor(kind).rawValue;
}

std::optional<WidgetKind> widgetKindFromRawValue(std::string_view raw) {
  for (std::size_t i = 0; i < kWidgetKinds.size(); ++i) {
    if (kWidgetKinds[i].rawValue == raw) return static_cast<WidgetKind>(i);
  }
  return std::nullopt;
}

std::string_view displayNameKey(std::string_view kind) {
  return requireKind(kind).displayNameKey;
}

std::string_view descriptionKey(std::string_view kind) {
  return requireKind(kind).descriptionKey;
}

std::vector<WidgetFamily> supportedFamilies(std::string_view kind) {
  const WidgetKindDescriptor& row = requireKind(kind);
  const PlatformVersion version = currentPlatformVersion();
  std::vector<WidgetFamily> families;
  for (const OfferedFamily& offered : row.families) {
    if (version.atLeast(offered.sincePlatform)) families.push_back(offered.family);
  }
  return families;
}

}  // namespace km
