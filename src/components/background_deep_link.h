#pragma once

// BackgroundDeepLink: an invisible tappable region that opens the diary.

#include <optional>
#include <string>

#include "platform/ui/view.h"

namespace km {

// An invisible tappable region that opens the diary: a link to
// "kalomate://diary-widget-<widgetName>" whose label is clear text, sized to
// `geometryWidth` x `geometryHeight` (an unset dimension is left to the label). Widgets lay it
// under or beside their visible content so that part of their area opens the app. A plain
// value; `body()` is safe to call from any thread.
struct BackgroundDeepLink {
  std::optional<double> geometryWidth;
  std::optional<double> geometryHeight;
  std::string widgetName;

  // Fatal when `widgetName` holds characters a URL cannot carry.
  View body() const;
};

}  // namespace km
