#pragma once

// widgetBackground: the background behind every widget's content, per platform version.

#include "platform/ui/paint.h"
#include "platform/ui/view.h"
#include "platform/widgetkit/platform_version.h"

namespace km {

// The background every widget draws behind its content. From platform 17 the host draws it
// as the widget's container background (it fills the whole widget, under the host's own
// margins, and the host may replace it in tinted or vibrant modes); earlier platforms have no
// container background, so the paint goes behind the content as a plain background, centred.
// Reads the process's platform version when called; a pure function otherwise.
inline View widgetBackground(const View& content, const Paint& paint) {
  if (currentPlatformVersion().atLeast(17)) return content.containerBackground(paint);
  return content.background(paint);
}

}  // namespace km
