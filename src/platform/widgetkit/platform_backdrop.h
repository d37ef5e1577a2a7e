#pragma once

// platformBackdrop: what the home screen draws behind a widget.

#include <optional>

#include "platform/ui/paint.h"
#include "platform/widgetkit/platform_version.h"
#include "platform/widgetkit/widget_family.h"

namespace km {

// What the home screen draws behind a widget before any of the widget's own views. Before
// platform 17 a home-screen widget sits on the system's opaque background colour of the
// appearance, clipped to the widget's rounded shape, so a view whose background covers only its
// content shows that colour around it rather than the wallpaper. From 17 the widget supplies its
// own container background, and lock-screen families never had one: nothing then.
std::optional<Paint> platformBackdrop(WidgetFamily family,
                                      PlatformVersion version = currentPlatformVersion());

}  // namespace km
