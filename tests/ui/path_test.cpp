#include "platform/ui/path.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>

namespace km {
namespace {

constexpr double kPi = std::numbers::pi;

Point lastPoint(const Path& p) {
  Point cur{};
  for (const auto& e : p.elements()) {
    if (auto* m = std::get_if<Path::MoveTo>(&e)) cur = m->to;
    if (auto* l = std::get_if<Path::LineTo>(&e)) cur = l->to;
    if (auto* c = std::get_if<Path::CurveTo>(&e)) cur = c->to;
    if (auto* a = std::get_if<Path::Arc>(&e)) {
      const double t = a->startAngle + a->sweep;
      cur = {a->center.x + a->radius * std::cos(t), a->center.y + a->radius * std::sin(t)};
    }
  }
  return cur;
}

TEST(PathTest, ArcDirectionFollowsThePhone) {
  // `clockwise` means decreasing angles, like Cairo's negative arc.
  struct Case {
    double start, end;
    bool clockwise;
    double sweep;
  } cases[] = {
      {0, 90, false, kPi / 2},    {0, 90, true, -1.5 * kPi}, {90, 0, false, 1.5 * kPi},
      {90, 0, true, -kPi / 2},    {0, 360, false, 2 * kPi},  {0, 720, false, 2 * kPi},
      {-90, 270, false, 2 * kPi},
  };
  for (const auto& c : cases) {
    Path p;
    p.addArc({0, 0}, 10, Angle::degrees(c.start), Angle::degrees(c.end), c.clockwise);
    ASSERT_EQ(p.elements().size(), 2u);
    const auto& arc = std::get<Path::Arc>(p.elements()[1]);
    EXPECT_NEAR(arc.sweep, c.sweep, 1e-12) << c.start << "->" << c.end << " " << c.clockwise;
  }
  // A second arc joins the first with a line from the current point.
  Path p;
  p.addArc({0, 0}, 10, Angle::degrees(0), Angle::degrees(90), false);
  p.addArc({0, 0}, 5, Angle::degrees(90), Angle::degrees(0), true);
  ASSERT_EQ(p.elements().size(), 4u);
  const auto& join = std::get<Path::LineTo>(p.elements()[2]);
  EXPECT_NEAR(join.to.x, 0, 1e-12);
  EXPECT_NEAR(join.to.y, 5, 1e-12);
}

TEST(PathTest, LengthsAndTrims) {
  Path circle;
  circle.addCircle({0, 0}, 10);
  Path rect;
  rect.addRect({0, 0, 40, 20});
  Path rounded;
  rounded.addRoundedRect({0, 0, 100, 50}, 10);
  EXPECT_NEAR(circle.length(), 20 * kPi, 1e-9);
  EXPECT_NEAR(rect.length(), 120, 1e-9);
  EXPECT_NEAR(rounded.length(), 2 * (80 + 30) + 20 * kPi, 1e-9);

  struct Case {
    const char* name;
    const Path& path;
    double from, to;
    Point end;
    double length;
  } cases[] = {
      // A circle starts at three o'clock and runs clockwise on screen: a quarter ends at six.
      {"quarter circle", circle, 0, 0.25, {0, 10}, 5 * kPi},
      {"half circle", circle, 0, 0.5, {-10, 0}, 10 * kPi},
      {"middle of circle", circle, 0.25, 0.75, {0, -10}, 10 * kPi},
      // The rectangle runs top edge, right edge, bottom edge, back up the left (closing line).
      {"rect to corner", rect, 0, 0.5, {40, 20}, 60},
      {"rect across close", rect, 0.75, 1, {0, 0}, 30},
      {"rect middle", rect, 0.25, 0.5, {40, 20}, 30},
  };
  for (const auto& c : cases) {
    const Path t = c.path.trimmed(c.from, c.to);
    EXPECT_NEAR(t.length(), c.length, 1e-9) << c.name;
    const Point end = lastPoint(t);
    EXPECT_NEAR(end.x, c.end.x, 1e-9) << c.name;
    EXPECT_NEAR(end.y, c.end.y, 1e-9) << c.name;
  }
  EXPECT_TRUE(circle.trimmed(0.5, 0.5).isEmpty());
  EXPECT_TRUE(circle.trimmed(0.7, 0.2).isEmpty());
  EXPECT_TRUE(circle.trimmed(-1, -0.3).isEmpty());  // negative ends clamp to nothing
  EXPECT_NEAR(circle.trimmed(-1, 2).length(), circle.length(), 1e-9);
}

TEST(PathTest, ArcBoundsReachTheQuarterTurnsInsideTheSweep) {
  // An arc of radius 10 about the origin from a start to an end angle (radians, increasing), and
  // its box {x, y, width, height}: a quarter, a turn between the quarters, through six only.
  const std::pair<std::array<double, 2>, std::array<double, 4>> cases[] = {
      {{0, kPi / 2}, {0, 0, 10, 10}},
      {{0.1, 0.1 + 2 * kPi}, {-10, -10, 20, 20}},
      {{kPi / 4, 3 * kPi / 4}, {-7.0711, 7.0711, 14.1421, 2.9289}},
  };
  for (const auto& [angles, box] : cases) {
    Path p;
    p.addArc({0, 0}, 10, Angle{angles[0]}, Angle{angles[1]}, false);
    const Rect b = p.boundingRect();
    const double got[] = {b.x, b.y, b.width, b.height};
    for (size_t k = 0; k < 4; ++k)
      EXPECT_NEAR(got[k], box[k], 1e-4) << angles[0] << ", " << k;
  }
  // An arc starting so far round that a quarter turn added changes nothing is in the view
  // drawing's fuzz corpus (hostile_arc_angle), where it hung.
}

TEST(PathTest, ContinuousCornersStayInsideAndTrimCurves) {
  Path p;
  p.addRoundedRect({0, 0, 100, 50}, 12, RoundedCornerStyle::continuous);
  const Rect b = p.boundingRect();
  EXPECT_NEAR(b.x, 0, 1e-9);
  EXPECT_NEAR(b.width, 100, 1e-9);
  EXPECT_NEAR(b.height, 50, 1e-9);
  // Continuous corners start further from the corner, so they cut more than circular ones.
  Path circular;
  circular.addRoundedRect({0, 0, 100, 50}, 12);
  EXPECT_LT(p.length(), 300);
  EXPECT_LT(p.length(), circular.length());
  const Path half = p.trimmed(0, 0.5);
  EXPECT_NEAR(half.length(), p.length() / 2, 0.05);
}

TEST(PathTest, SimilarityKeepsArcsOtherMapsMakeCurves) {
  Path circle;
  circle.addCircle({0, 0}, 10);
  const Path moved = circle.transformed(AffineTransform::translation(5, 5));
  EXPECT_TRUE(std::holds_alternative<Path::Arc>(moved.elements()[1]));
  EXPECT_NEAR(moved.boundingRect().x, -5, 1e-9);
  const Path squashed = circle.transformed(AffineTransform::scale(2, 1));
  EXPECT_FALSE(std::holds_alternative<Path::Arc>(squashed.elements()[1]));
  const Rect b = squashed.boundingRect();
  EXPECT_NEAR(b.width, 40, 1e-9);
  EXPECT_NEAR(b.height, 20, 1.5);  // control-point hull of the quarter cubics
}

}  // namespace
}  // namespace km

namespace km {
namespace {

// Cairo asserts on non-finite arcs, so such parts never enter a path.
TEST(PathTest, NonFinitePartsAreLeftOut) {
  const double nan = std::nan("");
  Path p;
  p.addArc({0, 0}, 10, Angle{nan}, Angle{1}, true);
  p.addArc({0, 0}, kInfinity, Angle{0}, Angle{1}, false);
  p.addLine({nan, 1});
  p.move({1, kInfinity});
  p.addCircle({nan, 0}, 3);
  p.addRect({0, 0, nan, 1});
  EXPECT_TRUE(p.isEmpty());
  p.addLine({1, 1});
  p.addRoundedRect({0, 0, 10, 10}, nan);  // an impossible radius draws square corners
  EXPECT_NEAR(p.length(), 40, 1e-9);
}

}  // namespace
}  // namespace km
