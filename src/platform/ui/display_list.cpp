// Hit-testing a display list for the link under a point.

#include "platform/ui/display_list.h"

namespace km {

std::optional<std::string> urlAt(const DisplayList& list, Point point) {
  for (auto it = list.items.rbegin(); it != list.items.rend(); ++it) {
    const auto* link = std::get_if<DisplayLink>(&it->content);
    if (!link) continue;
    // Undo the item's effects to test the point against its layout frame.
    const AffineTransform& t = it->transform;
    const double det = t.xx * t.yy - t.xy * t.yx;
    if (det == 0) continue;
    const double dx = point.x - t.x0, dy = point.y - t.y0;
    const Point local{(t.yy * dx - t.xy * dy) / det, (-t.yx * dx + t.xx * dy) / det};
    const Rect& f = it->frame;
    if (local.x >= f.minX() && local.x < f.maxX() && local.y >= f.minY() && local.y < f.maxY()) {
      return link->url;
    }
  }
  return list.widgetURL;
}

}  // namespace km
