// The live host's widget time against real time.

#include "platform/foundation/clock.h"

#include <cmath>
#include <limits>

#include "base/fatal_error.h"

namespace km {

Clock::Clock(std::optional<Date> start, double speed, RealTimeSource realNow)
    : start_(start.value_or(km::now())),
      speed_(speed),
      realNow_(std::move(realNow)),
      origin_(realNow_()) {
  if (!std::isfinite(speed) || !(speed > 0)) fatalError("a clock's speed must be above 0");
}

Date Clock::now() const {
  return at(realNow_());
}

Date Clock::at(RealTime real) const {
  const std::chrono::duration<double> elapsed = real - origin_;
  return start_.addingTimeInterval(elapsed.count() * speed_);
}

Clock::RealTime Clock::realTimeAt(Date widgetTime) const {
  const double widgetSeconds =
      widgetTime.timeIntervalSinceReferenceDate - start_.timeIntervalSinceReferenceDate;
  // In nanoseconds of real time, checked against the limits before converting: a date years
  // away at a slow speed does not fit a steady_clock offset.
  const double offset = widgetSeconds / speed_ * 1e9;
  const double sinceEpoch =
      offset +
      static_cast<double>(
          std::chrono::duration_cast<std::chrono::nanoseconds>(origin_.time_since_epoch()).count());
  using Rep = std::chrono::nanoseconds::rep;
  // 2^63 is exactly representable as a double; anything at or beyond it saturates.
  constexpr double kLimit = 9223372036854775808.0;
  if (std::isnan(sinceEpoch)) return origin_;
  if (sinceEpoch >= kLimit) return RealTime::max();
  if (sinceEpoch <= -kLimit) return RealTime::min();
  return RealTime(std::chrono::duration_cast<RealTime::duration>(
      std::chrono::nanoseconds(static_cast<Rep>(sinceEpoch))));
}

}  // namespace km
