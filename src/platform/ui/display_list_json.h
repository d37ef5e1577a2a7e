#pragma once

// displayListToJson: the machine-readable form of a display list.

#include <nlohmann/json.hpp>
#include <string_view>

#include "platform/ui/asset_catalog.h"
#include "platform/ui/display_list.h"

namespace km {

// The machine-readable form of a laid-out display list, for tests and tools:
//   {"kind", "family", "size": {"width", "height"}, "widgetURL": string or null,
//    "containerBackground": paint or null, "items": [...]}
// with items back to front: texts {"type":"text","text","frame":[x,y,w,h],"font":{"size",
// "weight"},"color"}, links {"type":"link","url","frame"}, images {"type":"image","name",
// "frame","tint"} and shapes {"type":"shape","kind","frame","fill"|"stroke",...,"trim":[from,to],
// "path":[...]} (the drawn outline: ["M",x,y], ["L",x,y], ["A",cx,cy,r,startDegrees,
// sweepDegrees] with the sweep positive clockwise on screen, ["C",...], ["Z"]).
// Colours are "#RRGGBBAA" resolved for `scheme`; a named colour also keeps its name
// ("colorName", "tintName", "fillName", "strokeName"). Gradients are objects with their stops.
// Items also carry "opacity", "transform" ([xx,yx,xy,yy,x0,y0]), "shadows", "clips" (each
// clip outline's bounding box) and "accentable" when those differ from the defaults. Numbers are
// rounded to thousandths of a point. A pure function of its arguments; safe from any thread.
nlohmann::json displayListToJson(const DisplayList& list, std::string_view kind,
                                 std::string_view family, ColorScheme scheme,
                                 const AssetCatalog* catalog);

}  // namespace km
