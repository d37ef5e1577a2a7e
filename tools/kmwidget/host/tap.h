#pragma once

// urlAtPoint: what a tap on a tile opens.

#include <optional>
#include <string>

namespace km::host {

// What a tap at (x, y), in the widget's points, opens on a tile whose display list is
// `displayListJson` (as `kmwidget render --format json` writes it): the topmost link region
// holding the point, else the widget's URL; nothing when neither applies or the JSON is not a
// display list.
std::optional<std::string> urlAtPoint(const std::string& displayListJson, double x, double y);

}  // namespace km::host
