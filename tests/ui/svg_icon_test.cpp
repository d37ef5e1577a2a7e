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

#include "platform/ui/asset_catalog.h"
#include "platform/ui/render/cairo_canvas.h"
#include "ui/librsvg_reference.h"

namespace km {
namespace {

constexpr double kPi = std::numbers::pi;
using Op = SvgSegment::Op;

SvgSegment M(double x, double y) {
  return {Op::moveTo, {{x, y}, {}, {}}};
}
SvgSegment L(double x, double y) {
  return {Op::lineTo, {{x, y}, {}, {}}};
}
SvgSegment C(double x1, double y1, double x2, double y2, double x, double y) {
  return {Op::curveTo, {{x1, y1}, {x2, y2}, {x, y}}};
}
const SvgSegment Z{Op::close, {}};

void expectOutline(const SvgOutline& got, const SvgOutline& want, const std::string& what) {
  ASSERT_EQ(got.size(), want.size()) << what;
  for (size_t i = 0; i < got.size(); ++i) {
    EXPECT_EQ(got[i].op, want[i].op) << what << " segment " << i;
    for (int k = 0; k < 3; ++k) {
      EXPECT_NEAR(got[i].p[k].x, want[i].p[k].x, 1e-9) << what << " segment " << i;
      EXPECT_NEAR(got[i].p[k].y, want[i].p[k].y, 1e-9) << what << " segment " << i;
    }
  }
}

TEST(SvgIconTest, PathData) {
  struct Case {
    const char* d;
    SvgOutline want;
  } cases[] = {
      {"", {}},
      {"M12 2.5v5M9.5 5h5", {M(12, 2.5), L(12, 7.5), M(9.5, 5), L(14.5, 5)}},
      // Compact numbers; a moveto's further pairs are linetos.
      {"M1.5.5-3-3", {M(1.5, 0.5), L(-3, -3)}},
      {"M1e1-1E-1 2,3", {M(10, -0.1), L(2, 3)}},
      {"M+1 -.5.25.75", {M(1, -0.5), L(0.25, 0.75)}},
      // Relative commands, and a relative moveto after a close starts from the subpath's start.
      {"m1 1 2 2l1-1zm1 1", {M(1, 1), L(3, 3), L(4, 2), Z, M(2, 2)}},
      {"M0 0H10V10h-5v-5Z", {M(0, 0), L(10, 0), L(10, 10), L(5, 10), L(5, 5), Z}},
      {"M0 0h1 2 3", {M(0, 0), L(1, 0), L(3, 0), L(6, 0)}},
      // A smooth curve reflects the previous curve's second control point...
      {"M0 0C1 2 3 4 5 6S9 10 11 12", {M(0, 0), C(1, 2, 3, 4, 5, 6), C(7, 8, 9, 10, 11, 12)}},
      {"M0 0c1 2 3 4 5 6s4 4 6 6", {M(0, 0), C(1, 2, 3, 4, 5, 6), C(7, 8, 9, 10, 11, 12)}},
      // ... and after anything else starts at the current point.
      {"M0 0L1 1S2 2 3 3", {M(0, 0), L(1, 1), C(1, 1, 2, 2, 3, 3)}},
      // Quadratics become cubics with control points two thirds of the way to q.
      {"M0 0Q3 3 6 0T12 0", {M(0, 0), C(2, 2, 4, 2, 6, 0), C(8, -2, 10, -2, 12, 0)}},
      {"M0 0q3 3 6 0t6 0", {M(0, 0), C(2, 2, 4, 2, 6, 0), C(8, -2, 10, -2, 12, 0)}},
      {"M0 0T3 0", {M(0, 0), C(0, 0, 1, 0, 3, 0)}},
      // Degenerate arcs: a zero radius is a line; an arc to its own start is nothing.
      {"M1 1A0 5 0 0 1 4 5", {M(1, 1), L(4, 5)}},
      {"M1 1a5 5 0 0 1 0 0", {M(1, 1)}},
  };
  for (const auto& c : cases) {
    auto got = parseSvgPathData(c.d);
    ASSERT_TRUE(got.ok()) << c.d << ": " << got.error().message;
    expectOutline(*got, c.want, c.d);
  }
}

TEST(SvgIconTest, MalformedPathDataIsRefused) {
  for (const char* d :
       {"L1 1", "M1", "M1 2 3", "M1 2z3", "M1 2X", "M1 2A1 1 0 2 0 3 3", "M..5 1"}) {
    auto got = parseSvgPathData(d);
    ASSERT_FALSE(got.ok()) << d;
    EXPECT_TRUE(got.error().message.starts_with("unsupported: path data")) << got.error().message;
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

std::vector<SvgShape> shapesOf(const std::string& document) {
  auto icon = parseSvgIcon(document);
  EXPECT_TRUE(icon.ok()) << document << ": " << (icon.ok() ? "" : icon.error().message);
  std::vector<SvgShape> out;
  if (icon.ok()) {
    for (const auto& item : icon->items)
      if (auto* s = std::get_if<SvgShape>(&item)) out.push_back(*s);
  }
  return out;
}

TEST(SvgIconTest, RectCornerRadii) {
  // Where the outline starts tells rx (it starts after the top-left corner's curve), where its
  // first arc ends tells ry.
  struct Case {
    const char* radii;
    double rx, ry;
  } cases[] = {
      {"", 0, 0},
      {R"(rx="3")", 3, 3},
      {R"(ry="2")", 2, 2},
      {R"(rx="3" ry="1")", 3, 1},
      {R"(rx="100")", 10, 5},  // each at most half its side
      {R"(rx="8" ry="100")", 8, 5},
      {R"(rx="0" ry="4")", 0, 0},  // one zero radius: square corners
      {R"(rx="2px")", 2, 2},
  };
  for (const auto& c : cases) {
    const auto shapes =
        shapesOf(svg(R"(<rect x="1" y="2" width="20" height="10" )" + std::string(c.radii) + "/>"));
    ASSERT_EQ(shapes.size(), 1u) << c.radii;
    const SvgOutline& o = shapes[0].outline;
    EXPECT_EQ(o[0], M(1 + c.rx, 2)) << c.radii;
    if (c.rx == 0) {
      expectOutline(o, {M(1, 2), L(21, 2), L(21, 12), L(1, 12), Z}, c.radii);
    } else {
      ASSERT_EQ(o[2].op, Op::curveTo) << c.radii;
      EXPECT_NEAR(o[2].p[2].x, 21, 1e-9) << c.radii;
      EXPECT_NEAR(o[2].p[2].y, 2 + c.ry, 1e-9) << c.radii;
      EXPECT_EQ(o.back().op, Op::close) << c.radii;
    }
  }
  // An empty rectangle draws nothing.
  EXPECT_TRUE(shapesOf(svg(R"(<rect width="0" height="5"/>)")).empty());
}

TEST(SvgIconTest, Transforms) {
  // Where the transform list (on a group around a line, then on the line itself) takes (1, 1).
  struct Case {
    const char* group;
    const char* element;
    Point want;
  } cases[] = {
      {"translate(10)", "", {11, 1}},
      {"translate(10 20)", "", {11, 21}},
      {"scale(2)", "", {2, 2}},
      {"scale(2,3)", "", {2, 3}},
      {"rotate(90)", "", {-1, 1}},
      {"rotate(90 10 10)", "", {19, 1}},
      {"skewX(45)", "", {2, 1}},
      {"skewY(45)", "", {1, 2}},
      {"matrix(1 2 3 4 5 6)", "", {9, 12}},
      {"translate(10,0) scale(2)", "", {12, 2}},  // the last one applies first
      {"scale(2)translate(10,0)", "", {22, 2}},
      {"translate(10)", "scale(3)", {13, 3}},  // the group's applies after the element's
  };
  for (const auto& c : cases) {
    const std::string line = std::string(R"(<line x2="1" y2="1" stroke="#000")") +
                             (*c.element ? std::string(R"( transform=")") + c.element + "\"" : "") +
                             "/>";
    const auto shapes =
        shapesOf(svg(std::string(R"(<g transform=")") + c.group + "\">" + line + "</g>"));
    ASSERT_EQ(shapes.size(), 1u) << c.group;
    const Point p = shapes[0].transform.apply({1, 1});
    EXPECT_NEAR(p.x, c.want.x, 1e-9) << c.group << " " << c.element;
    EXPECT_NEAR(p.y, c.want.y, 1e-9) << c.group << " " << c.element;
  }
}

TEST(SvgIconTest, InheritedPresentationAttributes) {
  const auto icon = parseSvgIcon(svg(R"~(
    <g fill="none" stroke="#000" stroke-width="2" stroke-linecap="round" stroke-linejoin="round"
       stroke-opacity="0.5" opacity="0.5">
      <path d="M0 0h1"/>
      <g stroke="rgb(255, 0, 50%)" stroke-width="3px" fill-rule="evenodd" stroke-dasharray="1 2 3">
        <circle r="2" fill="currentColor" fill-opacity=".25" opacity="0.8"/>
        <line x2="1" display="none"/>
      </g>
      <ellipse rx="1" ry="2" fill="inherit" stroke-opacity="inherit" color="red"/>
    </g>
    <path d="M0 0h1" color="blue" fill="currentColor" stroke-miterlimit="7"/>)~"));
  ASSERT_TRUE(icon.ok()) << icon.error().message;
  // The group's opacity applies once to the group, not to each member.
  ASSERT_EQ(icon->items.size(), 6u);
  ASSERT_TRUE(std::holds_alternative<SvgBeginGroup>(icon->items[0]));
  EXPECT_EQ(std::get<SvgBeginGroup>(icon->items[0]).opacity, 0.5);
  ASSERT_TRUE(std::holds_alternative<SvgEndGroup>(icon->items[4]));
  const auto& first = std::get<SvgShape>(icon->items[1]);
  EXPECT_FALSE(first.fill);
  EXPECT_EQ(first.stroke, (RGBA{0, 0, 0, 0.5}));
  EXPECT_EQ(first.strokeWidth, 2);
  EXPECT_EQ(first.lineCap, SvgLineCap::round);
  EXPECT_EQ(first.lineJoin, SvgLineJoin::round);
  EXPECT_EQ(first.opacity, 1);
  EXPECT_TRUE(first.dashes.empty());

  const auto& circle = std::get<SvgShape>(icon->items[2]);
  EXPECT_EQ(circle.fill, (RGBA{0, 0, 0, 0.25}));  // currentColor without a colour is black
  EXPECT_EQ(circle.stroke, (RGBA{1, 0, 128 / 255.0, 0.5}));
  EXPECT_EQ(circle.strokeWidth, 3);
  EXPECT_EQ(circle.fillRule, SvgFillRule::evenOdd);
  EXPECT_EQ(circle.opacity, 0.8);
  EXPECT_EQ(circle.dashes, (std::vector<double>{1, 2, 3, 1, 2, 3}));  // odd lists repeat

  const auto& ellipse = std::get<SvgShape>(icon->items[3]);
  EXPECT_FALSE(ellipse.fill);                       // "inherit" keeps the group's none
  EXPECT_EQ(ellipse.stroke, (RGBA{0, 0, 0, 0.5}));  // a colour of its own does not matter
  EXPECT_EQ(ellipse.lineCap, SvgLineCap::round);

  const auto& outside = std::get<SvgShape>(icon->items[5]);
  EXPECT_EQ(outside.fill, (RGBA{0, 0, 1, 1}));
  EXPECT_FALSE(outside.stroke);
  EXPECT_EQ(outside.strokeWidth, 1);
  EXPECT_EQ(outside.lineCap, SvgLineCap::butt);
  EXPECT_EQ(outside.miterLimit, 7);
}

TEST(SvgIconTest, RootSizeAndViewBox) {
  struct Case {
    const char* root;
    Size size;
    Rect viewBox;
  } cases[] = {
      {R"(width="24" height="24" viewBox="0 0 24 24")", {24, 24}, {0, 0, 24, 24}},
      {R"(width="32px" height="16" viewBox="-1,2,8,4")", {32, 16}, {-1, 2, 8, 4}},
      {R"(width="1in" height="0.5in" viewBox="0 0 2 1")", {72, 36}, {0, 0, 2, 1}},
      {R"(width="12pt" height="1pc")", {12, 12}, {0, 0, 12, 12}},
      {R"(width="100%" viewBox="0 0 10 20")", {10, 20}, {0, 0, 10, 20}},
      {R"(height="40" viewBox="0 0 10 20")", {10, 40}, {0, 0, 10, 20}},
  };
  for (const auto& c : cases) {
    const std::string document = svg("", c.root);
    auto icon = parseSvgIcon(document);
    ASSERT_TRUE(icon.ok()) << c.root << ": " << icon.error().message;
    EXPECT_EQ(icon->size, c.size) << c.root;
    EXPECT_EQ(icon->viewBox, c.viewBox) << c.root;
    EXPECT_EQ(svgDeclaredSize(document), c.size) << c.root;
  }
}

TEST(SvgIconTest, ViewBoxFitsTheViewport) {
  using A = SvgAspectRatio::Align;
  struct Case {
    SvgAspectRatio ar;
    Rect viewBox, viewport;
    AffineTransform want;
  } cases[] = {
      {{}, {0, 0, 24, 12}, {0, 0, 48, 48}, {2, 0, 0, 2, 0, 12}},  // meet, centred
      {{A::min, A::min, false}, {0, 0, 24, 12}, {0, 0, 48, 48}, {2, 0, 0, 2, 0, 0}},
      {{A::max, A::max, false}, {0, 0, 24, 12}, {0, 0, 48, 48}, {2, 0, 0, 2, 0, 24}},
      {{A::mid, A::mid, true}, {0, 0, 24, 12}, {0, 0, 48, 48}, {4, 0, 0, 4, -24, 0}},
      {{A::none, A::none, false}, {0, 0, 24, 12}, {0, 0, 48, 48}, {2, 0, 0, 4, 0, 0}},
      {{}, {10, 10, 24, 24}, {5, 5, 48, 48}, {2, 0, 0, 2, -15, -15}},
  };
  for (const auto& c : cases) {
    const AffineTransform got = svgViewBoxTransform(c.viewBox, c.ar, c.viewport);
    EXPECT_EQ(got, c.want) << c.viewBox.width << "x" << c.viewBox.height << " in "
                           << c.viewport.width << "x" << c.viewport.height;
  }
  auto icon = parseSvgIcon(svg("", R"(viewBox="0 0 1 1" preserveAspectRatio="xMaxYMin slice")"));
  ASSERT_TRUE(icon.ok());
  EXPECT_EQ(icon->aspectRatio.x, A::max);
  EXPECT_EQ(icon->aspectRatio.y, A::min);
  EXPECT_TRUE(icon->aspectRatio.slice);
}

TEST(SvgIconTest, ContentBeyondTheSubsetIsRefused) {
  struct Case {
    std::string document;
    const char* message;
  } cases[] = {
      {svg("", R"(viewBox="0 0 1 1" style="fill:red")"), "unsupported: attribute style on svg"},
      {svg(R"(<path style="fill:red" d="M0 0h1"/>)"), "unsupported: attribute style on path"},
      {svg("<style>path{fill:red}</style>"), "unsupported: element style"},
      {svg("<linearGradient/>"), "unsupported: element linearGradient"},
      {svg(R"~(<rect width="1" height="1" fill="url(#g)"/>)~"), R"~(unsupported: fill="url(#g)")~"},
      {svg("<text>kcal</text>"), "unsupported: element text"},
      {svg(R"(<use href="#a"/>)"), "unsupported: element use"},
      {svg("<mask/>"), "unsupported: element mask"},
      {svg("<filter/>"), "unsupported: element filter"},
      {svg("<clipPath/>"), "unsupported: element clipPath"},
      {svg("<image/>"), "unsupported: element image"},
      {svg("<svg/>"), "unsupported: nested svg"},
      {svg(R"~(<g clip-path="url(#c)"/>)~"), "unsupported: attribute clip-path on g"},
      {svg(R"(<path d="M0 0h1" stroke-width="1em"/>)"), R"(unsupported: stroke-width="1em")"},
      {svg(R"(<circle r="10%"/>)"), R"(unsupported: r="10%" on circle)"},
      {svg(R"(<path d="M0 0L"/>)"), "unsupported: path data expects a number at \"\""},
      {svg(R"(<polygon points="1 2 3"/>)"), "unsupported: points of polygon"},
      {svg("", R"(width="2em" height="2em")"), R"(unsupported: width="2em")"},
      {svg("", R"(viewBox="0 0 0 1")"), R"(unsupported: viewBox="0 0 0 1")"},
      {svg("", R"~(viewBox="0 0 1 1" transform="scale(2)")~"),
       "unsupported: attribute transform on svg"},
      {svg("", ""), "unsupported: svg without width, height or viewBox"},
      {R"(<html xmlns="http://www.w3.org/1999/xhtml"/>)", "unsupported: root element is not svg"},
      {svg("<g>"), "malformed XML: "},
  };
  for (const auto& c : cases) {
    auto icon = parseSvgIcon(c.document);
    ASSERT_FALSE(icon.ok()) << c.document;
    EXPECT_TRUE(icon.error().message.starts_with(c.message))
        << c.document << "\n  gave: " << icon.error().message;
  }
  // What is not drawn is not judged: descriptions, definitions and editors' own elements.
  EXPECT_EQ(shapesOf(svg(R"(<title>x</title><defs><linearGradient/></defs>
      <x:view xmlns:x="urn:editor"><text/></x:view><rect width="1" height="1" xmlns:x="urn:editor" x:a="1"/>)"))
                .size(),
            1u);
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
