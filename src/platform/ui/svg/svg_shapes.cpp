// Outlines of SVG's basic shapes and paths (see svg_shapes.h).

#include "platform/ui/svg/svg_shapes.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "platform/ui/svg/svg_attributes.h"
#include "platform/ui/svg/svg_outline_builder.h"
#include "platform/ui/svg/svg_scanner.h"

namespace km::svg {
namespace {

Result<SvgOutline> rectOutline(double x, double y, std::optional<double> width,
                               std::optional<double> height, std::optional<double> rxIn,
                               std::optional<double> ryIn) {
  const double w = width.value_or(0), h = height.value_or(0);
  if (w < 0 || h < 0) return unsupported("negative size on rect");
  if ((rxIn && *rxIn < 0) || (ryIn && *ryIn < 0)) return unsupported("negative radius on rect");
  if (w == 0 || h == 0) return SvgOutline{};  // not drawn
  // A radius given alone serves both axes; each is at most half its side.
  double rx = rxIn.value_or(ryIn.value_or(0));
  double ry = ryIn.value_or(rxIn.value_or(0));
  rx = std::min(rx, w / 2);
  ry = std::min(ry, h / 2);
  OutlineBuilder b;
  if (rx == 0 || ry == 0) {
    b.moveTo({x, y});
    b.lineTo({x + w, y});
    b.lineTo({x + w, y + h});
    b.lineTo({x, y + h});
    b.close();
    return std::move(b.outline);
  }
  b.moveTo({x + rx, y});
  b.lineTo({x + w - rx, y});
  b.arcTo(rx, ry, 0, false, true, {x + w, y + ry});
  b.lineTo({x + w, y + h - ry});
  b.arcTo(rx, ry, 0, false, true, {x + w - rx, y + h});
  b.lineTo({x + rx, y + h});
  b.arcTo(rx, ry, 0, false, true, {x, y + h - ry});
  b.lineTo({x, y + ry});
  b.arcTo(rx, ry, 0, false, true, {x + rx, y});
  b.close();
  return std::move(b.outline);
}

}  // namespace

Result<SvgOutline> shapeOutline(std::string_view element, const Attributes& attrs) {
  if (element == "path") {
    std::string_view d;
    for (const auto& [key, value] : attrs) {
      if (key != "d") return unsupported("attribute " + std::string(key) + " on path");
      d = value;
    }
    return parseSvgPathData(d);
  }
  if (element == "polyline" || element == "polygon") {
    std::optional<std::vector<double>> points = std::vector<double>{};
    for (const auto& [key, value] : attrs) {
      if (key != "points") {
        return unsupported("attribute " + std::string(key) + " on " + std::string(element));
      }
      points = numberList(value);
    }
    if (!points || points->size() % 2 != 0) {
      return unsupported("points of " + std::string(element));
    }
    OutlineBuilder b;
    for (size_t i = 0; i < points->size(); i += 2) {
      const Point p{(*points)[i], (*points)[i + 1]};
      i == 0 ? b.moveTo(p) : b.lineTo(p);
    }
    if (element == "polygon" && !b.outline.empty()) b.close();
    return std::move(b.outline);
  }
  // The remaining shapes take lengths only.
  static constexpr struct {
    const char* element;
    std::array<const char*, 6> keys;
  } kKeys[] = {{"rect", {"x", "y", "width", "height", "rx", "ry"}},
               {"circle", {"cx", "cy", "r"}},
               {"ellipse", {"cx", "cy", "rx", "ry"}},
               {"line", {"x1", "y1", "x2", "y2"}}};
  const auto* keys = &kKeys[0].keys;
  for (const auto& k : kKeys)
    if (element == k.element) keys = &k.keys;
  std::array<std::optional<double>, 6> v;
  for (const auto& [key, value] : attrs) {
    size_t i = 0;
    while (i < keys->size() && (*keys)[i] && key != (*keys)[i])
      ++i;
    if (i == keys->size() || !(*keys)[i]) {
      return unsupported("attribute " + std::string(key) + " on " + std::string(element));
    }
    v[i] = parseLength(value);
    if (!v[i]) {
      return unsupported(std::string(key) + "=\"" + std::string(value) + "\" on " +
                         std::string(element));
    }
  }
  auto get = [&](size_t i) { return v[i].value_or(0); };
  OutlineBuilder b;
  if (element == "rect") return rectOutline(get(0), get(1), v[2], v[3], v[4], v[5]);
  if (element == "line") {
    b.moveTo({get(0), get(1)});
    b.lineTo({get(2), get(3)});
    return std::move(b.outline);
  }
  const double cx = get(0), cy = get(1);
  const double rx = get(2);
  const double ry = element == "circle" ? get(2) : get(3);
  if (rx < 0 || ry < 0) return unsupported("negative radius on " + std::string(element));
  if (rx == 0 || ry == 0) return SvgOutline{};  // not drawn
  // Four quarter arcs clockwise from three o'clock, as SVG defines these shapes' paths.
  b.moveTo({cx + rx, cy});
  b.arcTo(rx, ry, 0, false, true, {cx, cy + ry});
  b.arcTo(rx, ry, 0, false, true, {cx - rx, cy});
  b.arcTo(rx, ry, 0, false, true, {cx, cy - ry});
  b.arcTo(rx, ry, 0, false, true, {cx + rx, cy});
  b.close();
  return std::move(b.outline);
}

}  // namespace km::svg
