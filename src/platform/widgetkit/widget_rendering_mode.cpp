#include "platform/widgetkit/widget_rendering_mode.h"

namespace km {

std::string_view renderingModeName(RenderingMode mode) {
  switch (mode) {
    case RenderingMode::fullColor:
      return "fullColor";
    case RenderingMode::accented:
      return "accented";
    case RenderingMode::vibrant:
      return "vibrant";
  }
  return "fullColor";
}

std::optional<RenderingMode> renderingModeFromName(std::string_view name) {
  for (RenderingMode m :
       {RenderingMode::fullColor, RenderingMode::accented, RenderingMode::vibrant}) {
    if (renderingModeName(m) == name) return m;
  }
  return std::nullopt;
}

}  // namespace km
