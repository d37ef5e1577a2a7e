// Finding the link under a tap in a tile's display list.

#include "kmwidget/host/tap.h"

#include <nlohmann/json.hpp>

#include "platform/ui/display_list.h"

namespace km::host {

std::optional<std::string> urlAtPoint(const std::string& displayListJson, double x, double y) {
  using nlohmann::json;
  const json j = json::parse(displayListJson, nullptr, /*allow_exceptions=*/false);
  if (!j.is_object()) return std::nullopt;
  // Only the links matter for a tap; the hit test is the display list's own.
  auto numbers = [](const json& a, std::size_t n) {
    if (!a.is_array() || a.size() != n) return false;
    for (const json& v : a) {
      if (!v.is_number()) return false;
    }
    return true;
  };
  DisplayList list;
  if (const json url = j.value("widgetURL", json()); url.is_string()) list.widgetURL = url;
  for (const json& item : j.value("items", json::array())) {
    if (!item.is_object() || item.value("type", "") != "link") continue;
    const json frame = item.value("frame", json());
    const json url = item.value("url", json());
    if (!url.is_string() || !numbers(frame, 4)) continue;
    DisplayItem link;
    link.frame = Rect{frame[0].get<double>(), frame[1].get<double>(), frame[2].get<double>(),
                      frame[3].get<double>()};
    if (const json t = item.value("transform", json()); numbers(t, 6)) {
      link.transform = AffineTransform{t[0].get<double>(), t[1].get<double>(), t[2].get<double>(),
                                       t[3].get<double>(), t[4].get<double>(), t[5].get<double>()};
    }
    link.content = DisplayLink{url.get<std::string>()};
    list.items.push_back(std::move(link));
  }
  return urlAt(list, Point{x, y});
}

}  // namespace km::host
