// The action tile's view: tile, shadow, icon and link.

#include "components/button.h"

#include "resources/deep_links.h"
#include "resources/palette.h"

namespace km {

namespace {

constexpr double kCornerRadius = 8;
constexpr double kIconFraction = 0.4;
// The link reaches a little below the tile so a tap on the lower edge of the shadow still
// counts as a tap on the button.
constexpr double kLinkExtraHeight = 5;
// The label only gives the link a size to be tapped on; it is drawn in the clear colour.
constexpr const char* kInvisibleLabel = "                  \n\n.";

}  // namespace

View Button::body() const {
  // Built (and validated) before layout so a bad destination fails where the button is made.
  const std::string url = actionLink(link, "medium_buttons").absoluteString();
  const std::string icon = iconName;
  return GeometryReader([url, icon](const GeometryProxy& geometry) {
    const double w = geometry.size.width;
    const double h = geometry.size.height;
    const Color shadow = Color::named("widget-shadow");
    View tile = RoundedRectangle(kCornerRadius)
                    .fill(palette().backgroundSecondary)
                    .shadow(shadow.opacity(0.5), 2, 0, 1)
                    .shadow(shadow, 4, 0, 2)
                    .overlay(Image(icon)
                                 .renderingMode(ImageRenderingMode::template_)
                                 .resizable()
                                 .frame(kIconFraction * w, kIconFraction * h)
                                 .foregroundColor(palette().textSecondary));
    // The frame goes on the label: a link's tappable region is its label's frame, and the
    // label text alone (three lines at the body size) would not match the tile.
    View region = Link(url, Text(kInvisibleLabel)
                                .foregroundColor(Color::clear())
                                .background(Color::clear())
                                .frame(w, h + kLinkExtraHeight));
    return ZStack(Alignment::center(), {tile, region});
  });
}

}  // namespace km
