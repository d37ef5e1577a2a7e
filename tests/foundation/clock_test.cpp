#include "platform/foundation/clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/foundation/process_settings.h"

namespace km {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Real time that moves only when the test says.
struct FakeRealTime {
  Clock::RealTime now{seconds(1000)};
  Clock::RealTimeSource source() {
    return [this] { return now; };
  }
};

TEST(ClockTest, WidgetTimeRunsAtItsSpeedFromItsStart) {
  struct Case {
    std::optional<double> start;  // nullopt: the process's now
    double speed;
    milliseconds realElapsed;
    double widgetElapsed;  // seconds
  } cases[] = {
      {0, 1, milliseconds(0), 0},         {800'000'000, 1, milliseconds(1500), 1.5},
      {800'000'000, 60, seconds(2), 120}, {800'000'000, 0.5, seconds(10), 5},
      {-100, 3600, seconds(24), 86400},   {std::nullopt, 10, seconds(3), 30},
  };
  const ScopedNow processNow(Date{777'000'000});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.speed);
    FakeRealTime real;
    const Clock clock(c.start ? std::optional(Date{*c.start}) : std::nullopt, c.speed,
                      real.source());
    const Date start = c.start ? Date{*c.start} : Date{777'000'000};
    EXPECT_EQ(clock.speed(), c.speed);
    const Clock::RealTime origin = real.now;
    real.now += c.realElapsed;
    const Date expected = start.addingTimeInterval(c.widgetElapsed);
    EXPECT_DOUBLE_EQ(clock.now().timeIntervalSinceReferenceDate,
                     expected.timeIntervalSinceReferenceDate);
    EXPECT_DOUBLE_EQ(clock.at(origin + c.realElapsed).timeIntervalSinceReferenceDate,
                     expected.timeIntervalSinceReferenceDate);
    // And back: the real moment at which that widget time comes, within a microsecond.
    const auto back = clock.realTimeAt(expected) - (origin + c.realElapsed);
    EXPECT_LE(std::abs(std::chrono::duration<double>(back).count()), 1e-6);
  }
}

TEST(ClockTest, FarDatesSaturateInsteadOfOverflowing) {
  FakeRealTime real;
  const Clock slow(Date{0}, 1e-9, real.source());
  EXPECT_EQ(slow.realTimeAt(Date{1e12}), Clock::RealTime::max());
  EXPECT_EQ(slow.realTimeAt(Date{-1e12}), Clock::RealTime::min());
  EXPECT_LT(slow.realTimeAt(Date{1}), Clock::RealTime::max());
  const Clock fast(Date{0}, 1e6, real.source());
  EXPECT_EQ(fast.realTimeAt(Date{1e6}), real.now + seconds(1));
}

TEST(ClockDeathTest, SpeedMustBeAboveZeroAndFinite) {
  for (double speed : {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()})
    EXPECT_DEATH(Clock(Date{0}, speed), "Fatal error: a clock's speed must be above 0");
}

}  // namespace
}  // namespace km
