// The names of the lock screen's rendering modes, both ways.

#include "platform/widgetkit/widget_rendering_mode.h"

#include "base/enum_names.h"

namespace km {
namespace {

constexpr auto kModeNames = enumNames<RenderingMode>({
    {RenderingMode::fullColor, "fullColor"},
    {RenderingMode::accented, "accented"},
    {RenderingMode::vibrant, "vibrant"},
});
static_assert(kModeNames.namesAreUnique());

}  // namespace

std::string_view renderingModeName(RenderingMode mode) {
  return kModeNames.name(mode).value_or("fullColor");
}

std::optional<RenderingMode> renderingModeFromName(std::string_view name) {
  return kModeNames.value(name);
}

}  // namespace km
