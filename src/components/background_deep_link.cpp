// The invisible diary link's view.

#include "components/background_deep_link.h"

#include "resources/deep_links.h"

namespace km {

View BackgroundDeepLink::body() const {
  // The label only gives the link something to be tapped on: wide and tall enough to cover a
  // widget even where no size is given, and drawn in the clear colour.
  std::string label(84, ' ');
  label.append(7, '\n');
  // The frame goes on the label because a link's tappable region is its label's frame.
  return Link(
      diaryLink(widgetName).absoluteString(),
      Text(std::move(label)).foregroundColor(Color::clear()).frame(geometryWidth, geometryHeight));
}

}  // namespace km
