// The round action button's view.

#include "widgets/lockscreen/lockscreen_small_button.h"

#include "components/widget_background.h"
#include "platform/widgetkit/platform_version.h"
#include "resources/deep_links.h"
#include "resources/palette.h"

namespace km {

namespace {

// The icon takes at most half the backdrop each way, which keeps it clear of the round edge.
constexpr double kIconFraction = 0.5;

View icon(const std::string& imageName) {
  return Image(imageName)
      .resizable()
      .renderingMode(ImageRenderingMode::template_)
      .foregroundColor(Color::white().opacity(1));
}

}  // namespace

View LockscreenSmallButton::body() const {
  const std::string url = actionLink(destination, "lockscreen_button").absoluteString();
  const bool accessoryStyling = currentPlatformVersion().atLeast(16);

  View content;
  if (accessoryStyling) {
    const std::string name = imageName;
    content = GeometryReader([name](const GeometryProxy& geometry) {
                FrameBounds bounds;
                bounds.maxWidth = geometry.size.width * kIconFraction;
                bounds.maxHeight = geometry.size.height * kIconFraction;
                return ZStack(Alignment::center(),
                              {AccessoryWidgetBackground(), icon(name).frame(bounds)});
              }).widgetAccentable();
  } else {
    // Before lock-screen widgets existed there is no backdrop to sit on; the icon fills the
    // widget.
    content = icon(imageName);
  }

  View root = content.widgetURL(url);
  if (accessoryStyling) {
    root = root.widgetAccentable();
  }
  return widgetBackground(root, palette().backgroundPrimary);
}

}  // namespace km
