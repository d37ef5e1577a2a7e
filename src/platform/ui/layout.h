#pragma once

// Laying a view tree out into a display list: sizes proposed and chosen, frames placed.

#include "platform/ui/display_list.h"
#include "platform/ui/view.h"

namespace km {

class AssetCatalog;

struct LayoutOptions {
  // Gives images their own sizes; without it (or for a missing image) an image is 16 by 16
  // points.
  const AssetCatalog* assets = nullptr;
  // The direction of the whole layout (the host sets it from the language the widget's texts
  // are in); a view may change it for its content with `layoutDirection`.
  LayoutDirection layoutDirection = LayoutDirection::leftToRight;
};

// The size `view` chooses for `proposal` (the first step of layout), for tests and for callers
// that size a view before placing it.
Size sizeThatFits(const View& view, ProposedSize proposal, const LayoutOptions& options = {});

// Lays `view` out in a container of `size` (a widget's size in points) and flattens the result.
// The container proposes its size; the view chooses its own and is centred in the container, as
// a widget's content is. A pure function: the same view, size and options give the same list.
// Safe to call from several threads at once (text measuring is serialised inside the text
// engine); the catalogue must outlive the call.
DisplayList layout(const View& view, Size size, const LayoutOptions& options = {});

}  // namespace km
