// Writing a display list as JSON.

#include "platform/ui/display_list_json.h"

#include <cmath>

namespace km {
namespace {

using nlohmann::json;

double rounded(double v) {
  if (!std::isfinite(v)) return v;
  const double r = std::round(v * 1000) / 1000;
  return r == 0 ? 0 : r;  // no "-0"
}

// The outline as a list of elements: ["M",x,y], ["L",x,y], ["A",cx,cy,r,startDeg,sweepDeg]
// (sweep positive clockwise on screen), ["C",x1,y1,x2,y2,x,y], ["Z"].
json pathJson(const Path& path) {
  json out = json::array();
  constexpr double kDegrees = 180 / 3.14159265358979323846;
  for (const auto& e : path.elements()) {
    if (const auto* m = std::get_if<Path::MoveTo>(&e)) {
      out.push_back({"M", rounded(m->to.x), rounded(m->to.y)});
    } else if (const auto* l = std::get_if<Path::LineTo>(&e)) {
      out.push_back({"L", rounded(l->to.x), rounded(l->to.y)});
    } else if (const auto* a = std::get_if<Path::Arc>(&e)) {
      out.push_back({"A", rounded(a->center.x), rounded(a->center.y), rounded(a->radius),
                     rounded(a->startAngle * kDegrees), rounded(a->sweep * kDegrees)});
    } else if (const auto* c = std::get_if<Path::CurveTo>(&e)) {
      out.push_back({"C", rounded(c->control1.x), rounded(c->control1.y), rounded(c->control2.x),
                     rounded(c->control2.y), rounded(c->to.x), rounded(c->to.y)});
    } else {
      out.push_back({"Z"});
    }
  }
  return out;
}

json frameJson(const Rect& r) {
  return json::array({rounded(r.x), rounded(r.y), rounded(r.width), rounded(r.height)});
}

class Writer {
 public:
  Writer(ColorScheme scheme, const AssetCatalog* catalog) : scheme_(scheme), catalog_(catalog) {}

  void color(json& out, const std::string& key, const Color& c) const {
    out[key] = hexString(resolveColor(c, scheme_, catalog_));
    if (c.isNamed()) out[key + "Name"] = c.name();
  }

  json stops(const Gradient& g) const {
    json arr = json::array();
    for (const auto& s : g.stops) {
      json stop;
      color(stop, "color", s.color);
      stop["location"] = rounded(s.location);
      arr.push_back(std::move(stop));
    }
    return arr;
  }

  void paint(json& out, const std::string& key, const Paint& p) const {
    if (const auto* c = std::get_if<Color>(&p)) {
      color(out, key, *c);
    } else if (const auto* l = std::get_if<LinearGradient>(&p)) {
      out[key] = {{"type", "linearGradient"},
                  {"stops", stops(l->gradient)},
                  {"startPoint", {rounded(l->startPoint.x), rounded(l->startPoint.y)}},
                  {"endPoint", {rounded(l->endPoint.x), rounded(l->endPoint.y)}}};
    } else if (const auto* a = std::get_if<AngularGradient>(&p)) {
      out[key] = {{"type", "angularGradient"},
                  {"stops", stops(a->gradient)},
                  {"center", {rounded(a->center.x), rounded(a->center.y)}},
                  {"startAngle", rounded(a->startAngle.inDegrees())},
                  {"endAngle", rounded(a->endAngle.inDegrees())}};
    }
  }

  json item(const DisplayItem& item) const {
    json out;
    std::visit(
        [&](const auto& c) {
          using T = std::decay_t<decltype(c)>;
          if constexpr (std::is_same_v<T, DisplayText>) {
            out["type"] = "text";
            out["text"] = c.text;
            out["frame"] = frameJson(item.frame);
            out["font"] = {{"size", rounded(c.font.size)},
                           {"weight", std::string(fontWeightName(c.font.weight))}};
            color(out, "color", c.color);
            if (c.maxLines > 0) out["lineLimit"] = c.maxLines;
            if (c.truncation != TruncationMode::tail) {
              out["truncationMode"] = c.truncation == TruncationMode::head ? "head" : "middle";
            }
            if (c.alignment != TextAlignment::leading) {
              out["alignment"] = c.alignment == TextAlignment::center ? "center" : "trailing";
            }
          } else if constexpr (std::is_same_v<T, DisplayLink>) {
            out["type"] = "link";
            out["url"] = c.url;
            out["frame"] = frameJson(item.frame);
          } else if constexpr (std::is_same_v<T, DisplayImage>) {
            out["type"] = "image";
            out["name"] = c.name;
            out["frame"] = frameJson(item.frame);
            if (c.tint) {
              color(out, "tint", *c.tint);
            } else {
              out["tint"] = nullptr;
            }
            if (catalog_ && !catalog_->hasImage(c.name)) out["missing"] = true;
          } else if constexpr (std::is_same_v<T, DisplayShape>) {
            out["type"] = "shape";
            out["kind"] = c.kind;
            out["frame"] = frameJson(item.frame);
            if (c.fill) paint(out, "fill", *c.fill);
            if (c.stroke) {
              paint(out, "stroke", *c.stroke);
              const StrokeStyle& s = c.strokeStyle;
              out["lineWidth"] = rounded(s.lineWidth);
              out["lineCap"] = kLineCapNames.name(s.lineCap).value_or("butt");
              out["lineJoin"] = kLineJoinNames.name(s.lineJoin).value_or("miter");
              out["miterLimit"] = rounded(s.miterLimit);
              if (!s.dash.empty()) {
                out["dash"] = s.dash;
                out["dashPhase"] = rounded(s.dashPhase);
              }
            }
            out["trim"] = {rounded(c.trimFrom), rounded(c.trimTo)};
            out["path"] = pathJson(c.path);
          }
        },
        item.content);
    if (item.opacity != 1) out["opacity"] = rounded(item.opacity);
    if (!item.transform.isIdentity()) {
      const auto& t = item.transform;
      out["transform"] = {rounded(t.xx), rounded(t.yx), rounded(t.xy),
                          rounded(t.yy), rounded(t.x0), rounded(t.y0)};
    }
    if (!item.shadows.empty()) {
      json shadows = json::array();
      for (const Shadow& shadow : item.shadows) {
        json s;
        color(s, "color", shadow.color);
        s["radius"] = rounded(shadow.radius);
        s["x"] = rounded(shadow.x);
        s["y"] = rounded(shadow.y);
        shadows.push_back(std::move(s));
      }
      out["shadows"] = std::move(shadows);
    }
    if (!item.clips.empty()) {
      // Each clip's bounding box, enough to see what is cut without the outline itself.
      json clips = json::array();
      for (const Path& clip : item.clips)
        clips.push_back(frameJson(clip.boundingRect()));
      out["clips"] = std::move(clips);
    }
    if (item.accentable) out["accentable"] = true;
    return out;
  }

 private:
  ColorScheme scheme_;
  const AssetCatalog* catalog_;
};

}  // namespace

json displayListToJson(const DisplayList& list, std::string_view kind, std::string_view family,
                       ColorScheme scheme, const AssetCatalog* catalog) {
  Writer w(scheme, catalog);
  json out;
  out["kind"] = std::string(kind);
  out["family"] = std::string(family);
  out["size"] = {{"width", rounded(list.size.width)}, {"height", rounded(list.size.height)}};
  out["widgetURL"] = list.widgetURL ? json(*list.widgetURL) : json(nullptr);
  if (list.containerBackground) {
    w.paint(out, "containerBackground", *list.containerBackground);
  } else {
    out["containerBackground"] = nullptr;
  }
  if (list.backdrop) w.paint(out, "backdrop", *list.backdrop);
  json items = json::array();
  for (const auto& item : list.items)
    items.push_back(w.item(item));
  out["items"] = std::move(items);
  return out;
}

}  // namespace km
