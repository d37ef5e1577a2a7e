#pragma once

// Button: one action tile of the medium buttons widget.

#include <string>

#include "platform/ui/view.h"

namespace km {

// One square action tile of the medium buttons widget: a rounded, shadowed tile with a tinted
// icon in its middle, covered by an invisible link that opens the app at the tile's action
// ("kalomate://<link>-widget-medium_buttons"). It takes the size its parent gives it.
// A plain value; `body()` is safe to call from any thread.
struct Button {
  std::string iconName;  // image asset drawn as a template, tinted
  std::string link;      // the action word of the deep link, e.g. "addFood"

  // Fatal when `link` holds characters a URL cannot carry.
  View body() const;
};

}  // namespace km
