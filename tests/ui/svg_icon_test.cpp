#include "platform/ui/svg_icon.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numbers>

#include "fixtures/json_match.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/render/cairo_canvas.h"
#include "platform/ui/svg/svg_draw.h"
#include "ui/librsvg_reference.h"

namespace km {
namespace {

constexpr double kPi = std::numbers::pi;
using Op = SvgSegment::Op;
using nlohmann::json;

json dump(const Rect& r) {
  return {r.x, r.y, r.width, r.height};
}
json dump(const AffineTransform& t) {
  return {t.xx, t.yx, t.xy, t.yy, t.x0, t.y0};
}
json dump(const std::optional<RGBA>& c) {
  return c ? json{c->red, c->green, c->blue, c->alpha} : json("none");
}

// An outline as compact rows: ["M", x, y], ["L", x, y], ["C", x1, y1, x2, y2, x, y], ["Z"].
json dump(const SvgOutline& outline) {
  json out = json::array();
  for (const SvgSegment& s : outline) {
    static const char* const kOps[] = {"M", "L", "C", "Z"};
    json row = {kOps[static_cast<int>(s.op)]};
    const int points = s.op == Op::curveTo ? 3 : s.op == Op::close ? 0 : 1;
    for (int k = 0; k < points; ++k)
      row.insert(row.end(), {s.p[k].x, s.p[k].y});
    out.push_back(row);
  }
  return out;
}

json dump(const SvgIcon& icon) {
  static const char* const kAlign[] = {"none", "min", "mid", "max"};
  json items = json::array();
  for (const SvgItem& item : icon.items) {
    if (const auto* g = std::get_if<SvgBeginGroup>(&item)) {
      items.push_back({{"group", g->opacity}});
    } else if (std::holds_alternative<SvgEndGroup>(item)) {
      items.push_back("end");
    } else {
      const auto& s = std::get<SvgShape>(item);
      items.push_back({{"outline", dump(s.outline)},
                       {"transform", dump(s.transform)},
                       {"fill", dump(s.fill)},
                       {"evenOdd", s.fillRule == SvgFillRule::evenOdd},
                       {"stroke", dump(s.stroke)},
                       {"strokeWidth", s.strokeStyle.lineWidth},
                       {"lineCap", *kLineCapNames.name(s.strokeStyle.lineCap)},
                       {"lineJoin", *kLineJoinNames.name(s.strokeStyle.lineJoin)},
                       {"miterLimit", s.strokeStyle.miterLimit},
                       {"dashes", s.strokeStyle.dash},
                       {"opacity", s.opacity}});
    }
  }
  return {{"size", {icon.size.width, icon.size.height}},
          {"viewBox", dump(icon.viewBox)},
          {"align",
           {kAlign[static_cast<int>(icon.aspectRatio.x)],
            kAlign[static_cast<int>(icon.aspectRatio.y)], icon.aspectRatio.slice}},
          {"items", items}};
}

// Every case in svg/cases.json is either path data ("path") or an icon ("body" inside an svg
// element with the attributes "root", or a whole "document"). A case gives the "error" its
// text must be refused with (a prefix), or what the parse must give: an "outline" for path
// data; for an icon, a part of its dump ("icon"), its "declaredSize", and where its view box
// lands in a viewport ("fit": {"viewport", "transform"}).
TEST(SvgIconTest, CasesParseAsWorkedOut) {
  const json cases = testing::readJsonFile(std::filesystem::path(KM_SOURCE_DIR) / "tests" / "ui" /
                                           "svg" / "cases.json");
  ASSERT_GE(cases.size(), 60u);
  for (const json& c : cases) {
    const std::string name = c["name"];
    std::string why;
    if (c.contains("path")) {
      const auto outline = parseSvgPathData(c["path"].get<std::string>());
      if (c.contains("error")) {
        ASSERT_FALSE(outline.ok()) << name;
        EXPECT_TRUE(outline.error().message.starts_with(c["error"].get<std::string>()))
            << name << ": " << outline.error().message;
      } else {
        ASSERT_TRUE(outline.ok()) << name << ": " << outline.error().message;
        EXPECT_TRUE(testing::jsonMatches(c["outline"], dump(*outline), 1e-9, why)) << name << why;
      }
      continue;
    }
    const std::string document = c.contains("document")
                                     ? c["document"].get<std::string>()
                                     : R"(<svg xmlns="http://www.w3.org/2000/svg" )" +
                                           c.value("root", R"(viewBox="0 0 100 100")") + ">" +
                                           c.value("body", "") + "</svg>";
    const auto icon = parseSvgIcon(document);
    if (c.contains("error")) {
      ASSERT_FALSE(icon.ok()) << name;
      EXPECT_TRUE(icon.error().message.starts_with(c["error"].get<std::string>()))
          << name << ": " << icon.error().message;
      continue;
    }
    ASSERT_TRUE(icon.ok()) << name << ": " << icon.error().message;
    const json got = dump(*icon);
    EXPECT_TRUE(testing::jsonMatches(c.value("icon", json()), got, 1e-9, why))
        << name << why << "\n"
        << got.dump();
    if (c.contains("declaredSize")) {
      const auto size = svgDeclaredSize(document);
      ASSERT_TRUE(size) << name;
      EXPECT_EQ(json({size->width, size->height}), c["declaredSize"]) << name;
    }
    if (c.contains("fit")) {
      const json& fit = c["fit"];
      const Rect viewport{fit["viewport"][0], fit["viewport"][1], fit["viewport"][2],
                          fit["viewport"][3]};
      EXPECT_TRUE(testing::jsonMatches(
          fit["transform"], dump(svgViewBoxTransform(icon->viewBox, icon->aspectRatio, viewport)),
          1e-9, why))
          << name << why;
    }
  }
}

Point bezier(const Point& p0, const SvgSegment& s, double t) {
  const double u = 1 - t;
  const double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
  return {a * p0.x + b * s.p[0].x + c * s.p[1].x + d * s.p[2].x,
          a * p0.y + b * s.p[0].y + c * s.p[1].y + d * s.p[2].y};
}

TEST(SvgIconTest, ArcsFollowTheAnalyticEllipse) {
  // Each arc is built from a known ellipse: centre, radii, rotation and the angles (in the
  // ellipse's own frame) where it starts and ends. Every sampled point of the converted curves
  // must lie on that ellipse, and together they must sweep exactly from start to end.
  struct Case {
    Point centre;
    double rx, ry, rotationDegrees, from, to;  // angles in radians
    double radiusScale = 1;                    // path radii written smaller than needed
  } cases[] = {
      {{5, 0}, 5, 5, 0, kPi, 2 * kPi},               // upper half circle, sweep 1
      {{5, 0}, 5, 5, 0, kPi, 0},                     // lower half, sweep 0
      {{10, 10}, 4, 2, 30, 0.3, 2.0},                // small arc of a rotated ellipse
      {{10, 10}, 4, 2, 30, 0.3, 2.0 - 2 * kPi},      // the large arc the other way round
      {{-3, 7}, 6, 1.5, -70, 1.0, 1.0 + 1.9 * kPi},  // nearly a full turn
      {{5, 0}, 5, 5, 0, kPi, 2 * kPi, 0.2},          // radii grow to reach the end point
  };
  for (const auto& c : cases) {
    const double phi = c.rotationDegrees * kPi / 180;
    auto at = [&](double theta) {
      const double u = c.rx * std::cos(theta), v = c.ry * std::sin(theta);
      return Point{c.centre.x + std::cos(phi) * u - std::sin(phi) * v,
                   c.centre.y + std::sin(phi) * u + std::cos(phi) * v};
    };
    const Point start = at(c.from), end = at(c.to);
    const bool sweep = c.to > c.from, large = std::abs(c.to - c.from) > kPi;
    char d[256];
    std::snprintf(d, sizeof d, "M%.17g %.17g A%.17g %.17g %.17g %d %d %.17g %.17g", start.x,
                  start.y, c.rx * c.radiusScale, c.ry * c.radiusScale, c.rotationDegrees,
                  large ? 1 : 0, sweep ? 1 : 0, end.x, end.y);
    auto outline = parseSvgPathData(d);
    ASSERT_TRUE(outline.ok()) << d;
    ASSERT_GE(outline->size(), 2u) << d;
    Point p0 = (*outline)[0].p[0];
    double first = 0, last = 0;
    bool firstSample = true;
    for (size_t i = 1; i < outline->size(); ++i) {
      const SvgSegment& s = (*outline)[i];
      ASSERT_EQ(s.op, Op::curveTo) << d;
      for (int k = 0; k <= 16; ++k) {
        const Point p = bezier(p0, s, k / 16.0);
        // Back into the ellipse's frame: on the ellipse the normalised radius is one.
        const double dx = p.x - c.centre.x, dy = p.y - c.centre.y;
        const double u = std::cos(phi) * dx + std::sin(phi) * dy;
        const double v = -std::sin(phi) * dx + std::cos(phi) * dy;
        EXPECT_NEAR(std::hypot(u / c.rx, v / c.ry), 1, 3e-4) << d << " at " << p.x << "," << p.y;
        // Unwrap the angle so that it can be followed along the sweep.
        double theta = std::atan2(v / c.ry, u / c.rx);
        if (firstSample) {
          theta += std::round((c.from - theta) / (2 * kPi)) * 2 * kPi;
          first = theta;
          firstSample = false;
        } else {
          theta += std::round((last - theta) / (2 * kPi)) * 2 * kPi;
          // Always moving the same way round.
          EXPECT_TRUE(sweep ? theta >= last - 1e-9 : theta <= last + 1e-9) << d;
        }
        last = theta;
      }
      p0 = s.p[2];
    }
    EXPECT_NEAR(first, c.from, 1e-9) << d;
    EXPECT_NEAR(last, c.to, 1e-9) << d;
    EXPECT_EQ(p0, end) << d;  // the arc ends exactly where the data says
  }
}

std::string svg(const std::string& body, const std::string& root = R"(viewBox="0 0 100 100")") {
  return R"(<svg xmlns="http://www.w3.org/2000/svg" )" + root + ">" + body + "</svg>";
}

using test::librsvgMapped;
using test::ReferenceRsvg;

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::filesystem::path> bundleIcons() {
  std::vector<std::filesystem::path> out;
  const std::filesystem::path assets =
      std::filesystem::path(KM_SOURCE_BUNDLE_DIR) / "Assets.xcassets";
  for (const auto& e : std::filesystem::recursive_directory_iterator(assets))
    if (e.path().extension() == ".svg") out.push_back(e.path());
  std::sort(out.begin(), out.end());
  return out;
}

struct Surface {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 72, 72);
  cairo_t* cr = cairo_create(surface);
  ~Surface() {
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
  }
  const unsigned char* pixels() {
    cairo_surface_flush(surface);
    return cairo_image_surface_get_data(surface);
  }
  size_t bytes() const { return static_cast<size_t>(cairo_image_surface_get_stride(surface)) * 72; }
};

TEST(SvgIconTest, DegenerateContentDrawsNothingAndKeepsTheContextUsable) {
  // Each icon is drawn into a corner of its own; the rest of the surface must then still take
  // a plain fill, which Cairo refuses once a context has gone into an error state.
  const std::string documents[] = {
      svg(R"~(<rect width="10" height="10" transform="scale(0)"/>)~"),
      svg(R"~(<rect width="10" height="10" transform="matrix(1 2 2 4 0 0)"/>)~"),
      svg(R"(<rect width="10" height="10"/>)", R"(viewBox="0 0 10 10" display="none")"),
      svg(R"(<rect x="2" y="2" width="6" height="6" fill="none" stroke="#000"
                   stroke-dasharray="0 0"/>)",
          R"(viewBox="0 0 10 10")"),
  };
  for (const std::string& document : documents) {
    auto icon = parseSvgIcon(document);
    ASSERT_TRUE(icon.ok()) << document << ": " << icon.error().message;
    Surface s;
    drawSvgIcon(s.cr, *icon, {0, 0, 36, 36});
    drawSvgIcon(s.cr, *icon, {0, 0, 0, 0});
    EXPECT_EQ(cairo_status(s.cr), CAIRO_STATUS_SUCCESS) << document;
    cairo_rectangle(s.cr, 40, 40, 10, 10);
    cairo_fill(s.cr);
    const unsigned char* p = s.pixels();
    const int stride = cairo_image_surface_get_stride(s.surface);
    EXPECT_EQ(p[45 * stride + 45 * 4 + 3], 255) << document;
    if (document.find("dasharray") == std::string::npos) {
      EXPECT_EQ(p[5 * stride + 5 * 4 + 3], 0) << document;  // nothing drawn
    } else {
      EXPECT_EQ(p[7 * stride + 18 * 4 + 3], 255) << document;  // all-zero dashes: solid
    }
  }
}

TEST(SvgIconTest, BundleIconsDrawAsLibrsvgDrawsThem) {
  const ReferenceRsvg* rsvg = ReferenceRsvg::get();
  ASSERT_TRUE(rsvg) << "librsvg-2.so.2 is needed as the reference";
  const auto icons = bundleIcons();
  ASSERT_GE(icons.size(), 5u);
  for (const auto& path : icons) {
    const std::string bytes = readFile(path);
    auto icon = parseSvgIcon(bytes);
    ASSERT_TRUE(icon.ok()) << path << ": " << icon.error().message;
    Surface ours, theirs;
    drawSvgIcon(ours.cr, *icon, {0, 0, 72, 72});
    RsvgHandle* h =
        rsvg->newFromData(reinterpret_cast<const guint8*>(bytes.data()), bytes.size(), nullptr);
    ASSERT_TRUE(h) << path;
    rsvg->setDpi(h, 72);
    const RsvgRectangle viewport{0, 0, 72, 72};
    ASSERT_TRUE(rsvg->render(h, theirs.cr, &viewport, nullptr)) << path;
    rsvg->unref(h);
    // Both draw through Cairo, so edges match to within the rounding of curve approximations.
    const unsigned char* a = ours.pixels();
    const unsigned char* b = theirs.pixels();
    int maxDiff = 0;
    long inked = 0;
    for (size_t i = 0; i < ours.bytes(); ++i) {
      maxDiff = std::max(maxDiff, std::abs(int(a[i]) - int(b[i])));
      if (i % 4 == 3 && b[i] > 128) ++inked;
    }
    EXPECT_GT(inked, 200) << path << ": the reference drew (almost) nothing";
    EXPECT_LE(maxDiff, 4) << path;
  }
}

TEST(SvgIconTest, DrawingBundleIconsLeavesLibrsvgUnloaded) {
  // Another test in this same process may have loaded it; by itself (as CTest runs each test)
  // the process starts without it.
  if (test::librsvgLoadedByTests) GTEST_SKIP() << "an earlier test in this process loaded librsvg";
  ASSERT_FALSE(librsvgMapped()) << "librsvg is linked into the process";
  auto catalog =
      AssetCatalog::load(std::filesystem::path(KM_SOURCE_BUNDLE_DIR) / "Assets.xcassets");
  ASSERT_TRUE(catalog.ok());
  Surface s;
  CairoCanvas canvas(s.cr);
  for (const auto& name : catalog->imageNames())
    EXPECT_TRUE(catalog->drawImage(canvas, name, {0, 0, 72, 72})) << name;
  EXPECT_FALSE(librsvgMapped());
}

}  // namespace
}  // namespace km
