#include "platform/foundation/clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "base/case_table.h"
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
  const ScopedNow processNow(Date{777'000'000});
  const auto cases = km::testing::loadCases("foundation/cases.json");
  km::testing::checkRows(cases, "clock", [](const km::testing::Json& in) -> km::testing::Json {
    FakeRealTime real;
    const auto start = in[0].is_null() ? std::nullopt : std::optional(Date{in[0].get<double>()});
    const Clock clock(start, in[1].get<double>(), real.source());
    real.now += milliseconds(in[2].get<int>());
    const double elapsed = clock.now().timeIntervalSinceReferenceDate -
                           start.value_or(Date{777'000'000}).timeIntervalSinceReferenceDate;
    // The same moment asked for directly, and back: the real moment at which that widget time
    // comes, within a microsecond.
    const Date now = clock.now();
    if (clock.at(real.now) != now || clock.speed() != in[1].get<double>()) return "inconsistent";
    const auto back = clock.realTimeAt(now) - real.now;
    if (std::abs(std::chrono::duration<double>(back).count()) > 1e-6) return "not reversible";
    return elapsed;
  });
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
