#pragma once

// The widget framework's names of the rendering modes.

#include <optional>
#include <string_view>

#include "platform/ui/rendering_mode.h"

namespace km {

// The rendering mode a widget is shown in, as the widget framework names it. The renderer's
// own enumeration is the same type, so a widget's mode passes straight to it.
using WidgetRenderingMode = RenderingMode;

// "fullColor", "accented" or "vibrant".
std::string_view renderingModeName(RenderingMode mode);
std::optional<RenderingMode> renderingModeFromName(std::string_view name);

}  // namespace km
