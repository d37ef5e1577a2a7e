#include "components/progress_ring.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "widget_support/widget_support.h"

namespace km {
namespace {

using namespace km::testing;

struct Dot {
  const char* color;
  double degrees;  // from three o'clock, clockwise
};

struct RingCase {
  double progress;
  const char* track;
  std::optional<double> trimEnd;  // nullopt: no arc
  bool secondLapGradient;
  std::vector<Dot> dots;
};

constexpr const char* kLight = "#E9ECEFFF";
constexpr const char* kLightGreen = "#94EBB8FF";
constexpr const char* kGreen = "#03B000FF";
constexpr const char* kOrange = "#DE7300FF";

// Track, arc and cap dots of every visible state, in a 100-point square ring.
TEST(ProgressRingTest, VisibleStates) {
  WidgetTestEnvironment env;
  const RingCase cases[] = {
      {0, kLight, std::nullopt, false, {}},
      {0.5, kLight, 0.5, false, {{kLightGreen, -90}}},
      {0.95, kLight, 0.95, false, {{kLightGreen, -90}}},
      {0.96, kLight, 0.96, false, {{kLightGreen, -90}, {kGreen, 255.6}}},
      {1.0, kLight, 1.0, false, {{kLightGreen, -90}, {kGreen, 270}}},
      {1.5, kGreen, 0.5, true, {}},
      {1.95, kGreen, 0.95, true, {}},
      {1.96, kGreen, 0.96, true, {{kOrange, 615.6}}},
      {2.0, kOrange, std::nullopt, false, {}},
      {3.7, kOrange, std::nullopt, false, {}},
      {std::numeric_limits<double>::infinity(), kOrange, std::nullopt, false, {}},
  };
  for (const RingCase& c : cases) {
    SCOPED_TRACE(c.progress);
    const Json list = componentJson(ProgressRing{c.progress, 10}.body(), {100, 100});
    const std::vector<Json> all = shapes(list);
    ASSERT_FALSE(all.empty());
    const Json& track = all[0];
    EXPECT_EQ(track.at("stroke"), c.track);
    EXPECT_EQ(track.at("lineWidth"), 10.0);
    EXPECT_EQ(track.at("lineCap"), "butt");

    std::vector<Json> strokes, fills;
    for (std::size_t i = 1; i < all.size(); ++i) {
      (all[i].contains("stroke") ? strokes : fills).push_back(all[i]);
    }
    if (!c.trimEnd) {
      EXPECT_TRUE(strokes.empty());
    } else {
      ASSERT_EQ(strokes.size(), 1u);
      const Json& arc = strokes[0];
      EXPECT_NEAR(arc.at("trim")[1].get<double>(), *c.trimEnd, 1e-3);
      EXPECT_EQ(arc.at("lineCap"), "round");
      EXPECT_EQ(arc.at("lineJoin"), "round");
      // Turned by -90 degrees so that the arc starts at twelve o'clock.
      EXPECT_NEAR(arc.at("transform")[1].get<double>(), -1, 1e-3);
      const Json& gradient = arc.at("stroke");
      EXPECT_EQ(gradient.at("type"), "angularGradient");
      if (c.secondLapGradient) {
        EXPECT_NEAR(gradient.at("startAngle").get<double>(), -6, 1e-3);
        EXPECT_NEAR(gradient.at("endAngle").get<double>(), 354, 1e-3);
        ASSERT_EQ(gradient.at("stops").size(), 3u);
        EXPECT_EQ(gradient.at("stops")[1].at("color"), "#FDEB8FFF");
        EXPECT_EQ(gradient.at("stops")[2].at("location"), 0.7);
      } else {
        EXPECT_EQ(gradient.at("startAngle"), 0.0);
        EXPECT_EQ(gradient.at("endAngle"), 360.0);
        ASSERT_EQ(gradient.at("stops").size(), 2u);
        EXPECT_EQ(gradient.at("stops")[0].at("color"), kLightGreen);
        EXPECT_EQ(gradient.at("stops")[1].at("color"), kGreen);
      }
    }
    ASSERT_EQ(fills.size(), c.dots.size());
    for (std::size_t i = 0; i < fills.size(); ++i) {
      EXPECT_EQ(fills[i].at("fill"), c.dots[i].color);
      EXPECT_EQ(fills[i].at("frame")[2], 10.0);  // the stroke's width
      const double a = c.dots[i].degrees * std::numbers::pi / 180;
      const Point at = drawnCenter(fills[i]);
      EXPECT_NEAR(at.x, 50 + 50 * std::cos(a), 0.1) << "dot " << i;
      EXPECT_NEAR(at.y, 50 + 50 * std::sin(a), 0.1) << "dot " << i;
    }
  }
}

// A negative progress keeps the light track and the start dot, and its arc shows nothing.
TEST(ProgressRingTest, NegativeProgressDrawsNoArc) {
  WidgetTestEnvironment env;
  const Json list = componentJson(ProgressRing{-0.3, 10}.body(), {100, 100});
  const std::vector<Json> all = shapes(list);
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all[0].at("stroke"), kLight);
  int dots = 0;
  for (std::size_t i = 1; i < all.size(); ++i) {
    if (all[i].contains("fill")) {
      ++dots;
      EXPECT_EQ(all[i].at("fill"), kLightGreen);
    } else {
      const Json& trim = all[i].at("trim");
      EXPECT_LE(trim[1].get<double>(), trim[0].get<double>()) << "an arc with a visible length";
    }
  }
  EXPECT_EQ(dots, 1);
}

// In a wide frame the ring's diameter is the height and the dots sit on its centre line.
TEST(ProgressRingTest, NonSquareFrameUsesTheSmallerSide) {
  WidgetTestEnvironment env;
  const Json list = componentJson(ProgressRing{1.0, 6}.body(), {120, 80});
  const std::vector<Json> all = shapes(list);
  ASSERT_EQ(all.size(), 4u);  // track, arc, start dot, end dot
  for (int i : {2, 3}) {
    const Point at = drawnCenter(all[i]);
    EXPECT_NEAR(at.x, 60, 0.1);
    EXPECT_NEAR(at.y, 0, 0.1);  // twelve o'clock, 40 points above the centre
  }
}

TEST(ProgressRingDeathTest, TooFewGradientColoursIsFatal) {
  WidgetTestEnvironment env;
  ProgressRing ring{1.5, 10, {Color::white()}};
  EXPECT_DEATH(ring.body(), "Fatal error: .*two gradient colours");
  ProgressRing noColours{0.5, 10, {}};
  EXPECT_DEATH(noColours.body(), "Fatal error");
  // Two laps and more need neither colour.
  ProgressRing full{2.5, 10, {}};
  EXPECT_FALSE(full.body().isEmpty());
}

}  // namespace
}  // namespace km
